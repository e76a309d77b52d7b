#include "i18n.h"

namespace i18n {

namespace {
std::string g_setting = "auto";  // main thread
}  // namespace

void set_language(const std::string& code) {
  g_setting = code;
}

const std::string& language() {
  return g_setting;
}

}  // namespace i18n
