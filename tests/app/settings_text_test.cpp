// The text form of the settings: what is written, and what is made of whatever is found there.
#include "settings_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <clocale>
#include <cstdint>
#include <limits>
#include <locale>
#include <string>
#include <vector>

#include "home.h"
#include "process.h"
#include "records.h"

namespace {

using namespace std::string_literals;

Settings parsed(const std::string& text) {
  Settings s;
  settings::deserialize(text, &s);
  return s;
}

std::vector<std::string> preset_names(const Settings& s) {
  std::vector<std::string> names;
  for (const UserPreset& preset : s.user_presets)
    names.push_back(preset.name);
  return names;
}

// A list of `listed` presets named "p0", "p1" ... of which the first `unnamed` have no name.
std::string preset_list(const std::string& listed, int unnamed = 0) {
  std::string text = "user_presets=" + listed + "\n";
  for (int i = 0; i < 250; ++i) {
    const std::string number = std::to_string(i);
    text += "up" + number + "_name=" + (i < unnamed ? "" : "p" + number) + "\n";
    text += "up" + number + "=1,2,3\n";
  }
  return text;
}

std::string times(int n, const std::string& unit) {
  std::string text;
  while (n-- > 0)
    text += unit;
  return text;
}

TEST(SettingsText, has_the_keys_of_earlier_runs_and_comes_back_as_it_was_written) {
  const std::string text =
      "band0=-12\nband1=-3.5\nband2=-0.5\nband3=0\nband4=0.5\n"
      "band5=1\nband6=2.5\nband7=6\nband8=11.5\nband9=12\n"
      "preset=u:Küche\n"
      "user_presets=2\n"
      "up0_name=Küche\n"
      "up0=1,2,3,4,5,6,7,8,9,10,-11\n"
      "up1_name=a=b, c\n"
      "up1=0,0,0,0,0,0,0,0,0,-0.5,0\n"
      "preamp=-4.5\n"
      "active=0\nactive_on_start=0\ncompact=1\ncompact_on_top=0\n"
      "output=alsa_output.pci-0000_00_1f.3.analog-stereo\n"
      "last_default=bluez_output.00_11_22\n"
      "channel=2\nlanguage=pt_BR\ntheme=light\n"
      "win_x=-40\nwin_y=30\nwin_w=1280\nwin_h=720\n"
      "collapsed=1\n"
      "mini_x=7\nmini_y=-8\nmini_w=320\nmini_h=90\n";
  EXPECT_EQ(settings::serialize(changed_settings()), text);
  EXPECT_EQ(settings::serialize(parsed(text)), text);
  Settings odd;
  odd.preset = odd.language = odd.theme = "";
  odd.curve = {{0.1F, 1.0F / 3, -2.0F / 3, 11.9999999F, 1e-5F, -0.0001F, 10.123456F}, 0};
  EXPECT_EQ(parsed(settings::serialize(odd)), odd);
}

// A numpunct for C++ streams, a compiled locale for the C library: both write and expect a comma.
TEST(SettingsText, numbers_do_not_follow_the_locale) {
  if (!support::program_exists("localedef")) GTEST_SKIP() << "localedef is missing";
  Home home;
  support::Process localedef(
      {"localedef", "--no-archive", "-i", "de_DE", "-f", "UTF-8", home.path() / "de_DE.UTF-8"}, {},
      home.path() / "output");
  ASSERT_TRUE(localedef.wait(std::chrono::seconds(30)).has_value());
  home.set("LOCPATH", home.path());
  if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << localedef.output();
  struct Comma : std::numpunct<char> {
    [[nodiscard]] char do_decimal_point() const override { return ','; }
    [[nodiscard]] std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Comma));
  // Setting the C++ locale has reset the C library's.
  EXPECT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
  EXPECT_STREQ(std::localeconv()->decimal_point, ",");

  const std::string text = "band1=-3.5\nwin_w=1234567\n";
  const Settings s = parsed(text);
  const std::string written = settings::serialize(s);
  std::locale::global(before);
  std::setlocale(LC_ALL, "C");
  EXPECT_EQ(s.curve.gain[1], -3.5F);
  EXPECT_THAT(written, testing::HasSubstr("\nband1=-3.5\n"));
  EXPECT_THAT(written, testing::HasSubstr("\nwin_w=1234567\n"));
}

TEST(SettingsText, a_line_break_in_a_value_cannot_add_a_line) {
  Settings s;
  s.output = "sink\ntheme=light";
  s.user_presets = {{"a\nactive=0", {}}};
  const Settings back = parsed(settings::serialize(s));
  EXPECT_EQ(back.output, "sink theme=light");
  EXPECT_EQ(back.theme, "dark");
  EXPECT_EQ(preset_names(back), std::vector<std::string>{"a active=0"});
  EXPECT_TRUE(back.active);
}

