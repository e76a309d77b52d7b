#include "theme.h"

namespace theme {

namespace {
bool g_dark = false;  // main thread
}  // namespace

void set_dark(bool dark) {
  g_dark = dark;
}

bool dark() {
  return g_dark;
}

}  // namespace theme
