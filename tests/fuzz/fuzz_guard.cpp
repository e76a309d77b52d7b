// The guard takes what comes down the pipe in any pieces without harm, and the same bytes mean the
// same however they are cut.
//
// The first byte of the input is the length of the pieces.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "audio/guard_protocol.h"
#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t piece = std::size_t{data[0]} + 1;
  const char* const text = reinterpret_cast<const char*>(data + 1);
  guard::LineReader whole;
  whole.feed(text, size - 1);
  guard::LineReader cut;
  for (std::size_t at = 0; at < size - 1; at += piece)
    cut.feed(text + at, std::min(piece, size - 1 - at));
  const guard::Orders& a = whole.orders();
  const guard::Orders& b = cut.orders();
  fuzz::require(
      a.armed == b.armed && a.quit == b.quit && a.device == b.device && a.module == b.module,
      "the pieces change nothing");
  fuzz::require(a.armed || a.device.empty(), "nothing is restored unarmed");
  fuzz::require(a.device.find('\n') == std::string::npos, "a device is one line");
  return 0;
}
