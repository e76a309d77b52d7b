// The rules of the command line, as pure functions.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "command_line.h"
#include "records.h"

namespace {

using command_line::Args;
using command_line::Start;

// The settings that the switches make of these.
Settings started(const Args& args, Settings s = {}) {
  command_line::apply_start_switches(args, &s);
  return s;
}

TEST(StartSwitches, unknown_ones_and_missing_values_are_told) {
  EXPECT_EQ(
      command_line::arg_value({"--devices", "x", "--device", "a", "--device", "b"}, "--device"),
      "a");
  EXPECT_EQ(command_line::arg_value({"x", "--device"}, "--device"), "");
  EXPECT_EQ(command_line::first_unknown_switch(
                {"--compact", "--devices", "--device", "--no-takeover", "--off", "--size",
                 "--theme", "--preset", "--collapsed", "--settings", "--apo-install",
                 "--apo-uninstall", "--apo-status", "bogus", "-x", ""}),
            "");
  for (const char* unknown : {"--", "--Compact", "--compact=1", "--siz", "--sizes", "--h"})
    EXPECT_EQ(command_line::first_unknown_switch({"--off", unknown, "--a"}), unknown);
}

TEST(StartSwitches, a_size_is_two_numbers_above_0) {
  int w = 0;
  int h = 0;
  ASSERT_TRUE(command_line::parse_size("2147483647x800", &w, &h));
  EXPECT_EQ(std::pair(w, h), std::pair(2147483647, 800));
  for (const char* bad : {"", "800", "0x600", "800x0", "-1x5", "5x-1", "800 x600", "800X600",
                          "x600", "800x", "0x10x5", "2147483648x5", "5x99999999999999999999"}) {
    EXPECT_FALSE(command_line::parse_size(bad, &w, &h)) << bad;
    EXPECT_EQ(std::pair(w, h), std::pair(2147483647, 800));
  }
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
  EXPECT_EQ(started({"--compact", "--settings", "--size", "400x300"}, placed), full)
      << "the settings need the full view";

  Settings compact = placed;
  compact.compact = true;
  compact.mini_x = compact.mini_y = -1;
  compact.mini_w = 400;
  compact.mini_h = 300;
  EXPECT_EQ(started({"--size", "400x300", "--compact"}, placed), compact);
  EXPECT_EQ(started({"--size", "0x600"}, placed), placed);
}

TEST(StartSwitches, wrong_values_change_nothing_and_a_device_is_for_this_run_only) {
  Settings s = changed_settings();
  s.active = s.active_on_start;
  const Settings before = s;
  const Start start = command_line::apply_start_switches(
      {"--device", "sink", "--no-takeover", "--theme", "Dark", "--preset", "Rock"}, &s);
  EXPECT_EQ(s, before);
  EXPECT_EQ(start.device, "sink");
  EXPECT_FALSE(start.takeover || start.theme_chosen || start.open_settings);
  EXPECT_TRUE(command_line::apply_start_switches({"--theme", "dark"}, &s).theme_chosen);
  EXPECT_EQ(s.theme, "dark");
}

}  // namespace
