// The log file and the lines kept in memory.
#include "logger.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "home.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::EndsWith;
using testing::MatchesRegex;

constexpr std::size_t kTime = 9;  // "HH:MM:SS "

std::vector<std::string> lines_of(const fs::path& file) {
  std::istringstream text(read_file(file));
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);)
    lines.push_back(line);
  return lines;
}

class Logger : public testing::Test {
 protected:
  void SetUp() override {
    // The module's state outlives a test; this leaves no line for the next file.
    logger::init(home_.path(), "drain");
    logger::shutdown();
    fs::remove(home_.path() / "drain.log");
  }
  void TearDown() override { logger::shutdown(); }

  Home home_;
  const fs::path file_ = home_.path() / "Test.log";
};

TEST_F(Logger, a_line_is_time_level_and_message) {
  logger::init(home_.path(), "Test");
  EXPECT_EQ(logger::file_path(), file_.string());
  logger::info("up");
  logger::warn("100 %s %n %d");
  logger::error("");
  // Complete on disk while the file is still open.
  EXPECT_THAT(lines_of(file_), ElementsAre(MatchesRegex("..:..:.. INFO  up"),
                                           MatchesRegex("..:..:.. WARN  100 %s %n %d"),
                                           MatchesRegex("..:..:.. ERROR ")));
  EXPECT_EQ(read_file(file_).back(), '\n');
  EXPECT_EQ(logger::tail(3), lines_of(file_));
}

TEST_F(Logger, a_message_stays_one_line) {
  logger::init(home_.path(), "Test");
  logger::info("a\nERROR b\r\nc \x1b[31m \xff \u202e\u2028d" + std::string(10000, 'e'));
  EXPECT_THAT(lines_of(file_), ElementsAre(EndsWith("INFO  a ERROR b  c  [31m \uFFFD  d" +
                                                    std::string(10000, 'e'))));
}

TEST_F(Logger, the_newest_five_hundred_lines_are_kept) {
  for (int i = 0; i < 501; ++i)
    logger::info(std::to_string(i));
  const auto all = logger::tail(1000);
  ASSERT_EQ(all.size(), 500U);
  EXPECT_EQ(all.front().substr(kTime), "INFO  1");
  EXPECT_EQ(all.back().substr(kTime), "INFO  500");
  EXPECT_EQ(logger::tail(2).front().substr(kTime), "INFO  499");
  EXPECT_TRUE(logger::tail(0).empty());
}

TEST_F(Logger, lines_before_the_file_is_open_come_first_in_it) {
  logger::warn("Settings damaged");
  logger::info("second");
  write_file(file_, "an earlier run");
  logger::init(home_.path(), "Test");
  logger::info("third");
  EXPECT_THAT(lines_of(file_), ElementsAre(EndsWith("WARN  Settings damaged"), EndsWith("second"),
                                           EndsWith("third")));
  // None of them is written again to a later file.
  logger::shutdown();
  logger::info("between");
  logger::init(home_.path(), "Next");
  EXPECT_THAT(lines_of(home_.path() / "Next.log"), ElementsAre(EndsWith("between")));
}

TEST_F(Logger, only_the_first_init_counts_until_the_log_is_shut_down) {
  logger::init(home_.path(), "Test");
  logger::init(home_.path(), "Other");
  logger::info("here");
  EXPECT_EQ(logger::file_path(), file_.string());
  EXPECT_FALSE(fs::exists(home_.path() / "Other.log"));
  logger::shutdown();
  logger::shutdown();
  logger::info("too late");
  EXPECT_THAT(lines_of(file_), ElementsAre(EndsWith("here")));
  EXPECT_THAT(logger::tail(1), ElementsAre(EndsWith("too late")));
}

TEST_F(Logger, a_file_that_cannot_be_opened_leaves_the_lines_in_memory) {
  logger::init(home_.path() / "missing", "Test");
  logger::info("kept");
  EXPECT_THAT(logger::tail(1), ElementsAre(EndsWith("INFO  kept")));
  // A later attempt may find a place for them.
  logger::init(home_.path(), "Test");
  EXPECT_THAT(lines_of(file_), ElementsAre(EndsWith("INFO  kept")));
}

TEST_F(Logger, lines_that_a_full_disk_refused_are_written_once_there_is_room) {
  logger::init(home_.path(), "Test");
  logger::info("before");
  rlimit unlimited{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &unlimited), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  // Room for half a line.
  const rlimit full{static_cast<rlim_t>(fs::file_size(file_)) + 10, unlimited.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
  logger::info("refused");
  logger::info("refused, too");
  EXPECT_THAT(lines_of(file_), ElementsAre(EndsWith("before")));
  setrlimit(RLIMIT_FSIZE, &unlimited);
  std::signal(SIGXFSZ, handler);
  logger::info("after");
  EXPECT_THAT(lines_of(file_), ElementsAre(EndsWith("before"), EndsWith("refused"),
                                           EndsWith("refused, too"), EndsWith("after")));
}

TEST_F(Logger, started_programs_do_not_get_the_file) {
  logger::init(home_.path(), "Test");
  int found = 0;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    if (fs::read_symlink(entry.path(), error) != file_) continue;
    ++found;
    const int flags = fcntl(std::stoi(entry.path().filename().string()), F_GETFD);
    EXPECT_NE(flags & FD_CLOEXEC, 0);
  }
  EXPECT_EQ(found, 1);
}

TEST_F(Logger, lines_of_many_threads_stay_whole) {
  constexpr int kThreads = 4;
  constexpr int kLines = 300;
  logger::init(home_.path(), "Test");
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      const std::string message(static_cast<std::size_t>(50 + t), static_cast<char>('a' + t));
      for (int i = 0; i < kLines; ++i)
        logger::info(message);
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  const auto lines = lines_of(file_);
  EXPECT_EQ(lines.size(), std::size_t{kThreads} * kLines);
  for (int t = 0; t < kThreads; ++t) {
    const std::string end =
        "INFO  " + std::string(static_cast<std::size_t>(50 + t), static_cast<char>('a' + t));
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [&](const std::string& line) { return line.substr(kTime) == end; }),
              kLines);
  }
}

}  // namespace
