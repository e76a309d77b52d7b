// The rules of the command line, as pure functions.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "command_line.h"
#include "records.h"

namespace {

using command_line::Args;
using command_line::Start;

// The settings that the switches make of the initial ones.
Settings started(const Args& args, Settings s = {}) {
  command_line::apply_start_switches(args, &s);
  return s;
}

TEST(StartSwitches, a_value_is_what_follows_the_first_of_that_name) {
  EXPECT_EQ(command_line::arg_value({"--device", "a", "--device", "b"}, "--device"), "a");
  EXPECT_EQ(command_line::arg_value({"--device", "--off"}, "--device"), "--off");
  EXPECT_EQ(command_line::arg_value({"x", "--device"}, "--device"), "");
  EXPECT_EQ(command_line::arg_value({"--device"}, "--device"), "");
  EXPECT_EQ(command_line::arg_value({"--devices", "a"}, "--device"), "");
  EXPECT_EQ(command_line::arg_value({}, "--device"), "");
}

TEST(StartSwitches, the_first_unknown_switch_is_reported) {
  EXPECT_EQ(command_line::first_unknown_switch(
                {"--compact", "--devices", "--device", "--no-takeover", "--off", "--size",
                 "--theme", "--preset", "--collapsed", "--settings", "--apo-install",
                 "--apo-uninstall", "--apo-status"}),
            "");
  EXPECT_EQ(command_line::first_unknown_switch({"bogus", "-x", "1280x800", ""}), "");
  EXPECT_EQ(command_line::first_unknown_switch({"--off", "--b", "--a"}), "--b");
  for (const char* unknown : {"--", "--Compact", "--compact=1", "--siz", "--sizes", "--h"}) {
    EXPECT_EQ(command_line::first_unknown_switch({unknown}), unknown);
  }
}

TEST(StartSwitches, a_size_is_two_numbers_above_0) {
  const auto parse = [](const std::string& text) {
    int w = -7;
    int h = -7;
    const bool ok = command_line::parse_size(text, &w, &h);
    EXPECT_TRUE(ok || (w == -7 && h == -7)) << text;
    return ok ? std::pair(w, h) : std::pair(0, 0);
  };
  EXPECT_EQ(parse("1280x800"), std::pair(1280, 800));
  EXPECT_EQ(parse(" 12x +8 and more"), std::pair(12, 8));
  EXPECT_EQ(parse("2147483647x1"), std::pair(2147483647, 1));
  for (const char* bad : {"", "800", "0x600", "800x0", "-1x5", "5x-1", "800 x600", "800X600",
                          "x600", "800x", "0x10x5", "2147483648x5", "5x99999999999999999999"}) {
    EXPECT_EQ(parse(bad), std::pair(0, 0)) << bad;
  }
}

TEST(StartSwitches, views_are_switched_on_and_settings_need_the_full_one) {
  EXPECT_TRUE(started({"--compact"}).compact);
  EXPECT_TRUE(started({"--collapsed"}).collapsed);
  Settings s;
  const Start start = command_line::apply_start_switches({"--settings", "--compact"}, &s);
  EXPECT_TRUE(start.open_settings);
  EXPECT_FALSE(s.compact);
}

TEST(StartSwitches, a_size_goes_to_the_view_that_will_be_shown_and_centres_it) {
  Settings placed;
  placed.win_x = placed.win_y = placed.mini_x = placed.mini_y = 5;
  placed.win_w = placed.win_h = placed.mini_w = placed.mini_h = 6;

  Settings full = placed;
  full.win_x = full.win_y = -1;
  full.win_w = 400;
  full.win_h = 300;
  EXPECT_EQ(started({"--size", "400x300"}, placed), full);
  EXPECT_EQ(started({"--compact", "--settings", "--size", "400x300"}, placed), full);

  Settings compact = placed;
  compact.compact = true;
  compact.mini_x = compact.mini_y = -1;
  compact.mini_w = 400;
  compact.mini_h = 300;
  EXPECT_EQ(started({"--size", "400x300", "--compact"}, placed), compact);

  EXPECT_EQ(started({"--size", "0x600"}, placed), placed);
  EXPECT_EQ(started({"--size"}, placed), placed);
}

TEST(StartSwitches, a_theme_is_one_of_two_words) {
  Settings s;
  EXPECT_TRUE(command_line::apply_start_switches({"--theme", "light"}, &s).theme_chosen);
  EXPECT_EQ(s.theme, "light");
  for (const char* other : {"Dark", "DARK", "", "auto", "dark "}) {
    EXPECT_FALSE(command_line::apply_start_switches({"--theme", other}, &s).theme_chosen) << other;
    EXPECT_EQ(s.theme, "light") << other;
  }
  EXPECT_TRUE(command_line::apply_start_switches({"--theme", "dark"}, &s).theme_chosen);
  EXPECT_EQ(s.theme, "dark");
}

TEST(StartSwitches, a_preset_brings_its_whole_curve) {
  const Settings rock = started({"--preset", "rock"}, changed_settings());
  EXPECT_EQ(rock.preset, "b:preset_rock");
  EXPECT_TRUE(equal(rock.curve, {{5, 4, 2, -1, -2, -1, 2, 3, 4, 5}, -3}));
  for (const char* unknown : {"Rock", "preset_rock", "polka", ""}) {
    const Settings s = started({"--preset", unknown}, changed_settings());
    EXPECT_EQ(s.preset, changed_settings().preset) << unknown;
    EXPECT_TRUE(equal(s.curve, changed_settings().curve)) << unknown;
  }
}

TEST(StartSwitches, a_device_is_for_this_run_only) {
  Settings s = changed_settings();
  const Start start = command_line::apply_start_switches({"--device", "sink", "--no-takeover"}, &s);
  EXPECT_EQ(start.device, "sink");
  EXPECT_FALSE(start.takeover);
  EXPECT_EQ(s.output, changed_settings().output);
}

}  // namespace
