// The built program as a shell sees it: texts, exit codes, files, and two instances meeting. There
// is no sound server and no display; each run has a home of its own.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/settings.h"
#include "home.h"
#include "process.h"
#include "wait_until.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace std::string_literals;
using support::ExitStatus;
using support::Process;
using support::wait_until;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr auto kLimit = 30s;  // generous: sanitizers, and a busy machine

const std::string kVersion = "Velmora 1.0.2 (Build 1057)\n";
const std::string kRunsAlready = "Velmora laeuft bereits — Fenster nach vorn geholt.\n";

class CommandLine : public testing::Test {
 protected:
  using Args = std::vector<std::string>;

  using Result = std::pair<int, std::string>;  // exit code, -1 when a signal ended it; output

  Home home_;
  support::TempDir outside_;  // what must not be in the program's home
  const fs::path log_ = home_.config() / "Velmora.log";
  const fs::path lock_ = home_.config() / "Velmora.lock";
  int runs_ = 0;

  [[nodiscard]] support::Environment environment() const {
    return {{"HOME", home_.path()},
            {"XDG_CONFIG_HOME", home_.path() / "config"},
            {"XDG_RUNTIME_DIR", outside_.path()},
            {"PULSE_SERVER", "unix:/nonexistent/velmora"},
            {"SDL_VIDEODRIVER", "dummy"}};
  }

  Process start(Args args) {
    args.insert(args.begin(), VELMORA_EXECUTABLE);
    return start_as(args);
  }
  Process start_as(const Args& command) {
    return {command, environment(), outside_.path() / ("output" + std::to_string(runs_++))};
  }

  // Runs the program to its end.
  Result run(const Args& args) {
    Process process = start(args);
    const std::optional<ExitStatus> status = process.wait(kLimit);
    EXPECT_TRUE(status) << "still running";
    return {status.value_or(ExitStatus{}).code, process.output()};
  }

  // The program is up when it has the lock and has logged its name.
  testing::AssertionResult wait_until_up(const Process& process) {
    return wait_until("the program is up", kLimit, [&](std::string& seen) {
      seen = process.output() + read_file(log_);
      return read_file(lock_) == std::to_string(process.pid()) + "\n" &&
             read_file(log_).find("INFO  Velmora 1.0.2 (Build 1057, plain)\n") != std::string::npos;
    });
  }

  // Runs a window and ends it the regular way.
  void run_window(const Args& args) {
    Process process = start(args);
    ASSERT_TRUE(wait_until_up(process));
    EXPECT_EQ(process.stop(kLimit), (ExitStatus{0, 0}));
    EXPECT_EQ(process.output(), "");
  }
};

TEST_F(CommandLine, texts_and_the_self_test_come_before_everything_else) {
  EXPECT_EQ(run({"--bogus", "--help", "--selftest", "--version"}), Result(0, kVersion));
  const Result help = run({"--bogus", "--selftest", "--devices", "-h"});
  EXPECT_EQ(help.first, 0);
  EXPECT_THAT(help.second, StartsWith(kVersion));
  EXPECT_EQ(run({"word", "--help"}), help);
  // A switch that is unknown is named and answered with the help.
  EXPECT_EQ(run({"--off", "stray", "--b%s", "--devices", "--a"}),
            Result(2, "Unbekannter Schalter: --b%s\n\n" + help.second));
  const Result test = run({"--bogus", "--devices", "--selftest"});
  EXPECT_EQ(test.first, 0);
  EXPECT_THAT(test.second, AllOf(EndsWith("OK\n\nAlles in Ordnung.\n"), Not(HasSubstr("FEHLER"))));
  EXPECT_TRUE(fs::is_empty(home_.path())) << fs::directory_iterator(home_.path())->path();
}

TEST_F(CommandLine, output_that_nobody_takes_is_lost_and_nothing_else) {
  // The shell opens the pipe in both directions to get a writing end, then closes the reading one.
  const std::string broken_pipe =
      R"(mkfifo pipe; exec 3<>pipe 4>pipe 3<&-; "$0" --help >&4; echo "code $?")";
  const std::string full_disk = R"("$0" --help >/dev/full; echo "code $?")";
  for (const std::string& script : {broken_pipe, full_disk}) {
    Process shell =
        start_as({"sh", "-c", "cd \"$1\"; " + script, VELMORA_EXECUTABLE, outside_.path()});
    ASSERT_TRUE(shell.wait(kLimit)) << script;
    EXPECT_EQ(shell.output(), "code 0\n") << script;
  }
}

