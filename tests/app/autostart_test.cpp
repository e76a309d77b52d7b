// The autostart entry.
#include "app/autostart.h"
#include "test.h"

namespace {

class Autostart : public Test {
 protected:
  Home home_;
  const fs::path entry_ = home_.path() / ".config/autostart/Velmora.desktop";
};

// Also where an upgrade has replaced the program: a copy of this one runs the same test, deleted.
TEST_F(Autostart, an_entry_starts_the_program_as_it_runs_now) {
  const std::string self = fs::read_symlink("/proc/self/exe");
  if (const std::string copy = home_.path() / "copy"; !self.ends_with("/copy")) {
    fs::copy(self, copy);
    EXPECT_THAT(output_of(copy + " --gtest_filter=*as_it_runs_now"), HasSubstr("[  PASSED  ] 1"));
  } else {
    fs::remove(self);
  }
  EXPECT_FALSE(autostart::enabled());
  EXPECT_EQ(autostart::command(), "");
  write_file(entry_, std::string(5000, '#'));  // it is replaced whole
  ASSERT_TRUE(autostart::set(true, "--compact --off"));
  EXPECT_TRUE(autostart::enabled());
  EXPECT_EQ(autostart::command(), self + " --compact --off");
  EXPECT_THAT(read_file(entry_),
              AllOf(StartsWith("[Desktop Entry]\nType=Application\nName=Velmora\n"),
                    HasSubstr("\nIcon=velmora\n"), Not(HasSubstr("##"))));
  EXPECT_TRUE(autostart::set(false, ""));
  EXPECT_FALSE(autostart::enabled() || fs::exists(entry_));
}

TEST_F(Autostart, a_package_starts_by_its_name_and_a_snap_from_its_own_home) {
  const fs::path real_entry = home_.path() / "real/.config/autostart/Velmora.desktop";
  home_.set("FLATPAK_ID", "org.example.Velmora");
  ASSERT_TRUE(autostart::set(true, "--compact"));
  EXPECT_EQ(autostart::command(), "flatpak run org.example.Velmora --compact");
  home_.set("SNAP", "/snap/velmora/7");
  home_.set("SNAP_NAME", "velmora");
  home_.set("SNAP_REAL_HOME", home_.path() / "real");
  ASSERT_TRUE(autostart::set(true, ""));
  EXPECT_EQ(autostart::command(), "velmora");
  EXPECT_FALSE(fs::exists(real_entry));
  home_.set("SNAP", "");
  ASSERT_TRUE(autostart::set(true, ""));
  EXPECT_TRUE(fs::exists(real_entry)) << "outside of a snap the real home comes first";
}

TEST_F(Autostart, an_image_starts_by_its_own_path_which_is_quoted_where_that_is_needed) {
  home_.set("APPDIR", "/tmp/.mount");
  using Case = std::pair<const char*, const char*>;
  for (const auto& [path, command] :
       {Case("/opt/V-1.0_x.AppImage", "/opt/V-1.0_x.AppImage"), Case("/opt/50%", "/opt/50%%"),
        Case("/my images/50%", R"("/my images/50%%")"), Case("/it's", R"("/it's")"),
        Case(R"(/a"b$c`d\e)", R"("/a\\"b\\$c\\`d\\\\e")")}) {
    home_.set("APPIMAGE", path);
    ASSERT_TRUE(autostart::set(true, "--off"));
    EXPECT_EQ(autostart::command(), std::string(command) + " --off");
  }
}

TEST_F(Autostart, what_cannot_be_written_is_reported) {
  fs::create_directories(entry_);  // a directory where the file should be
  EXPECT_FALSE(autostart::set(true, ""));
  fs::remove(entry_);
  fs::create_symlink(home_.path() / "elsewhere", entry_);
  EXPECT_FALSE(autostart::set(true, "") || fs::exists(home_.path() / "elsewhere"));
  fs::remove(entry_);
  EXPECT_FALSE((FullDisk(5), autostart::set(true, ""))) << "a part of the entry";
  home_.set("HOME", "");
  EXPECT_FALSE(autostart::set(true, "") || autostart::enabled()) << "without a home";
}

TEST_F(Autostart, an_entry_of_the_earlier_name_becomes_one_of_todays) {
  write_file(entry_, "[Desktop Entry]\nX=1\nExec=mine --off\nExec=second\n");
  autostart::migrate();
  EXPECT_EQ(autostart::command(), "mine --off");
  const fs::path legacy = entry_.parent_path() / "Tarsel.desktop";
  write_file(legacy, "Exec=/old/Tarsel\n");
  autostart::migrate();
  EXPECT_FALSE(fs::exists(legacy));
  EXPECT_EQ(autostart::command(), fs::read_symlink("/proc/self/exe"));
}

}  // namespace
