// The text form of the settings: what is written, and what is made of whatever is found there.
#include "settings_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <limits>
#include <locale>
#include <random>
#include <string>
#include <vector>

#include "home.h"
#include "process.h"
#include "records.h"

namespace {

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

// Lines for `count` presets with the names that `name` makes of their index.
template <class Name>
std::string preset_lines(int count, Name&& name) {
  std::string text;
  for (int i = 0; i < count; ++i) {
    const std::string key = "up" + std::to_string(i);
    text.append(key).append("_name=").append(name(i)).append("\n");
    text.append(key).append("=1,2,3\n");
  }
  return text;
}

TEST(SettingsText, is_written_line_by_line_in_a_fixed_order) {
  EXPECT_EQ(settings::serialize(changed_settings()),
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
            "mini_x=7\nmini_y=-8\nmini_w=320\nmini_h=90\n");
}

TEST(SettingsText, gains_have_six_significant_digits) {
  Settings s;
  s.curve = {{0.1F, 1.0F / 3, -2.0F / 3, 11.9999999F, 1e-5F, -0.0001F, 10.123456F, 0, 0, 0}, 0};
  EXPECT_THAT(settings::serialize(s),
              testing::StartsWith("band0=0.1\nband1=0.333333\nband2=-0.666667\nband3=12\n"
                                  "band4=1e-05\nband5=-0.0001\nband6=10.1235\n"));
}

TEST(SettingsText, a_record_comes_back_as_it_was_written) {
  EXPECT_EQ(parsed(settings::serialize(changed_settings())), changed_settings());
  EXPECT_EQ(parsed(settings::serialize(Settings())), Settings());
  Settings cleared;
  cleared.preset = cleared.language = cleared.theme = "";
  EXPECT_EQ(parsed(settings::serialize(cleared)), cleared);
}

TEST(SettingsText, any_gains_are_stable_from_the_first_writing_on) {
  std::mt19937 random(1);
  std::uniform_real_distribution<float> gain(-12, 12);
  for (int round = 0; round < 300; ++round) {
    Settings s;
    for (float& g : s.curve.gain)
      g = gain(random);
    s.curve.preamp = gain(random);
    s.user_presets = {{"p", s.curve}};
    const Settings once = parsed(settings::serialize(s));
    for (int band = 0; band < eq::kBands; ++band) {
      ASSERT_NEAR(once.curve.gain[band], s.curve.gain[band], 1e-4);
    }
    ASSERT_EQ(parsed(settings::serialize(once)), once);
  }
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

  Settings s = changed_settings();
  s.win_w = 1234567;
  const std::string text = settings::serialize(s);
  const Settings back = parsed(text);
  std::locale::global(before);
  std::setlocale(LC_ALL, "C");
  EXPECT_THAT(text, testing::HasSubstr("band1=-3.5\n"));
  EXPECT_THAT(text, testing::HasSubstr("win_w=1234567\n"));
  EXPECT_EQ(back, s);
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

TEST(SettingsText, gains_are_bounded_whatever_stands_there) {
  struct Case {
    const char* text;
    float gain;
  };
  constexpr std::array kCases = {
      Case{"40", 12},       Case{"-99", -12},  Case{"12.0001", 12},    Case{"-12", -12},
      Case{"+5", 5},        Case{" 7", 7},     Case{"0x10p-2", 4},     Case{"2,5", 2},
      Case{"5dB", 5},       Case{"loud", 0},   Case{"-", 0},           Case{"1e999", 12},
      Case{"-1e999", -12},  Case{"inf", 12},   Case{"-infinity", -12}, Case{"nan", 0},
      Case{"-nan(123)", 0}, Case{"1e-999", 0}, Case{"1e300", 12},      Case{"\r", 0}};
  for (const auto& [text, gain] : kCases) {
    const Settings s = parsed(std::string("band3=") + text + "\npreamp=" + text +
                              "\nuser_presets=1\nup0_name=n\nup0=" + "9,8,7,6,5,4,3,2,1,0,1\n");
    EXPECT_EQ(s.curve.gain[3], gain) << text;
    EXPECT_EQ(s.curve.preamp, gain) << text;
    EXPECT_EQ(s.curve.gain[2], 1.5F) << text;
    const Settings preset =
        parsed(std::string("user_presets=1\nup0_name=n\nup0=") + text + "," + text + "\n");
    ASSERT_EQ(preset.user_presets.size(), 1U) << text;
    EXPECT_EQ(preset.user_presets[0].curve.gain[0], gain) << text;
  }
}

TEST(SettingsText, whole_numbers_are_cut_and_bounded) {
  constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
  constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
  struct Case {
    const char* text;
    std::int32_t value;
  };
  constexpr std::array kCases = {Case{"640", 640},          Case{"-7", -7},
                                 Case{"3.99", 3},           Case{"-3.99", -3},
                                 Case{"2147483647", kMax},  Case{"2147483648", kMax},
                                 Case{"-2147483648", kMin}, Case{"-1e999", kMin},
                                 Case{"1e999", kMax},       Case{"nan", 0},
                                 Case{"wide", 0},           Case{"", -1}};
  for (const auto& [text, value] : kCases) {
    EXPECT_EQ(parsed(std::string("win_x=") + text).win_x, value) << text;
    EXPECT_EQ(parsed(std::string("mini_y=") + text).mini_y, value) << text;
  }
}

TEST(SettingsText, the_channel_is_one_of_three_or_stays) {
  Settings left;
  left.channel = 1;
  for (const char* bad : {"3", "-1", "1e999", "-1e999", "4294967297", ""}) {
    Settings s = left;
    settings::deserialize(std::string("channel=") + bad, &s);
    EXPECT_EQ(s.channel, 1) << bad;
  }
  EXPECT_EQ(parsed("channel=2").channel, 2);
  EXPECT_EQ(parsed("channel=2.9").channel, 2);
}

TEST(SettingsText, only_a_1_means_yes) {
  for (const char* no : {"true", "0", "", "01", "1.0", " 1", "1\r"}) {
    EXPECT_FALSE(parsed(std::string("active=") + no + "\n").active) << no;
  }
  EXPECT_TRUE(parsed("compact=1\n").compact);
}

TEST(SettingsText, lines_are_taken_as_they_are) {
  using namespace std::string_literals;
  EXPECT_EQ(parsed("theme=a\ntheme=light").theme, "light");     // the later one, no line end
  EXPECT_EQ(parsed("theme=light\r\n").theme, "light\r");        // nothing is trimmed
  EXPECT_EQ(parsed(" theme=light\ntheme =x\n").theme, "dark");  // nor are keys
  EXPECT_EQ(parsed("output=a=b=c\n").output, "a=b=c");          // the first "=" counts
  EXPECT_EQ(parsed("output=a\0b\n"s).output, "a\0b"s);          // any byte
  EXPECT_EQ(parsed("theme=\n").theme, "");                      // empty is a text
  EXPECT_EQ(parsed("win_w= \n7\n").win_w, 0);                   // a number ends with its line
  EXPECT_EQ(parsed("nonsense\n=\n\n\n==x\nband10=5\nfuture=1\n\0"s), Settings());
}

TEST(SettingsText, the_first_hundred_presets_are_kept) {
  const auto numbered = [](int i) { return std::string("p").append(std::to_string(i)); };
  const Settings s = parsed("user_presets=250\n" + preset_lines(250, numbered));
  ASSERT_EQ(s.user_presets.size(), 100U);
  EXPECT_EQ(s.user_presets.back().name, "p99");
  // Only the first two hundred are looked at, however few of them are usable.
  const auto late = [](int i) { return i < 150 ? "" : std::string("p").append(std::to_string(i)); };
  EXPECT_EQ(parsed("user_presets=250\n" + preset_lines(250, late)).user_presets.size(), 50U);
  // The count decides, not the lines.
  EXPECT_EQ(parsed("user_presets=2\n" + preset_lines(5, numbered)).user_presets.size(), 2U);
  for (const char* none : {"0", "-5", "nan", "0.9", "many", ""}) {
    EXPECT_TRUE(parsed(std::string("user_presets=") + none + "\n" + preset_lines(5, numbered))
                    .user_presets.empty())
        << none;
  }
  for (const char* many : {"1e999", "4294967297", "99999999999999999999"}) {
    EXPECT_EQ(parsed(std::string("user_presets=") + many + "\n" + preset_lines(5, numbered))
                  .user_presets.size(),
              5U)
        << many;
  }
}

TEST(SettingsText, a_preset_needs_a_name_of_its_own_and_a_curve) {
  const Settings s = parsed(
      "user_presets=6\n"
      "up0_name=A\nup0=1\n"
      "up1_name=A\nup1=2\n"
      "up2_name=\nup2=3\n"
      "up3=4\n"
      "up4_name=no curve\n"
      "up5_name=a\nup5=\n");
  EXPECT_EQ(preset_names(s), (std::vector<std::string>{"A", "a"}));
  EXPECT_EQ(s.user_presets[0].curve.gain[0], 1);
  EXPECT_EQ(s.user_presets[1].curve.gain[0], 0);
}

TEST(SettingsText, missing_gains_of_a_preset_are_0_and_further_ones_ignored) {
  const Settings s = parsed(
      "user_presets=2\nup0_name=short\nup0=1,,3\nup1_name=long\n"
      "up1=1,2,3,4,5,6,7,8,9,10,11,99,99\n");
  ASSERT_EQ(s.user_presets.size(), 2U);
  EXPECT_TRUE(equal(s.user_presets[0].curve, {{1, 0, 3}, 0}));
  EXPECT_TRUE(equal(s.user_presets[1].curve, {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, 11}));
}

TEST(SettingsText, a_name_is_cut_behind_32_code_points_and_never_inside_one) {
  const auto name_of = [](const std::string& name) {
    const Settings s = parsed("user_presets=1\nup0=0\nup0_name=" + name + "\n");
    return s.user_presets.empty() ? "" : s.user_presets[0].name;
  };
  const auto times = [](int n, const std::string& unit) {
    std::string text;
    while (n-- > 0)
      text += unit;
    return text;
  };
  for (const char* unit : {"a", "ü", "€", "🎵"}) {
    EXPECT_EQ(name_of(times(40, unit)), times(32, unit));
    EXPECT_EQ(name_of(times(32, unit)), times(32, unit));
  }
  // What is no UTF-8 is cut by the same rule: before the 33rd byte that could begin a code point.
  EXPECT_EQ(name_of(times(40, "\xFF")), times(32, "\xFF"));
  EXPECT_EQ(name_of(times(40, "\x80")), times(40, "\x80"));
  EXPECT_EQ(name_of("\x80" + times(31, "a") + "\xE2\x82"), "\x80" + times(31, "a") + "\xE2\x82");
  // Names that become alike by being cut are alike.
  EXPECT_EQ(parsed("user_presets=2\nup0=0\nup1=0\nup0_name=" + times(32, "x") +
                   "\nup1_name=" + times(33, "x"))
                .user_presets.size(),
            1U);
}

// None of these takes noticeable time; anything that grew with the square of the size would not
// end.
TEST(SettingsText, enormous_texts_are_read_in_one_go) {
  constexpr std::size_t kBig = 3'000'000;
  const std::string digits(kBig, '9');
  EXPECT_EQ(parsed("band0=" + digits).curve.gain[0], 12);
  EXPECT_EQ(parsed("band0=0." + digits).curve.gain[0], 1);
  EXPECT_EQ(parsed("band0=1e" + digits).curve.gain[0], 12);
  EXPECT_EQ(parsed("win_x=" + std::string(kBig, ' ') + "5").win_x, 5);
  EXPECT_EQ(parsed("output=" + digits).output.size(), kBig);
  EXPECT_EQ(parsed(std::string(kBig, '\n')), Settings());
  EXPECT_EQ(parsed(std::string(kBig, '=')), Settings());
  EXPECT_EQ(
      parsed("user_presets=200\nup0_name=n\nup0=" + std::string(kBig, ',')).user_presets.size(),
      1U);

  std::string keys;
  for (int i = 0; keys.size() < kBig; ++i)
    keys += "key" + std::to_string(i) + "=1\n";
  EXPECT_EQ(parsed(keys), Settings());
  // Names as long as they get, which all look alike at first.
  const std::string tail(kBig / 200, '\x80');
  const auto long_name = [&tail](int i) { return "n" + tail + std::to_string(i); };
  EXPECT_EQ(parsed("user_presets=200\n" + preset_lines(200, long_name)).user_presets.size(), 100U);
}

}  // namespace
