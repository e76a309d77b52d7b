// The settings file: what happens to it when it is damaged, when the disk is full and when the
// program dies.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>

#include "home.h"
#include "logger.h"
#include "records.h"
#include "sealing.h"
#include "settings.h"
#include "settings_text.h"
#include "wait_until.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using support::wait_until;
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
  EXPECT_TRUE(fs::exists(path_));
  EXPECT_FALSE(fs::exists(aside_));
}

TEST_F(SettingsFile, every_damaged_byte_is_noticed_and_the_file_moved_aside) {
  ASSERT_TRUE(settings::save(changed_settings()));
  const std::string good = read_file(path_);
  for (std::size_t at = 0; at < good.size(); ++at) {
    std::string damaged = good;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x01);
    write_file(path_, damaged);
    ASSERT_EQ(settings::load(), Settings()) << "byte " << at;
    ASSERT_FALSE(fs::exists(path_)) << "byte " << at;
    ASSERT_EQ(read_file(aside_), damaged) << "byte " << at;
    ASSERT_THAT(last_log_line(),
                EndsWith("WARN  Settings damaged - moved aside as " + aside_.string()));
  }
}

TEST_F(SettingsFile, a_good_save_keeps_the_damaged_file_and_the_next_damaged_one_replaces_it) {
  write_file(path_, settings::serialize(changed_settings()));  // edited by hand, without a seal
  EXPECT_EQ(settings::load(), Settings());
  EXPECT_TRUE(settings::save(Settings()));
  EXPECT_EQ(read_file(aside_), settings::serialize(changed_settings()));
  write_file(path_, "TRSL");
  EXPECT_EQ(settings::load(), Settings());
  EXPECT_EQ(read_file(aside_), "TRSL");
}

TEST_F(SettingsFile, a_damaged_file_that_cannot_be_moved_is_reported) {
  write_file(aside_ / "in the way", "");
  write_file(path_, "damaged");
  EXPECT_EQ(settings::load(), Settings());
  EXPECT_THAT(last_log_line(), EndsWith("cannot be moved aside as " + aside_.string()));
}

TEST_F(SettingsFile, an_absurdly_large_file_is_damaged_and_not_read) {
  write_file(path_, "TRSL\x01");
  fs::resize_file(path_, std::uintmax_t{1} << 40U);  // a hole: takes no room, but would take memory
  EXPECT_EQ(settings::load(), Settings());
  EXPECT_FALSE(fs::exists(path_));
  EXPECT_TRUE(fs::exists(aside_));
}

TEST_F(SettingsFile, what_is_no_file_is_left_alone) {
  fs::create_directories(path_);
  EXPECT_EQ(settings::load(), Settings());
  EXPECT_THAT(last_log_line(), EndsWith("Settings not readable: " + path_.string()));
  fs::remove(path_);
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);  // nobody will ever write to it
  EXPECT_EQ(settings::load(), Settings());
  EXPECT_TRUE(fs::is_fifo(path_));
}

TEST_F(SettingsFile, a_full_disk_leaves_the_old_file) {
  ASSERT_TRUE(settings::save(changed_settings()));
  fs::create_symlink("/dev/full", temporary_);
  expect_failed_save("ERROR Settings not completely written");
}

TEST_F(SettingsFile, a_write_that_ends_half_way_leaves_the_old_file) {
  ASSERT_TRUE(settings::save(changed_settings()));
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small{100, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  expect_failed_save("ERROR Settings not completely written");
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(fs::file_size(temporary_), 100U);
  EXPECT_TRUE(settings::save(Settings()));  // what was left behind is in nobody's way
  EXPECT_EQ(settings::load(), Settings());
}

TEST_F(SettingsFile, a_temporary_file_that_cannot_be_opened_leaves_the_old_file) {
  ASSERT_TRUE(settings::save(changed_settings()));
  fs::create_directories(temporary_);
  expect_failed_save("ERROR Settings not writable: " + temporary_.string());
}

TEST_F(SettingsFile, a_file_that_cannot_be_replaced_is_reported) {
  write_file(path_ / "in the way", "");
  EXPECT_FALSE(settings::save(Settings()));
  EXPECT_THAT(last_log_line(), EndsWith("ERROR Settings cannot be replaced"));
}

// A child saves two records in turn as fast as it can and is killed somewhere in the middle, while
// this process reads: it must always find one of the two.
TEST_F(SettingsFile, a_killed_save_leaves_the_old_or_the_new_settings) {
  constexpr int kRounds = 25;
  Settings other = changed_settings();
  other.user_presets.assign(100, {std::string(32, 'x'), {}});
  for (int i = 0; i < 100; ++i)
    other.user_presets[static_cast<std::size_t>(i)].name += std::to_string(i);
  for (UserPreset& preset : other.user_presets)
    preset.name.erase(0, 3);
  ASSERT_TRUE(settings::save(other));
  int reads_of_each[2] = {};
  for (int round = 0; round < kRounds; ++round) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (;;) {
        settings::save(changed_settings());
        settings::save(other);
      }
    }
    int reads = 0;
    EXPECT_TRUE(wait_until("a few loads", 10s, [&] {
      const Settings found = settings::load();
      EXPECT_TRUE(found == other || found == changed_settings());
      ++reads_of_each[found == other ? 0 : 1];
      return ++reads == 1 + round % 3 || testing::Test::HasFailure();
    }));
    kill(child, SIGKILL);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    const Settings left = settings::load();
    ASSERT_TRUE(left == other || left == changed_settings()) << "round " << round;
    ASSERT_FALSE(fs::exists(aside_));
  }
  EXPECT_GT(reads_of_each[0], 0);
}

}  // namespace
