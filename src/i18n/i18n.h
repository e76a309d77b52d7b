// Texts of the user interface, looked up by key.
#pragma once

#include <string>

namespace i18n {

// Chooses the interface language: a code such as "de", or "auto" for the environment's. Main
// thread.
void set_language(const std::string& code);

// The setting given last, "auto" at start.
const std::string& language();

}  // namespace i18n
