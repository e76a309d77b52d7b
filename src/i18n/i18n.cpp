// DESIGN: the tables are constants of the program, complete in every language and checked when they
// are made, so a lookup is one bisection and choosing a language is setting one pointer. Returned
// texts outlive everything. Nothing is chosen before the first set_language() or T(), so that the
// environment is read once the program has had its say about it.
#include "i18n/i18n.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "app/paths.h"
#include "i18n_data.h"

namespace i18n {

namespace {

constexpr const char* kAuto = "auto";
constexpr const char* kFallback = "en";

// The tables are shared with the other platforms' programs, which count on the same indices.
static_assert(i18n_data::KEY_COUNT == 74);
static_assert(i18n_data::LANG_COUNT == 44);

// string_view compares as strcmp does, but also while compiling.
constexpr bool keys_ascend() {
  for (int i = 1; i < i18n_data::KEY_COUNT; ++i) {
    if (std::string_view(i18n_data::KEYS[i - 1]) >= i18n_data::KEYS[i]) return false;
  }
  return true;
}
static_assert(keys_ascend(), "the lookup bisects the keys");

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

// Null when there is no such language. A region that has no row of its own gives its language.
const i18n_data::Lang* resolve(std::string code) {
  std::replace(code.begin(), code.end(), '-', '_');
  if (const i18n_data::Lang* const lang = find(code)) return lang;
  return find(std::string_view(code).substr(0, code.find('_')));
}

}  // namespace

const char* T(const char* key) {
  if (key == nullptr) return "";
  if (g_lang == nullptr) set_language(kAuto);
  int first = 0;
  int last = i18n_data::KEY_COUNT - 1;
  while (first <= last) {
    const int middle = (first + last) / 2;
    const int order = std::strcmp(key, i18n_data::KEYS[middle]);
    if (order == 0) return g_lang->values[middle];
    if (order < 0) {
      last = middle - 1;
    } else {
      first = middle + 1;
    }
  }
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
