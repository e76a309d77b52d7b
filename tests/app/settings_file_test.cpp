// The settings file: what happens to it when it is damaged, when the disk is full and when the
// program dies.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "home.h"
#include "logger.h"
#include "records.h"
#include "sealing.h"
#include "settings.h"
#include "settings_text.h"

namespace {

namespace fs = std::filesystem;
using testing::EndsWith;

std::string last_log_line() {
  const auto lines = logger::tail(1);
  return lines.empty() ? "" : lines.back();
}

class SettingsFile : public testing::Test {
 protected:
  Home home_;
  const fs::path path_ = home_.config() / "settings.dat";
  const fs::path temporary_ = home_.config() / "settings.dat.tmp";
  const fs::path aside_ = home_.config() / "settings.dat.manipuliert";

  // A save that fails leaves the file that was there, to the byte, and logs `line`.
  void expect_failed_save(const std::string& line) {
    const std::string before = read_file(path_);
    EXPECT_FALSE(settings::save(Settings()));
    EXPECT_THAT(last_log_line(), EndsWith(line));
    ASSERT_FALSE(fs::is_symlink(path_));
    EXPECT_EQ(read_file(path_), before);
    EXPECT_EQ(settings::load(), changed_settings());
  }
};

TEST_F(SettingsFile, what_is_saved_is_loaded) {
  ASSERT_TRUE(settings::save(changed_settings()));
  EXPECT_EQ(settings::file_path(), path_.string());
  EXPECT_EQ(settings::load(), changed_settings());
  std::string text;
  EXPECT_EQ(sealing::open(read_file(path_), &text), 0);
  EXPECT_EQ(text, settings::serialize(changed_settings()));
  EXPECT_FALSE(fs::exists(temporary_));
  struct stat info {};
  ASSERT_EQ(stat(path_.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777U, 0600U);
}

TEST_F(SettingsFile, a_missing_or_empty_file_gives_the_initial_settings) {
  EXPECT_EQ(settings::load(), Settings());
  write_file(path_, "");
  EXPECT_EQ(settings::load(), Settings());
  EXPECT_FALSE(fs::exists(aside_));
}

TEST_F(SettingsFile, a_damaged_file_is_noticed_and_moved_aside_and_survives_the_next_save) {
  ASSERT_TRUE(settings::save(changed_settings()));
  const std::string good = read_file(path_);
  std::vector<std::string> damaged = {settings::serialize(changed_settings()), "TRSL"};
  for (std::size_t at = 0; at < good.size(); at += 7) {
    damaged.push_back(good);
    damaged.back()[at] ^= '\x01';
  }
  for (const std::string& bytes : damaged) {
    write_file(path_, bytes);
    ASSERT_EQ(settings::load(), Settings());
    ASSERT_THAT(last_log_line(),
                EndsWith("WARN  Settings damaged - moved aside as " + aside_.string()));
    ASSERT_FALSE(fs::exists(path_));
    ASSERT_TRUE(settings::save(Settings()));
    ASSERT_EQ(read_file(aside_), bytes);
  }
  // A hole takes no room, but would take memory.
  write_file(path_, "TRSL\x01");
  fs::resize_file(path_, std::uintmax_t{1} << 40U);
  EXPECT_EQ(settings::load(), Settings());
  EXPECT_FALSE(fs::exists(path_));
  fs::remove(aside_);
  write_file(aside_ / "in the way", "");
  write_file(path_, "damaged");
  EXPECT_EQ(settings::load(), Settings());
  EXPECT_THAT(last_log_line(), EndsWith("cannot be moved aside as " + aside_.string()));
}

TEST_F(SettingsFile, what_is_no_file_is_left_alone) {
  fs::create_directories(path_ / "in the way");
  EXPECT_EQ(settings::load(), Settings());
  EXPECT_THAT(last_log_line(), EndsWith("Settings not readable: " + path_.string()));
  EXPECT_FALSE(settings::save(Settings()));
  EXPECT_THAT(last_log_line(), EndsWith("ERROR Settings cannot be replaced"));
  fs::remove_all(path_);
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);  // nobody will ever write to it
  EXPECT_EQ(settings::load(), Settings());
  EXPECT_TRUE(fs::is_fifo(path_));
}

TEST_F(SettingsFile, a_save_that_fails_leaves_the_old_file_and_is_in_nobodys_way) {
  ASSERT_TRUE(settings::save(changed_settings()));
  fs::create_directories(temporary_);
  expect_failed_save("ERROR Settings not writable: " + temporary_.string());
  fs::remove(temporary_);
  fs::create_symlink("/dev/full", temporary_);
  expect_failed_save("ERROR Settings not completely written");
  fs::remove(temporary_);
  // A write that ends half way.
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small{100, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  expect_failed_save("ERROR Settings not completely written");
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(fs::file_size(temporary_), 100U);
  EXPECT_TRUE(settings::save(Settings()));
  EXPECT_EQ(settings::load(), Settings());
}

// A child saves two records in turn as fast as it can and is killed somewhere in the middle, while
// this process reads: it must always find one of the two.
TEST_F(SettingsFile, a_killed_save_leaves_the_old_or_the_new_settings) {
  Settings other = changed_settings();
  for (int i = 0; i < 98; ++i)
    other.user_presets.push_back({std::string(29, 'x') + std::to_string(i), {}});
  ASSERT_TRUE(settings::save(other));
  for (int round = 0; round < 25; ++round) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (;;) {
        settings::save(changed_settings());
        settings::save(other);
      }
    }
    const auto expect_one_of_the_two = [&] {
      const Settings found = settings::load();
      EXPECT_TRUE(found == other || found == changed_settings()) << "round " << round;
    };
    for (int reads = 0; reads <= round % 3; ++reads)
      expect_one_of_the_two();
    kill(child, SIGKILL);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    expect_one_of_the_two();
    ASSERT_FALSE(fs::exists(aside_));
  }
}

}  // namespace
