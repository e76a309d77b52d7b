// Lookup and choice of the language, and what every table promises to the drawing code.
#include "i18n/i18n.h"

#include "i18n_additions.h"
#include "i18n_data.h"
#include "test.h"

namespace {

// In a process of its own, where nothing was chosen before.
TEST(LanguageDeathTest, the_first_lookup_chooses_the_language_of_the_environment) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto first_lookup = [] {
    Home home;
    home.set("LANG", "he_IL.UTF-8");
    const bool translated = i18n::T("cancel") != std::string("Cancel");
    return translated && i18n::effective_language() == "he" && i18n::rtl() ? 0 : 1;
  };
  EXPECT_EXIT(std::exit(first_lookup()), ExitedWithCode(0), "");
}

TEST(Language, is_that_of_the_environment_or_of_the_setting_or_english) {
  const auto chosen_by = [](const std::string& setting) {
    i18n::set_language(setting);
    EXPECT_EQ(i18n::language(), setting);
    return i18n::effective_language();
  };
  using Case = std::pair<const char*, const char*>;
  for (const auto& [name, code] :
       {Case("pt-BR", "pt"), Case("zh_CN", "zh"), Case("zh-TW", "zh_TW"), Case("zh-TW-x", "zh"),
        Case("C", "en"), Case("DE", "en"), Case("deu", "en"), Case("-", "en")}) {
    Home home;
    home.set("LANG", name);
    EXPECT_EQ(chosen_by(name), code) << name;
    EXPECT_EQ(chosen_by("auto"), code) << name;
  }
  for (const i18n::Language& language : i18n::languages()) {
    EXPECT_EQ(chosen_by(language.code), language.code);
    EXPECT_EQ(i18n::rtl(), language.rtl) << language.code;
  }
}

TEST(Lookup, every_key_of_both_tables_gives_its_text) {
  for (int l = 0; l < i18n_data::LANG_COUNT; ++l) {
    const i18n_data::Lang& lang = i18n_data::LANGS[l];
    const i18n_additions::Lang& more = i18n_additions::LANGS[l];
    ASSERT_STREQ(more.code, lang.code);
    i18n::set_language(lang.code);
    for (int i = 0; i < i18n_data::KEY_COUNT; ++i)
      ASSERT_EQ(i18n::T(i18n_data::KEYS[i]), lang.values[i]) << lang.code;
    // The interface's numbers are Latin in every language, and so are those in its texts.
    EXPECT_NE(std::string(i18n::T("preset_full")).find("100"), std::string::npos) << lang.code;
    for (int i = 0; i < i18n_additions::KEY_COUNT; ++i)
      ASSERT_EQ(i18n::T(i18n_additions::KEYS[i]), more.values[i]) << lang.code;
  }
}

TEST(Lookup, an_unknown_key_gives_itself) {
  for (const char* key : {"no_such_key", "", "zz", "cance", "cancel_", "\xff"})
    EXPECT_EQ(i18n::T(key), key);
  EXPECT_STREQ(i18n::T(nullptr), "");
}

}  // namespace
