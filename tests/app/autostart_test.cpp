// The autostart entry.
#include "autostart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "home.h"
#include "logger.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

class Autostart : public testing::Test {
 protected:
  Home home_;
  const fs::path dir_ = home_.path() / ".config/autostart";
  const fs::path entry_ = dir_ / "Velmora.desktop";
  const fs::path legacy_ = dir_ / "Tarsel.desktop";
};

TEST_F(Autostart, an_entry_starts_the_program_as_it_runs_now) {
  const std::string self = fs::read_symlink("/proc/self/exe");
  EXPECT_FALSE(autostart::enabled());
  EXPECT_EQ(autostart::command(), "");
  ASSERT_TRUE(autostart::set(true, ""));
  EXPECT_THAT(logger::tail(1), ElementsAre(EndsWith("INFO  Autostart enabled")));
  EXPECT_TRUE(autostart::enabled());
  EXPECT_EQ(autostart::command(), self);
  EXPECT_EQ(read_file(entry_),
            "[Desktop Entry]\n"
            "Type=Application\n"
            "Name=Velmora\n"
            "Comment=Equalizer fuer das ganze System\n"
            "Exec=" +
                self +
                "\n"
                "Icon=velmora\n"
                "Terminal=false\n"
                "Categories=AudioVideo;Audio;Mixer;\n"
                "X-GNOME-Autostart-Delay=3\n"
                "X-GNOME-Autostart-enabled=true\n");
  EXPECT_FALSE(fs::exists(home_.path() / "config/autostart"));
}

TEST_F(Autostart, a_second_entry_replaces_the_first_whole) {
  write_file(entry_, std::string(5000, 'x'));
  ASSERT_TRUE(autostart::set(true, "--compact --off"));
  EXPECT_THAT(autostart::command(), EndsWith(" --compact --off"));
  EXPECT_THAT(read_file(entry_), Not(HasSubstr("xx")));
}

TEST_F(Autostart, removing_it_needs_no_entry) {
  ASSERT_TRUE(autostart::set(true, ""));
  EXPECT_TRUE(autostart::set(false, ""));
  EXPECT_FALSE(fs::exists(entry_));
  EXPECT_TRUE(autostart::set(false, ""));
  EXPECT_THAT(logger::tail(1), ElementsAre(EndsWith("INFO  Autostart removed")));
}

TEST_F(Autostart, a_snap_starts_by_its_command_from_its_own_home) {
  home_.set("SNAP", "/snap/velmora/7");
  home_.set("SNAP_NAME", "velmora");
  home_.set("SNAP_REAL_HOME", home_.path() / "real");
  home_.set("FLATPAK_ID", "org.example.Velmora");
  ASSERT_TRUE(autostart::set(true, ""));
  EXPECT_EQ(autostart::command(), "velmora");
  EXPECT_THAT(read_file(entry_), HasSubstr("\nIcon=/snap/velmora/current/meta/gui/icon.png\n"));
  EXPECT_FALSE(fs::exists(home_.path() / "real"));
}

TEST_F(Autostart, a_flatpak_starts_by_its_identifier) {
  home_.set("FLATPAK_ID", "org.example.Velmora");
  ASSERT_TRUE(autostart::set(true, "--compact"));
  EXPECT_EQ(autostart::command(), "flatpak run org.example.Velmora --compact");
  EXPECT_THAT(read_file(entry_), HasSubstr("\nIcon=org.example.Velmora\n"));
}

TEST_F(Autostart, outside_a_snap_the_real_home_comes_first) {
  home_.set("SNAP_REAL_HOME", home_.path() / "real");
  ASSERT_TRUE(autostart::set(true, ""));
  EXPECT_TRUE(fs::exists(home_.path() / "real/.config/autostart/Velmora.desktop"));
  EXPECT_FALSE(fs::exists(entry_));
}

TEST_F(Autostart, without_a_home_nothing_is_written) {
  home_.set("HOME", "");
  EXPECT_FALSE(autostart::enabled());
  EXPECT_FALSE(autostart::set(true, ""));
  EXPECT_FALSE(autostart::set(false, ""));
  EXPECT_EQ(autostart::command(), "");
  // In a snap its own home counts, and the real one does not stand in.
  home_.set("SNAP", "/snap/velmora/7");
  home_.set("SNAP_REAL_HOME", home_.path());
  EXPECT_FALSE(autostart::set(true, ""));
  EXPECT_FALSE(fs::exists(entry_));
}

TEST_F(Autostart, what_cannot_be_written_is_reported) {
  fs::create_directories(entry_);  // a directory where the file should be
  EXPECT_FALSE(autostart::set(true, ""));
  EXPECT_THAT(logger::tail(2),
              ElementsAre(EndsWith("ERROR Autostart not writable: " + entry_.string()),
                          EndsWith("INFO  Autostart NOT enabled")));
  fs::remove(entry_);
  fs::create_symlink("/dev/full", entry_);
  EXPECT_FALSE(autostart::set(true, ""));
  EXPECT_EQ(autostart::command(), "");
}

TEST_F(Autostart, an_entry_of_the_earlier_name_becomes_one_of_todays) {
  autostart::migrate();
  EXPECT_FALSE(fs::exists(entry_));
  write_file(entry_, "[Desktop Entry]\nX=1\nExec=mine --off\nExec=second\n");
  autostart::migrate();
  EXPECT_EQ(autostart::command(), "mine --off");
  write_file(legacy_, "Exec=/old/Tarsel\n");
  autostart::migrate();
  EXPECT_FALSE(fs::exists(legacy_));
  EXPECT_EQ(autostart::command(), fs::read_symlink("/proc/self/exe"));
  EXPECT_THAT(logger::tail(1),
              ElementsAre(EndsWith("INFO  Autostart entry moved to the new name")));
}

}  // namespace
