// DESIGN: the tables are constants of the program, complete in every language and checked when they
// are made, so a lookup is one bisection and choosing a language is setting one pointer. Returned
// texts are valid for ever. No language is chosen before the first set_language() or T(), so that
// the environment is read after the program has set it up.
#include "i18n/i18n.h"

#include <algorithm>
#include <string_view>

#include "app/paths.h"
#include "i18n_additions.h"
#include "i18n_data.h"

namespace i18n {

namespace {

constexpr const char* kAuto = "auto";
constexpr const char* kFallback = "en";

// The tables are shared with the other platforms' programs, which rely on the same indices.
static_assert(i18n_data::KEY_COUNT == 74);
static_assert(i18n_data::LANG_COUNT == 44);

// Texts of this program alone are in a separate table, in the same order of languages.
static_assert(i18n_additions::LANG_COUNT == i18n_data::LANG_COUNT);

// The place of `key` among ascending keys, -1 where it is not.
template <int count>
constexpr int place_of(std::string_view key, const char* const (&keys)[count]) {
  // string_view compares as strcmp does, but also while compiling.
  const auto* const found = std::lower_bound(keys, keys + count, key);
  return found != keys + count && *found == key ? static_cast<int>(found - keys) : -1;
}

template <int count>
constexpr bool ascend(const char* const (&keys)[count]) {
  for (int i = 1; i < count; ++i) {
    if (std::string_view(keys[i - 1]) >= keys[i]) return false;
  }
  return true;
}
static_assert(ascend(i18n_data::KEYS) && ascend(i18n_additions::KEYS),
              "the lookup bisects the keys");

constexpr bool disjoint() {
  return std::none_of(std::begin(i18n_additions::KEYS), std::end(i18n_additions::KEYS),
                      [](const char* key) { return place_of(key, i18n_data::KEYS) >= 0; });
}
static_assert(disjoint(), "a shared text would hide the addition of the same name");

// All three: interface thread.
std::string g_setting = kAuto;            // what set_language() was given
const i18n_data::Lang* g_lang = nullptr;  // null before the first choice
std::string g_code;                       // the code of g_lang

const i18n_data::Lang* find(std::string_view code) {
  for (const i18n_data::Lang& lang : i18n_data::LANGS) {
    if (code == lang.code) return &lang;
  }
  return nullptr;
}

// Null if there is no such language. An unknown region gives its language.
const i18n_data::Lang* resolve(std::string code) {
  std::replace(code.begin(), code.end(), '-', '_');
  if (const i18n_data::Lang* const lang = find(code)) return lang;
  return find(std::string_view(code).substr(0, code.find('_')));
}

}  // namespace

const char* T(const char* key) {
  if (key == nullptr) return "";
  if (g_lang == nullptr) set_language(kAuto);
  if (const int i = place_of(key, i18n_data::KEYS); i >= 0) return g_lang->values[i];
  if (const int i = place_of(key, i18n_additions::KEYS); i >= 0)
    return i18n_additions::LANGS[g_lang - i18n_data::LANGS].values[i];
  return key;
}

void set_language(const std::string& setting) {
  g_setting = setting.empty() ? kAuto : setting;
  const i18n_data::Lang* const lang =
      resolve(g_setting == kAuto ? paths::system_language() : g_setting);
  g_lang = lang != nullptr ? lang : find(kFallback);
  g_code = g_lang->code;
}

const std::string& language() {
  return g_setting;
}

const std::string& effective_language() {
  return g_code;
}

bool rtl() {
  return g_lang != nullptr && g_lang->rtl;
}

const std::vector<Language>& languages() {
  static const std::vector<Language> list = [] {
    std::vector<Language> made;
    made.reserve(i18n_data::LANG_COUNT);
    for (const i18n_data::Lang& lang : i18n_data::LANGS)
      made.push_back({lang.code, lang.name, lang.rtl});
    return made;
  }();
  return list;
}

}  // namespace i18n
