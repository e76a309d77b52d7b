

#include "child.h"
#include "crash/crash_handler.h"
#include "test.h"

namespace {

using crash_test::ended_by;
using crash_test::kTester;

class Capture : public Test {
 protected:
  [[nodiscard]] std::string path(const char* name) const { return dir_.path() / name; }
  [[nodiscard]] std::string report() const { return read_file(report_path_); }

  // How a process that knows its directory ends, when `deed` ends it.
  int crash(const std::function<void()>& deed) const {
    return in_child([&] {
      faultline::install(kTester);
      faultline::set_report_dir(dir_.path().string());
      faultline::set_log_file(path("app.log"));
      deed();
    });
  }

  Directory dir_;
  const std::string report_path_ = path("crash_report.txt");
};

// Uses its stack up; the sum keeps the compiler from making a loop of it.
int overflow(int depth) {
  volatile char room[4096] = {};
  room[0] = static_cast<char>(depth);
  return depth < 0 ? 0 : overflow(depth + 1) + room[0];
}

TEST_F(Capture, every_caught_signal_leaves_a_whole_report_and_ends_the_process) {
  using Signal = std::pair<int, std::string>;
  write_file(path("app.log"), "first line\nlast line\n");
  for (const auto& [number, name] :
       {Signal(SIGSEGV, "SIGSEGV"), Signal(SIGABRT, "SIGABRT"), Signal(SIGFPE, "SIGFPE"),
        Signal(SIGBUS, "SIGBUS"), Signal(SIGILL, "SIGILL"), Signal(SIGTRAP, "SIGTRAP")}) {
    const int status = crash([number = number] {
      setenv("SNAP_REVISION", "77", 1);
      setenv("XDG_CURRENT_DESKTOP", "Desk", 1);
      faultline::set_context(faultline::kSystem, "a system\n");
      crash_handler::record_audio({"a sink\n\n=== end of report ==="});
      faultline::set_context(faultline::kGraphics, "old\n");
      faultline::set_context(faultline::kGraphics, "a card\n");
      raise(number);
    });
    EXPECT_TRUE(ended_by(number, status));
    EXPECT_EQ(fs::status(report_path_).permissions(), fs::perms{0600});
    const std::string text = report();
    EXPECT_THAT(text, StartsWith("=== Tester crash report ===\nVersion: 1.2.3 (Build 45)\n"
                                 "Snap revision: 77\nSignal: " +
                                 name + " ("));
    EXPECT_THAT(
        text,
        ContainsRegex("\nTime \\(unix\\): [0-9]+\nRunning for \\(s\\): [0-9]+\nSystem: Linux .+\n"
                      "Desktop: Desk\n(Session: .+\n)?\nBacktrace:\n.*test_crash"));
    EXPECT_THAT(text, EndsWith("\n\n--- Graphics ---\na card\n"
                               "\n--- Audio ---\na sink  === end of report ===\n"
                               "\n--- System ---\na system\n"
                               "\nLog (last lines before the crash):\nfirst line\nlast line\n"
                               "\nLog file:\n  " +
                               path("app.log") + "\n=== end of report ===\n"));
  }
}

TEST_F(Capture, the_log_is_cut_at_a_line_and_a_context_between_characters) {
  const std::string line = "second line\n";
  const std::string full = std::string(2499 - line.size(), 'x') + "\n" + line;
  std::string umlauts;  // two bytes each, where an odd number fits
  while (umlauts.size() < 4000)
    umlauts += "ä";
  for (const auto& [log, shown] : {std::pair{full, full},
                                   {"y" + full, line},
                                   {std::string(9000, 'w'), std::string(2500, 'w')}}) {
    write_file(path("app.log"), log);
    crash([&] {
      faultline::set_context(faultline::kSystem, umlauts);
      raise(SIGTRAP);
    });
    EXPECT_THAT(report(),
                HasSubstr("ä\nLog (last lines before the crash):\n" + shown + "\nLog file:"));
  }
}

TEST_F(Capture, an_overflow_of_the_stack_is_reported_on_any_prepared_thread) {
  for (const bool on_main : {true, false}) {
    fs::remove(report_path_);
    const int status = crash([on_main] {
      if (on_main) overflow(0);
      std::thread([] {
        sigset_t all;  // as some libraries do on their threads
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        faultline::prepare_thread();
        overflow(0);
      }).join();
    });
    EXPECT_TRUE(ended_by(SIGSEGV, status));
    EXPECT_THAT(report(), EndsWith("=== end of report ===\n"));
  }
#ifndef __SANITIZE_THREAD__  // which maps memory of its own for each thread
  // A prepared thread that ends gives back what it was prepared with.
  const auto mappings = [] { return std::ranges::count(read_file("/proc/self/maps"), '\n'); };
  const auto before = mappings();
  for (int i = 0; i < 50; ++i)
    std::thread(faultline::prepare_thread).join();
  EXPECT_LT(mappings(), before + 25);
#endif
}

// The signal comes at some moment of a thread's life that it spends in the allocator and in
// set_context: often enough with the allocator's lock held and a text half written.
TEST_F(Capture, a_crash_inside_the_allocator_or_an_update_still_reports_whole_texts) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the sanitizer's own locks may be held then, and the handler would wait for them";
#endif
  for (int round = 0; round < 20; ++round) {
    const int status = crash([round] {
      const std::string texts[] = {std::string(2000, 'A') + "\n", std::string(2000, 'B') + "\n"};
      faultline::set_context(faultline::kAudio, texts[0]);
      std::thread busy([&texts] {
        for (std::size_t i = 0;; ++i) {
          faultline::set_context(faultline::kAudio, texts[i % 2]);
          const std::vector<std::string> garbage(20, std::string(40 + i % 4000, 'g'));
          static_cast<void>(garbage);
        }
      });
      // Any moment will do: what is tested is that all of them are the same.
      const timespec moment{.tv_sec = 0, .tv_nsec = 2000000 + round * 100000};
      nanosleep(&moment, nullptr);
      pthread_kill(busy.native_handle(), SIGSEGV);
      busy.join();
    });
    ASSERT_TRUE(ended_by(SIGSEGV, status));
    const std::string text = report();
    ASSERT_THAT(text, EndsWith("=== end of report ===\n"));
    const std::size_t audio = text.find("--- Audio ---\n") + 14;
    const std::string whole(2000, text[audio]);
    ASSERT_EQ(text.substr(audio, 2002), whole + "\n\n");
  }
}

