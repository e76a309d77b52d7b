// The log file and the lines kept in memory.
#include "app/logger.h"
#include "test.h"

namespace {

std::vector<std::string> lines_of(const fs::path& file) {
  std::istringstream text(read_file(file));
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);)
    lines.push_back(line);
  return lines;
}

class Logger : public Test {
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

TEST_F(Logger, a_line_is_time_level_and_message_and_stays_one_line) {
  logger::init(home_.path(), "Test");
  logger::init(home_.path(), "Other");  // only the first one counts
  EXPECT_EQ(logger::file_path(), file_.string());
  logger::info("up");
  logger::warn("100 %s %n %d");
  logger::error("a\nERROR b\r\nc \x1b[31m\x7f\xff \u202e\u2028d");
  // Complete on disk while the file is still open.
  EXPECT_THAT(lines_of(file_), ElementsAre(MatchesRegex("..:..:.. INFO  up"),
                                           MatchesRegex("..:..:.. WARN  100 %s %n %d"),
                                           EndsWith(" ERROR a ERROR b  c  [31m \uFFFD  d")));
  EXPECT_EQ(logger::tail(3), lines_of(file_));
  EXPECT_FALSE(fs::exists(home_.path() / "Other.log"));
  // Programs that are started do not get the file.
  EXPECT_THAT(output_of("ls -l /proc/self/fd"), AllOf(HasSubstr(" -> "), Not(HasSubstr(file_))));
}

TEST_F(Logger, the_newest_five_hundred_lines_are_kept) {
  for (int i = 0; i < 501; ++i)
    logger::info(std::to_string(i));
  ASSERT_EQ(logger::tail(1000).size(), 500U);
  EXPECT_THAT(logger::tail(500).front(), EndsWith(" INFO  1"));
  EXPECT_THAT(logger::tail(1), ElementsAre(EndsWith(" INFO  500")));
}

TEST_F(Logger, lines_before_the_file_is_open_come_first_in_it_and_in_no_other) {
  logger::warn("Settings damaged");
  write_file(file_, "an earlier run");
  logger::init(home_.path() / "missing", "Test");  // a later attempt may find a place for them
  logger::init(home_.path(), "Test");
  logger::info("third");
  logger::shutdown();
  logger::info("between");
  EXPECT_THAT(lines_of(file_), ElementsAre(EndsWith("WARN  Settings damaged"), EndsWith("third")));
  logger::init(home_.path(), "Next");
  EXPECT_THAT(lines_of(home_.path() / "Next.log"), ElementsAre(EndsWith("between")));
}

TEST_F(Logger, lines_that_a_full_disk_refused_are_written_once_there_is_room) {
  logger::init(home_.path(), "Test");
  logger::info("before");
  const auto refuse = [&](int lines) {
    const FullDisk full(fs::file_size(file_) + 10);  // room for half a line
    for (int i = 0; i < lines; ++i)
      logger::info("refused " + std::to_string(i));
  };
  refuse(2);
  EXPECT_THAT(lines_of(file_), ElementsAre(EndsWith("before")));
  logger::info("after");
  EXPECT_THAT(lines_of(file_), ElementsAre(EndsWith("before"), EndsWith("refused 0"),
                                           EndsWith("refused 1"), EndsWith("after")));
  refuse(700);
  logger::info("last");
  EXPECT_EQ(lines_of(file_).size(), 4U + 500U);
  EXPECT_THAT(lines_of(file_)[4], EndsWith("refused 201"));
}

TEST_F(Logger, lines_of_many_threads_stay_whole) {
  constexpr int kLines = 300;
  logger::init(home_.path(), "Test");
  std::vector<std::thread> threads;
  for (const char c : {'a', 'b', 'c', 'd'}) {
    threads.emplace_back([c] {
      for (int i = 0; i < kLines; ++i)
        logger::info(std::string(60, c));
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(lines_of(file_).size(), 4U * kLines);
  EXPECT_THAT(lines_of(file_), Each(MatchesRegex("..:..:.. INFO  (a{60}|b{60}|c{60}|d{60})")));
}

}  // namespace
