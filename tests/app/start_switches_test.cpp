// The rules of the command line, as pure functions.

#include "app/command_line.h"
#include "records.h"
#include "test.h"

namespace {

using command_line::Args;
using command_line::Start;

// The settings that the switches make of these.
Settings started(const Args& args, Settings s) {
  command_line::apply_start_switches(args, &s);
  return s;
}

TEST(StartSwitches, unknown_ones_and_missing_values_are_reported) {
  EXPECT_EQ(
      command_line::arg_value({"--devices", "x", "--device", "a", "--device", "b"}, "--device"),
      "a");
  EXPECT_EQ(command_line::arg_value({"x", "--device"}, "--device"), "");
  EXPECT_EQ(command_line::first_unknown_switch({"--apo-status", "bogus", "-x", ""}), "");
  for (const char* unknown : {"--", "--Compact", "--compact=1", "--siz", "--sizes"})
    EXPECT_EQ(command_line::first_unknown_switch({"--off", unknown, "--a"}), unknown);
}

TEST(StartSwitches, a_file_is_what_is_neither_a_switch_nor_its_value) {
  using command_line::file_argument;
  EXPECT_EQ(file_argument({"--preset", "rock", "--off", "a file.txt", "b.txt"}), "a file.txt");
  EXPECT_EQ(file_argument({"-x", "", "--device", "speakers", "--size"}), "");
}

TEST(StartSwitches, a_size_is_two_numbers_above_0) {
  int w = 0;
  int h = 0;
  ASSERT_TRUE(command_line::parse_size("2147483647x800", &w, &h));
  EXPECT_EQ(std::pair(w, h), std::pair(2147483647, 800));
  for (const char* bad : {"", "800", "0x600", "800x0", "5x-1", "800X600", "x600", "800x",
                          "2147483648x5", "5x99999999999999999999"})
    EXPECT_FALSE(command_line::parse_size(bad, &w, &h)) << bad;
  EXPECT_EQ(std::pair(w, h), std::pair(2147483647, 800));
}

TEST(StartSwitches, a_size_goes_to_the_view_that_will_be_shown_and_centres_it) {
  const std::string placed = "win_x=5\nwin_y=5\nmini_x=5\nmini_y=5\n";
  const std::string full = placed + "win_x=-1\nwin_y=-1\nwin_w=400\nwin_h=300\n";
  const std::string strip = placed + "compact=1\nmini_x=-1\nmini_y=-1\nmini_w=400\nmini_h=300\n";
  EXPECT_EQ(started({"--size", "400x300"}, parsed(placed)), parsed(full));
  EXPECT_EQ(started({"--compact", "--settings", "--size", "400x300"}, parsed(placed)), parsed(full))
      << "the settings need the full view";
  EXPECT_EQ(started({"--size", "400x300", "--compact"}, parsed(placed)), parsed(strip));
}

TEST(StartSwitches, wrong_values_change_nothing_and_a_device_is_for_this_run_only) {
  Settings s = changed_settings();
  const Start start = command_line::apply_start_switches(
      {"--size", "0x9", "--device", "sink", "--theme", "Dark", "--preset", "Rock"}, &s);
  EXPECT_EQ(s, parsed(kChangedText));
  EXPECT_EQ(start.device, "sink");
  EXPECT_TRUE(start.takeover);
  EXPECT_EQ(start.ignored, (Args{"--size 0x9", "--theme Dark", "--preset Rock"}));
  EXPECT_FALSE(start.theme_chosen || start.open_settings);
  EXPECT_EQ(command_line::apply_start_switches({"--device"}, &s).ignored, Args{"--device "});
}

}  // namespace