TEST_F(CommandLine, a_second_instance_ends_and_leaves_the_first_running) {
  write_file(lock_, "99999999999999\nfrom an earlier run\n");
  Process first = start({});
  ASSERT_TRUE(wait_until_up(first));  // with its own number in the lock, and nothing else
  EXPECT_EQ(run({"--compact"}), Result(0, kRunsAlready));
  // Without standard descriptors, no text goes into the file that takes their place.
  Process bare = start_as({"sh", "-c", R"(exec "$0" <&- >&- 2>&-)", VELMORA_EXECUTABLE});
  EXPECT_EQ(bare.wait(kLimit), (ExitStatus{0, 0}));
  EXPECT_EQ(read_file(lock_), std::to_string(first.pid()) + "\n");
  // The list of devices needs no lock and has a log of its own.
  EXPECT_EQ(run({"--devices", "--compact"}), Result(1, "Kein Tonserver erreichbar.\n"));
  EXPECT_NE(read_file(home_.config() / "Velmora-devices.log"), "");
  EXPECT_TRUE(first.running());
  EXPECT_FALSE(fs::exists(log_.string() + ".1")) << "the log of the first was taken away";
  // The guard inherits no blocked signals.
  const auto children = support::children_of(first.pid());
  ASSERT_EQ(children.size(), 1U);
  EXPECT_THAT(read_file("/proc/" + std::to_string(children[0]) + "/status"),
              HasSubstr("SigBlk:\t0000000000000000\n"));
  EXPECT_EQ(first.stop(kLimit), (ExitStatus{0, 0}));
  const std::string log = read_file(log_);
  EXPECT_THAT(log, EndsWith(" INFO  Quit\n"));
  run_window({});
  EXPECT_EQ(read_file(log_.string() + ".1"), log) << "the previous log is kept";
}

// This process holds the lock, and another one is nobody's business. A signal would end either.
TEST_F(CommandLine, where_the_lock_names_no_running_copy_nobody_is_signalled) {
  write_file(lock_, "");
  const int lock = open(lock_.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  // A number that is cut to 32 bits, or a process group, would hit this process.
  const std::string wrapped = std::to_string((std::int64_t{1} << 32U) + getpid());
  Process stranger = start_as({"sleep", "60"});
  const std::string pid = std::to_string(getpid()) + "\n";
  for (const std::string& nobody : {""s, "none\n"s, "-" + std::to_string(getpgrp()) + "\n",
                                    wrapped + "\n", pid, std::to_string(stranger.pid()) + "\n"}) {
    write_file(lock_, nobody);
    EXPECT_EQ(run({}), Result(0, kRunsAlready)) << nobody;
  }
  EXPECT_TRUE(stranger.running());
  EXPECT_FALSE(fs::exists(log_));
  close(lock);
}

TEST_F(CommandLine, what_lies_in_the_way_of_a_file_is_neither_followed_nor_waited_for) {
  const fs::path precious = outside_.path() / "precious";
  write_file(precious, "mine");
  fs::create_directories(home_.config());
  fs::create_symlink(precious, lock_);
  ASSERT_EQ(mkfifo((home_.config() / "Velmora-devices.log").c_str(), 0600), 0);
  EXPECT_EQ(run({"--devices"}), Result(1, "Kein Tonserver erreichbar.\n"));
  Process process = start({});  // runs without a lock
  ASSERT_TRUE(wait_until("the program is up", kLimit, [&] {
    return read_file(log_).find("INFO  Velmora 1.0.2") != std::string::npos;
  }));
  EXPECT_EQ(process.stop(kLimit), (ExitStatus{0, 0}));
  EXPECT_EQ(read_file(precious), "mine");
}

TEST_F(CommandLine, the_directory_of_the_earlier_name_becomes_todays_and_a_file_does_not) {
  const fs::path legacy = home_.config().parent_path() / "Tarsel";
  write_file(legacy, "a file");
  run({"--devices"});
  EXPECT_EQ(read_file(legacy), "a file");
  fs::remove(legacy);
  fs::remove_all(home_.config());
  write_file(legacy / "Tarsel.log", "old");
  write_file(legacy / "Tarsel.lock", "1\n");
  run({"--devices"});
  EXPECT_EQ(read_file(log_), "old");
  EXPECT_FALSE(fs::exists(legacy) || fs::exists(home_.config() / "Tarsel.lock"));
}

TEST_F(CommandLine, without_a_display_the_console_says_so) {
  Process process =
      start_as({"sh", "-c", R"(SDL_VIDEODRIVER=none exec "$0" >/dev/null)", VELMORA_EXECUTABLE});
  EXPECT_EQ(process.wait(kLimit), (ExitStatus{1, 0}));
  EXPECT_EQ(process.output(), "Kein Fenster moeglich, siehe " + log_.string() + "\n");
}

TEST_F(CommandLine, a_request_to_end_is_followed_in_order_from_the_start_on) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    Process process = start({});
    // As early as can be seen from outside: start-up is in its middle.
    ASSERT_TRUE(wait_until("the lock", kLimit, [&] {
      return read_file(lock_) == std::to_string(process.pid()) + "\n";
    }));
    process.signal(signal);
    EXPECT_EQ(process.wait(kLimit), (ExitStatus{0, 0}));
    EXPECT_THAT(read_file(log_), EndsWith(" INFO  Quit\n"));
    EXPECT_TRUE(fs::exists(home_.config() / "settings.dat"));
    fs::remove(home_.config() / "settings.dat");
  }
  EXPECT_TRUE(wait_until("no guard is left", kLimit, [&] {
    return support::processes_with("XDG_CONFIG_HOME", home_.path()).empty();
  }));
}