TEST_F(Capture, an_early_report_is_collected_once_the_directory_is_known) {
  fs::create_directory(path("home"));
  // Where the runtime directory is a file system of its own, too.
  std::string other = "/dev/shm/velmora-XXXXXX";
  ASSERT_NE(mkdtemp(other.data()), nullptr);
  for (const std::string& early : {dir_.path().string(), other}) {
    setenv("XDG_RUNTIME_DIR", early.c_str(), 1);
    const int status = in_child([] {
      faultline::install(kTester);
      raise(SIGABRT);
    });
    EXPECT_TRUE(ended_by(SIGABRT, status));
    EXPECT_THAT(read_file(early + "/Tester_crash.txt"), HasSubstr("SIGABRT"));
    EXPECT_EQ(in_child([&] {
                faultline::install(kTester);
                faultline::set_report_dir(path("home"));
                std::string text;
                EXPECT_TRUE(faultline::pending(&text));
                EXPECT_THAT(text, HasSubstr("SIGABRT"));
              }),
              0);
    EXPECT_FALSE(fs::exists(early + "/Tester_crash.txt"));
  }
  fs::remove_all(other);
}

// The early place is shared: anybody may leave something there under the report's name.
TEST_F(Capture, what_is_no_report_of_ours_is_neither_offered_nor_collected_nor_written_over) {
  namespace fs = std::filesystem;
  setenv("XDG_RUNTIME_DIR", dir_.path().c_str(), 1);
  write_file(path("precious.txt"), "mine");
  const fs::path early = path("Tester_crash.txt");
  const auto expect_untouched = [&](const fs::path& place) {
    const fs::file_type type = fs::symlink_status(place).type();
    const int status = crash([] {
      EXPECT_FALSE(faultline::pending(nullptr));
      if (!HasFailure()) raise(SIGBUS);
    });
    EXPECT_TRUE(ended_by(SIGBUS, status));
    EXPECT_EQ(fs::symlink_status(place).type(), type);
    fs::remove(place);
    fs::remove(report_path_);
  };
  for (const fs::path& place : {early, fs::path(report_path_)}) {
    fs::create_symlink(path("precious.txt"), place);
    expect_untouched(place);
    fs::create_directory(place);
    expect_untouched(place);
    ASSERT_EQ(mkfifo(place.c_str(), 0600), 0);
    expect_untouched(place);
  }
  write_file(report_path_, "");  // the disk was full
  expect_untouched(report_path_);
  write_file(early, "");
  fs::resize_file(early, std::uintmax_t{1} << 30U);
  expect_untouched(early);
  write_file(early, "theirs");
  if (geteuid() == 0 && chown(early.c_str(), 1, 1) == 0) expect_untouched(early);
  EXPECT_EQ(read_file(path("precious.txt")), "mine");
}

