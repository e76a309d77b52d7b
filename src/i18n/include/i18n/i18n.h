// Texts of the user interface, looked up by key in 44 languages.
//
// The tables are made when the program is built: from languages/<code>.po the texts that the
// programs of all platforms share, from additions/<code>.po those of this one. Texts are UTF-8,
// live for ever and may hold printf placeholders, the same ones in every language. Thread: the
// interface's only. Nothing fails: an unknown language gives English, an unknown key itself.
#pragma once

#include <string>
#include <vector>

namespace i18n {

struct Language {
  std::string code;  // such as "de" or "zh_TW"
  std::string name;  // what its speakers call it
  bool rtl = false;  // written from right to left
};

// The text of a key in the language in use. The key itself where there is no such text, "" for
// null. Chooses the environment's language when none was chosen before.
const char* T(const char* key);

// Chooses the language: a code such as "de" or "fr-CA", or "auto" (or "") for the environment's.
// English where there is no such language.
void set_language(const std::string& setting);

// The setting given last, "auto" at start.
const std::string& language();

// The code of the language in use; "" before the first choice.
const std::string& effective_language();

// Whether the language in use is written from right to left.
bool rtl();

// All languages in the order in which they are listed. The list lives for ever.
const std::vector<Language>& languages();

}  // namespace i18n