TEST_F(CommandLine, an_engine_that_cannot_have_a_thread_is_reported) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the sanitizer does not find its memory under such a limit";
#endif
  // No thread can have a stack of this size, in KiB.
  Process process =
      start_as({"sh", "-c", R"(ulimit -s 68719476736 && exec "$0" --devices)", VELMORA_EXECUTABLE});
  const std::optional<ExitStatus> status = process.wait(kLimit);
  if (process.output().find("ulimit") != std::string::npos) GTEST_SKIP() << process.output();
  EXPECT_EQ(status, (ExitStatus{1, 0}));
  EXPECT_EQ(process.output(), "Kein Tonserver erreichbar.\n");
  EXPECT_THAT(read_file(home_.config() / "Velmora-devices.log"),
              HasSubstr(" ERROR The audio engine cannot be started: "));
}

TEST_F(CommandLine, one_that_is_to_outlive_its_terminal_does) {
  Process process = start_as({"sh", "-c", R"(trap "" HUP; exec "$0")", VELMORA_EXECUTABLE});
  ASSERT_TRUE(wait_until_up(process));
  EXPECT_THAT(read_file("/proc/" + std::to_string(process.pid()) + "/status"),
              testing::ContainsRegex("SigIgn:\t[0-9a-f]{15}1\n"));
  EXPECT_EQ(process.stop(kLimit), (ExitStatus{0, 0}));
}

TEST_F(CommandLine, the_switches_of_a_run_are_remembered_but_for_the_device) {
  run_window({"--theme", "light", "--preset", "rock", "--collapsed", "--off", "--device", "sink",
              "--no-takeover", "stray", "--size", "5"});
  EXPECT_THAT(read_file(log_), HasSubstr(" WARN  Switch ignored: --size 5\n"));
  const Settings s = settings::load();
  EXPECT_EQ(s.theme, "light");
  EXPECT_EQ(s.preset, "b:preset_rock");
  EXPECT_TRUE(eq::same(s.curve, eq::preset_curve(eq::find_preset("preset_rock"))));
  EXPECT_TRUE(s.collapsed);
  EXPECT_FALSE(s.active);
  EXPECT_TRUE(s.active_on_start);
  EXPECT_EQ(s.output, "");
  // The next run starts from them, apart from the equalizer itself.
  run_window({});
  EXPECT_EQ(settings::load().preset, "b:preset_rock");
  EXPECT_TRUE(settings::load().active);
}

}  // namespace
