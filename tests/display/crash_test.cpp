// A crash, what it leaves, and what the next start makes of it.

#include <csignal>
#include <filesystem>
#include <fstream>

#include <sys/syscall.h>
#include <unistd.h>

#include "display_test.h"

namespace display_test {
namespace {

using namespace std::string_literals;
using testing::HasSubstr;

// The buttons of the note at the window's first size.
constexpr Spot kSend{660, 374};
constexpr Spot kDiscard{542, 374};
constexpr Spot kBesideText{700, 270};
constexpr Spot kNoteEdge{480, 242};  // on the note, where nothing moves under it
constexpr const char* kFound = "Crash report from the last run found: ";

class Crash : public DisplayTest {
 protected:
  // Sends the signal to the thread of this name, as a fault on it would.
  static void hit(const VelmoraProcess& program, const std::string& thread, int number) {
    const std::string tasks = "/proc/" + std::to_string(program.pid()) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks)) {
      if (read_file(task.path() / "comm") != thread + "\n") continue;
      const pid_t tid = std::stoi(task.path().filename());
      ASSERT_EQ(syscall(SYS_tgkill, program.pid(), tid, number), 0);
      return;
    }
    FAIL() << "no thread " << thread;
  }
  // A run that ends by this signal.
  std::unique_ptr<VelmoraProcess> crashed(int number) {
    auto program = start();
    program->signal(number);
    EXPECT_TRUE(program->wait(kPatience).has_value());
    return program;
  }
  std::string file(const VelmoraProcess& program, const char* name) {
    return read_file(program.config_home() / "Velmora" / name);
  }
};

TEST_F(Crash, on_any_thread_gives_the_sound_back_and_leaves_a_report) {
  const std::tuple<const char*, int, const char*> cases[] = {{"Velmora", SIGSEGV, "SIGSEGV"},
                                                             {"Velq-audio", SIGFPE, "SIGFPE"},
                                                             {"Velq-control", SIGABRT, "SIGABRT"}};
  for (const auto& [thread, number, name] : cases) {
    auto program = start({"--theme", "light"});
    EXPECT_TRUE(program->wait_for_log("Audio: Source velmora.monitor", kPatience));
    hit(*program, thread, number);
    EXPECT_EQ(program->wait(kPatience).value().signal, number);
    EXPECT_TRUE(as_before());
    const std::string report = file(*program, "crash_report.txt");
    EXPECT_THAT(report, testing::StartsWith("=== Velmora crash report ===\nVersion: 1.0.2"));
    for (const std::string& part :
         {std::string("Signal: ") + name, "/Velmora("s, "\n--- Graphics ---\n"s,
          "renderer software"s, "\n--- Audio ---\nServer "s, "\n--- System ---\nOS: "s,
          std::string(kFirstFrame), "/Velmora.log\n=== end of report ===\n"s})
      EXPECT_THAT(report, HasSubstr(part));
  }
}

TEST_F(Crash, the_next_starts_ask_until_the_report_is_discarded) {
  const std::string crashed_log = crashed(SIGSEGV)->log();
  for (const char* const view : {"--compact", "--no-takeover"}) {
    // Only the full view has room for the question, so that is what opens.
    auto asking = start({view});
    EXPECT_TRUE(asking->wait_for_log(kFound, kPatience));
    EXPECT_EQ(file(*asking, "crash_log.txt"), crashed_log);
    const Window window(screen());
    EXPECT_TRUE(has_size(window, kFull));
    // Neither a key nor a press beside the buttons answers the question.
    window.key("Escape");
    window.click(kBesideText);
    if (std::string(view) == "--compact") continue;
    click_and_see(window, kDiscard, kNoteEdge);
    EXPECT_TRUE(eventually("the report is gone",
                           [&] { return file(*asking, "crash_report.txt").empty(); }));
    EXPECT_EQ(file(*asking, "crash_log.txt"), "");
    // What lay under the note can be reached again.
    click_and_see(window, kPresets, kBelowPresets);
  }
  auto after = start();
  EXPECT_EQ(after->count_in_log(kFound), 0);
}

TEST_F(Crash, one_click_opens_a_mail_with_everything_attached) {
  TempDir bin;
  const std::filesystem::path got = bin.path() / "arguments";
  std::ofstream(bin.path() / "xdg-email")
      << "#!/bin/sh\nprintf '%s\\n' \"$@\" > '" << got.string() << "'\n";
  std::filesystem::permissions(bin.path() / "xdg-email", std::filesystem::perms::owner_all);
  const std::string report = file(*crashed(SIGILL), "crash_report.txt");
  const char* const path = getenv("PATH");
  const std::string found_first = bin.path().string() + ":";
  // Nor is the machine's own mail program to be found.
  auto asking = start({}, {{"PATH", found_first + (path != nullptr ? path : "/usr/bin:/bin")},
                           {"XDG_DATA_DIRS", bin.path().string()}});
  EXPECT_TRUE(asking->wait_for_log(kFound, kPatience));
  const Window window(screen());
  click_and_see(window, kSend, kNoteEdge);
  EXPECT_TRUE(asking->wait_for_log("Crash report: mail composed with 3 attachments", kPatience));
  const std::string arguments = read_file(got);
  EXPECT_THAT(arguments, HasSubstr("--subject\nVelmora 1.0.2 (Build 1057) crash report\n"));
  EXPECT_THAT(arguments, HasSubstr("\n\n" + report));
  for (const char* const name : {"crash_report-sent.txt", "crash_log-sent.txt", "Velmora.log"})
    EXPECT_THAT(arguments,
                HasSubstr("--attach\n" + asking->config_home().string() + "/Velmora/" + name));
  EXPECT_EQ(file(*asking, "crash_report-sent.txt"), report);
  EXPECT_EQ(file(*asking, "crash_report.txt"), "");
}

}  // namespace
}  // namespace display_test
