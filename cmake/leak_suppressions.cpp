// Part of every executable that draws, in builds with sanitizers: the font library keeps its
// configuration for as long as the process lives, which a leak checker would take for a leak of
// ours. It is not told on the console either, which tests read.
#include <sanitizer/lsan_interface.h>

extern "C" {

// NOLINTNEXTLINE(bugprone-reserved-identifier): the checker looks for this name
const char* __lsan_default_suppressions() {
  return "leak:libfontconfig";
}

// NOLINTNEXTLINE(bugprone-reserved-identifier)
const char* __lsan_default_options() {
  return "print_suppressions=0";
}

}  // extern "C"
