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
  std::optional<files::Descriptor> reader;
  const std::function<void()> obstacles[] = {
      [&] { fs::create_symlink(precious_, target_); },
      [&] { fs::create_symlink(dir_.path() / "new", target_); },
      [&] { ASSERT_EQ(mkfifo(target_.c_str(), 0600), 0); }, [&] { fs::create_directory(target_); },
      [&] {  // a pipe that could be opened is still no file
        ASSERT_EQ(mkfifo(target_.c_str(), 0600), 0);
        reader.emplace(open(target_.c_str(), O_RDONLY | O_NONBLOCK));
      }};
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
