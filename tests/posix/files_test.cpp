// Files where somebody else may have prepared something.
#include "posix/files.h"

#include "test.h"

namespace {

class Files : public Test {
 protected:
  Directory dir_;
  const fs::path target_ = dir_.path() / "target";
  const fs::path precious_ = dir_.path() / "precious";
};

TEST_F(Files, writing_refuses_links_pipes_and_directories_and_waits_for_nothing) {
  std::ofstream(precious_) << "mine";
  const std::function<void()> obstacles[] = {
      [&] { fs::create_symlink(precious_, target_); },
      [&] { fs::create_symlink(dir_.path() / "new", target_); },
      [&] { ASSERT_EQ(mkfifo(target_.c_str(), 0600), 0); }, [&] { fs::create_directory(target_); }};
  for (const auto& obstruct : obstacles) {
    obstruct();
    EXPECT_EQ(files::open_for_writing(target_.c_str(), 0600), -1);
    EXPECT_EQ(files::open_own_for_writing(target_.c_str(), 0600), -1);
    EXPECT_EQ(files::open_regular(target_.c_str(), O_RDWR | O_CREAT, 0600), -1);
    EXPECT_EQ(files::write_durably(target_, "x"), files::Written::kNotOpened);
    EXPECT_FALSE(files::is_own_file(target_) || files::is_private_directory(precious_));
    fs::remove(target_);
  }
  EXPECT_EQ(read_file(precious_), "mine");
  EXPECT_FALSE(fs::exists(dir_.path() / "new"));
}

TEST_F(Files, a_pipe_with_a_reader_is_still_no_file) {
  ASSERT_EQ(mkfifo(target_.c_str(), 0600), 0);
  const files::Descriptor reader(open(target_.c_str(), O_RDONLY | O_NONBLOCK));
  EXPECT_EQ(files::write_durably(target_, "x"), files::Written::kNotOpened);
}

TEST_F(Files, a_strangers_file_is_not_written_where_the_owner_counts) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make another user's file";
  std::ofstream(target_) << "theirs";
  ASSERT_EQ(chown(target_.c_str(), 1, 1), 0);
  EXPECT_EQ(files::open_own_for_writing(target_.c_str(), 0600), -1);
  EXPECT_FALSE(files::is_own_file(target_));
  EXPECT_EQ(read_file(target_), "theirs");
}

TEST_F(Files, a_copy_is_whole_private_and_no_larger_than_allowed) {
  std::ofstream(precious_) << std::string(100000, 'x');
  EXPECT_FALSE(files::copy(precious_, target_, 99999));
  EXPECT_FALSE(fs::exists(target_));
  fs::create_symlink(precious_, target_);
  EXPECT_TRUE(files::copy(precious_, target_, 100000)) << "a link is replaced, not followed";
  EXPECT_EQ(read_file(target_), read_file(precious_));
  EXPECT_EQ(fs::symlink_status(target_).permissions(), fs::perms{0600});
  fs::remove(target_);
  fs::create_symlink(precious_, target_);
  EXPECT_FALSE(files::copy(target_, dir_.path() / "other", 100000)) << "nor is one copied";
}

}  // namespace
