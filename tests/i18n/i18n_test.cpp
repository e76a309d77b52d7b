// Lookup and choice of the language, and what every table promises to the drawing code.
#include "i18n.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "home.h"
#include "i18n_data.h"

namespace {

using Variables = std::vector<std::pair<std::string, std::string>>;

std::string chosen_by(const std::string& setting) {
  i18n::set_language(setting);
  EXPECT_EQ(i18n::language(), setting);
  return i18n::effective_language();
}

// In a process of its own, where nothing was chosen before.
TEST(LanguageDeathTest, the_first_lookup_chooses_the_language_of_the_environment) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto first_lookup = [] {
    Home home;
    home.set("LANG", "he_IL.UTF-8");
    if (i18n::language() != "auto" || !i18n::effective_language().empty() || i18n::rtl()) return 1;
    if (i18n::T("cancel") == std::string("Cancel")) return 2;
    return i18n::effective_language() == "he" && i18n::rtl() ? 0 : 3;
  };
  EXPECT_EXIT(std::exit(first_lookup()), testing::ExitedWithCode(0), "");
}

TEST(Language, is_that_of_the_environment_or_of_the_setting_or_english) {
  for (const auto& [lang, code] :
       Variables{{"pt_BR.UTF-8", "pt"}, {"zh_TW.UTF-8", "zh_TW"}, {"C", "en"}}) {
    Home home;
    home.set("LANG", lang);
    EXPECT_EQ(chosen_by("auto"), code);
  }
  const Variables cases = {{"fr-CA", "fr"}, {"zh_CN", "zh"}, {"zh-TW", "zh_TW"}, {"zh-TW-x", "zh"},
                           {"DE", "en"},    {"deu", "en"},   {"d", "en"},        {"-", "en"}};
  for (const auto& [setting, code] : cases)
    EXPECT_EQ(chosen_by(setting), code) << setting;
  std::string rtl;
  for (const i18n::Language& language : i18n::languages()) {
    EXPECT_EQ(chosen_by(language.code), language.code);
    EXPECT_EQ(i18n::rtl(), language.rtl) << language.code;
    if (language.rtl) rtl += language.code + " ";
  }
  EXPECT_EQ(rtl, "ar fa he ur ");
}

TEST(Lookup, every_key_gives_its_text) {
  for (const i18n_data::Lang& lang : i18n_data::LANGS) {
    i18n::set_language(lang.code);
    for (int i = 0; i < i18n_data::KEY_COUNT; ++i)
      ASSERT_EQ(i18n::T(i18n_data::KEYS[i]), lang.values[i]) << lang.code;
  }
  i18n::set_language("en");
  EXPECT_STREQ(i18n::T("cancel"), "Cancel");
}

TEST(Lookup, an_unknown_key_gives_itself) {
  for (const char* key : {"no_such_key", "", "zz", "cance", "cancel_", "\xff"})
    EXPECT_EQ(i18n::T(key), key);
  EXPECT_STREQ(i18n::T(nullptr), "");
}

}  // namespace
