// Part of every executable that draws or mails, in builds with sanitizers: what they would report
// of libraries that were built without them.
#include <sanitizer/lsan_interface.h>

extern "C" {

// The font library keeps its configuration for as long as the process lives.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the checkers look for these names
const char* __lsan_default_suppressions() {
  return "leak:libfontconfig";
}

// Suppressions are not reported on the console, which tests read.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
const char* __lsan_default_options() {
  return "print_suppressions=0";
}

// These libraries have threads of their own, and locks that the checker does not see.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
const char* __tsan_default_suppressions() {
  return "race:libfontconfig\nrace:libpangoft2\nrace:libglib-2.0\nrace:libgobject-2.0\n"
         "race:libgio-2.0\nrace:libharfbuzz";
}

}  // extern "C"