TEST_F(Capture, a_path_that_does_not_fit_is_refused_and_nothing_is_written_elsewhere) {
  for (const std::size_t length : {1010U, 1006U}) {  // the report's would be 1028 and 1024
    fs::path deep = dir_.path();
    while (deep.string().size() < 900)
      deep /= std::string(90, 'd');
    deep /= std::string(length - deep.string().size(), 'd');
    fs::create_directories(deep);
    EXPECT_TRUE(ended_by(SIGABRT, crash([&] {
                           faultline::set_report_dir(deep);
                           raise(SIGABRT);
                         })));
    EXPECT_TRUE(fs::is_empty(deep)) << length;
  }
}

TEST_F(Capture, the_next_starts_find_the_report_and_keep_the_log_of_the_crashed_run) {
  write_file(path("app.log"), "the crashed run");
  // More than is read, and no text at all: a report for all that.
  std::string odd("odd\0\xFF", 5);
  odd.resize(10U << 20U, 'o');
  write_file(report_path_, odd);
  for (const char* const log_line : {"one later", "two later"}) {
    EXPECT_EQ(in_child([&] {
                faultline::install(kTester);
                EXPECT_EQ(faultline::rotate_log(path("app.log")), path("app.log.1"));
                write_file(path("app.log"), log_line);
                faultline::set_report_dir(dir_.path().string());
                std::string text;
                EXPECT_TRUE(faultline::pending(&text));
                EXPECT_EQ(text, odd.substr(0, 262144));
                EXPECT_EQ(read_file(path("crash_log.txt")), "the crashed run");
              }),
              0)
        << log_line;
  }
  EXPECT_EQ(in_child([&] {
              faultline::install(kTester);
              faultline::set_report_dir(dir_.path().string());
              faultline::discard();
            }),
            0);
  EXPECT_FALSE(fs::exists(report_path_));
  EXPECT_FALSE(fs::exists(path("crash_log.txt")));
}

TEST_F(Capture, sound_devices_are_logged_once_until_they_change) {
  EXPECT_EQ(in_child([] {
              static int lines = 0;
              faultline::App app = kTester;
              app.log = [](const char*, const std::string&) { ++lines; };
              faultline::install(app);
              for (const char* const device : {"a sink", "a sink", "another", "a sink"})
                faultline::record_audio({device});
              EXPECT_EQ(lines, 3);
            }),
            0);
}

}  // namespace
