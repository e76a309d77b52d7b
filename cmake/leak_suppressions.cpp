// Part of every executable that draws, in builds with sanitizers: the font library keeps its
// configuration for as long as the process lives, which a leak checker would take for a leak of
// ours.
#include <sanitizer/lsan_interface.h>

// NOLINTNEXTLINE(bugprone-reserved-identifier): the checker looks for this name
const char* __lsan_default_suppressions() {
  return "leak:libfontconfig";
}
