// Any text is read as settings without harm, and is stable from the first writing on.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz.h"
#include "settings_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Settings first;
  settings::deserialize(std::string(reinterpret_cast<const char*>(data), size), &first);
  const std::string written = settings::serialize(first);
  Settings second;
  settings::deserialize(written, &second);
  fuzz::require(settings::serialize(second) == written, "what is written reads back the same");
  return 0;
}
