// The text form of the settings and of the devices' presets, what the switches make of settings,
// and the environment's language: what is written, and what is made of whatever is found there.
#include <clocale>
#include <locale>

#include "app/command_line.h"
#include "app/device_presets.h"
#include "app/paths.h"
#include "approved.h"
#include "records.h"

namespace {

std::string lines(const std::string& text) {
  std::string result;
  for (const std::string& line : approved::lines_of(text))
    result += approved::escaped(line) + "\n";
  return result;
}

// What differs from a first run.
std::string changed(const Settings& s) {
  return lines(approved::difference(approved::lines_of(settings::serialize({})),
                                    approved::lines_of(settings::serialize(s))));
}

std::string started(const std::string& words) {
  command_line::Args args;
  std::istringstream in(words);
  for (std::string word; std::getline(in, word, '|');)
    args.push_back(word);
  Settings s = parsed("win_x=5\nwin_y=5\nmini_x=5\nmini_y=5\nactive=0\n");
  const command_line::Start start = command_line::apply_start_switches(args, &s);
  std::string text = changed(s) + "device " + start.device + ", file " + start.file +
                     ", file argument " + command_line::file_argument(args) + ", unknown " +
                     command_line::first_unknown_switch(args) +
                     (start.open_settings ? ", opens settings" : "") +
                     (start.theme_chosen ? ", theme chosen" : "") +
                     (start.preset_chosen ? ", preset chosen" : "") +
                     (start.takeover ? ", takes over" : "") + "\n";
  for (const std::string& ignored : start.ignored)
    text += "ignored " + ignored + "\n";
  return text;
}

// "presets 3 2 x" is a list of which 3 are counted and 250 are there, the first 2 without a name.
std::string preset_list(const std::string& words) {
  std::istringstream in(words);
  std::string listed;
  int unnamed = 0;
  in >> listed >> unnamed;
  std::string text = "user_presets=" + listed + "\n";
  for (int i = 0; i < 250; ++i) {
    const std::string number = std::to_string(i);
    text += "up" + number + "_name=" + (i < unnamed ? "" : "p" + number) + "\n";
    text += "up" + number + "=1,2,3\n";
  }
  return text;
}

// Of a system whose environment has these variables.
std::string language(const std::string& variables) {
  Home home;
  std::istringstream in(variables);
  for (std::string name; std::getline(in >> std::ws, name, '=');)
    if (std::string value; in >> value) home.set(name, value);
  return paths::system_language() + "\n";
}

std::string act(approved::Action& a) {
  std::string rest;
  std::getline(a.ignore(), rest);
  rest = approved::unescaped(rest);
  if (a.is("read")) return changed(parsed(rest));
  if (a.is("changed")) return changed(changed_settings());
  Settings s;
  if (a.is("output")) return s.output = rest, changed(s);
  if (a.is("again")) return changed(parsed(settings::serialize(parsed(rest))));
  if (a.is("presets")) return approved::beginning(changed(parsed(preset_list(rest))), 6);
  if (a.is("devices")) return lines(device_presets::serialize(device_presets::deserialize(rest)));
  if (a.is("language")) return language(rest);
  return a.is("switches") ? started(rest) : "";
}

TEST(Texts, say_what_they_said) {
  approved::expect("texts.txt", act);
}

// A numpunct for C++ streams, a compiled locale for the C library: both write and expect a comma.
TEST(Texts, numbers_do_not_follow_the_locale) {
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

}  // namespace
