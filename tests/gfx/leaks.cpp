// The font library keeps its configuration for as long as the process lives, and says so to nobody:
// a leak checker would take it for a leak of ours.
#include <sanitizer/lsan_interface.h>

// NOLINTNEXTLINE(bugprone-reserved-identifier): the checker looks for this name
const char* __lsan_default_suppressions() {
  return "leak:libfontconfig";
}
