// The text form of the settings: what is written, and what is made of whatever is found there.
#include "app/settings_text.h"

#include <clocale>
#include <locale>

#include "records.h"
#include "test.h"

namespace {

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

TEST(SettingsText, has_the_keys_of_earlier_runs_and_comes_back_as_it_was_written) {
  EXPECT_EQ(settings::serialize(changed_settings()), kChangedText);
}

// A numpunct for C++ streams, a compiled locale for the C library: both write and expect a comma.
TEST(SettingsText, numbers_do_not_follow_the_locale) {
  Home home;
  const std::string log = output_of("localedef --no-archive -i de_DE -f UTF-8 " +
                                    (home.path() / "de_DE.UTF-8").string());
  home.set("LOCPATH", home.path());
  if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << log;
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
  EXPECT_THAT(written, HasSubstr("\nband1=-3.5\n"));
  EXPECT_THAT(written, HasSubstr("\nwin_w=1234567\n"));
}

TEST(SettingsText, numbers_are_bounded_whatever_stands_there) {
  constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
  constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
  using Case = std::tuple<std::string, float, std::int32_t>;
  for (const auto& [text, gain, number] :
       {Case("3", 3, 3), Case("-99", -12, -99), Case("+2", 2, 2), Case(" 7", 7, 7),
        Case("2,5", 2, 2), Case("2.9dB", 2.9F, 2), Case("-3.99", -3.99F, -3), Case("loud", 0, 0),
        Case("nan", 0, 0), Case("-infinity", -12, kMin), Case("1e999", 12, kMax),
        Case("4294967297", 12, kMax), Case("2147483648", 12, kMax)}) {
    Settings s;
    s.channel = 1;
    settings::deserialize("band3=" + text + "\npreamp=" + text + "\nwin_x=" + text + "\nchannel=" +
                              text + "\nuser_presets=1\nup0_name=n\nup0=9," + text + ",7\n",
                          &s);
    EXPECT_EQ(s.curve.gain[3], gain) << text;
    EXPECT_EQ(s.curve.preamp, gain) << text;
    EXPECT_EQ(s.win_x, number) << text;
    EXPECT_EQ(s.channel, number >= 0 && number <= 2 ? number : 1) << text;
    ASSERT_EQ(s.user_presets.size(), 1U) << text;
    EXPECT_EQ(s.user_presets[0].curve.gain[1], gain) << text;
  }
}

TEST(SettingsText, lines_are_taken_as_they_are) {
  EXPECT_EQ(parsed("theme=a\ntheme=light").theme, "light");     // the later one, no line end
  EXPECT_EQ(parsed("theme=light\r\n").theme, "light\r");        // nothing is trimmed
  EXPECT_EQ(parsed(" theme=light\ntheme =x\n").theme, "dark");  // nor are keys
  EXPECT_EQ(parsed("output=a=b\0c\n"s).output, "a=b\0c"s);      // the first "=" counts; any byte
  EXPECT_EQ(parsed("theme=\n").theme, "");                      // empty is a text
  EXPECT_EQ(parsed("win_w= \n7\nwin_x=").win_w, 0);             // a number ends with its line
  EXPECT_EQ(parsed("nonsense\n=\n\n\n==x\nband0=\nband10=5\nfuture=1\n\0"s), Settings());
  for (const char* no : {"true", "", "01", "1\r"})
    EXPECT_FALSE(parsed("active="s + no + "\n").active) << no;
  Settings broken;
  broken.output = "sink\ntheme=light";
  EXPECT_EQ(parsed(settings::serialize(broken)).output, "sink theme=light");  // no line is added
}

TEST(SettingsText, the_first_hundred_good_presets_are_kept) {
  EXPECT_EQ(parsed(preset_list("250")).user_presets.back().name, "p99");
  // Only the first two hundred are looked at, however few of them are usable; and the count
  // decides, not the lines.
  EXPECT_EQ(parsed(preset_list("250", 150)).user_presets.size(), 50U);
  for (const auto& [count, kept] : {std::pair{"2", 2U}, {"-5", 0U}, {"", 0U}, {"1e999", 100U}})
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
  EXPECT_TRUE(eq::same(s.user_presets[2].curve, {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, 11}));
}

TEST(SettingsText, a_name_is_cut_behind_32_code_points_and_never_inside_one) {
  const std::string eight = "aü€🎵\xFF\xFFüa";  // of 1 to 4 bytes, and what is no text
  const std::string kept = eight + eight + eight + eight;
  // Names that become alike by being cut are alike.
  const Settings s =
      parsed("user_presets=2\nup0=0\nup1=0\nup0_name=" + kept + "🎵\nup1_name=" + kept + "üa\n");
  EXPECT_EQ(preset_names(s), std::vector<std::string>{kept});
}

}  // namespace