TEST(SettingsText, numbers_are_bounded_whatever_stands_there) {
  constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
  constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
  struct Case {
    const char* text;
    float gain;
    std::int32_t number;
    std::int32_t channel;  // 1 before
  };
  for (const auto& [text, gain, number, channel] :
       {Case{"3", 3, 3, 1}, Case{"40", 12, 40, 1}, Case{"-99", -12, -99, 1}, Case{"+2", 2, 2, 2},
        Case{" 7", 7, 7, 1}, Case{"2,5", 2, 2, 2}, Case{"2.9dB", 2.9F, 2, 2},
        Case{"-3.99", -3.99F, -3, 1}, Case{"loud", 0, 0, 0}, Case{"nan", 0, 0, 0},
        Case{"-infinity", -12, kMin, 1}, Case{"1e999", 12, kMax, 1},
        Case{"2147483648", 12, kMax, 1}, Case{"4294967297", 12, kMax, 1}, Case{"\r", 0, 0, 0}}) {
    Settings s;
    s.channel = 1;
    settings::deserialize("band3="s + text + "\npreamp=" + text + "\nwin_x=" + text + "\nchannel=" +
                              text + "\nuser_presets=1\nup0_name=n\nup0=9," + text + ",7\n",
                          &s);
    EXPECT_EQ(s.curve.gain[3], gain) << text;
    EXPECT_EQ(s.curve.preamp, gain) << text;
    EXPECT_EQ(s.win_x, number) << text;
    EXPECT_EQ(s.channel, channel) << text;
    ASSERT_EQ(s.user_presets.size(), 1U) << text;
    const bool comma = std::string(text).find(',') != std::string::npos;
    EXPECT_EQ(s.user_presets[0].curve.gain[1], comma ? 2 : gain) << text;
  }
  EXPECT_EQ(parsed("band0=" + std::string(3'000'000, '9')).curve.gain[0], 12);
}

TEST(SettingsText, lines_are_taken_as_they_are) {
  EXPECT_EQ(parsed("theme=a\ntheme=light").theme, "light");     // the later one, no line end
  EXPECT_EQ(parsed("theme=light\r\n").theme, "light\r");        // nothing is trimmed
  EXPECT_EQ(parsed(" theme=light\ntheme =x\n").theme, "dark");  // nor are keys
  EXPECT_EQ(parsed("output=a=b=c\n").output, "a=b=c");          // the first "=" counts
  EXPECT_EQ(parsed("output=a\0b\n"s).output, "a\0b"s);          // any byte
  EXPECT_EQ(parsed("theme=\n").theme, "");                      // empty is a text
  EXPECT_EQ(parsed("win_w= \n7\nwin_x=").win_w, 0);             // a number ends with its line
  EXPECT_EQ(parsed("nonsense\n=\n\n\n==x\nband0=\nband10=5\nfuture=1\n\0"s), Settings());
  for (const char* no : {"true", "0", "", "01", " 1", "1\r"})
    EXPECT_FALSE(parsed("active="s + no + "\n").active) << no;
}

TEST(SettingsText, the_first_hundred_good_presets_are_kept) {
  EXPECT_EQ(parsed(preset_list("250")).user_presets.back().name, "p99");
  // Only the first two hundred are looked at, however few of them are usable; and the count
  // decides, not the lines.
  EXPECT_EQ(parsed(preset_list("250", 150)).user_presets.size(), 50U);
  for (const auto& [count, kept] :
       {std::pair{"2", 2U}, {"0", 0U}, {"-5", 0U}, {"nan", 0U}, {"", 0U}, {"1e999", 100U}})
    EXPECT_EQ(parsed(preset_list(count)).user_presets.size(), kept) << count;
  const Settings s = parsed(
      "user_presets=7\n"
      "up0_name=A\nup0=1,,3\n"
      "up1_name=A\nup1=2\n"  // each name once
      "up2_name=\nup2=3\n"
      "up3=4\n"
      "up4_name=no curve\n"
      "up5_name=a\nup5=\n"
      "up6_name=long\nup6=1,2,3,4,5,6,7,8,9,10,11,99,99\n");
  EXPECT_EQ(preset_names(s), (std::vector<std::string>{"A", "a", "long"}));
  EXPECT_TRUE(eq::same(s.user_presets[0].curve, {{1, 0, 3}, 0}));
  EXPECT_TRUE(eq::same(s.user_presets[1].curve, {}));
  EXPECT_TRUE(eq::same(s.user_presets[2].curve, {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, 11}));
}

TEST(SettingsText, a_name_is_cut_behind_32_code_points_and_never_inside_one) {
  const auto names_of = [](const std::string& first, const std::string& second) {
    return preset_names(
        parsed("user_presets=2\nup0=0\nup1=0\nup0_name=" + first + "\nup1_name=" + second + "\n"));
  };
  for (const char* unit : {"a", "ü", "€", "🎵", "\xFF"}) {
    // Names that become alike by being cut are alike.
    EXPECT_EQ(names_of(times(40, unit), times(33, unit)),
              std::vector<std::string>{times(32, unit)});
  }
}

}  // namespace
