// Any sequence of input, window and engine events leaves the interface in a sound state.
#include <cstddef>
#include <cstdint>

#include "../ui/event_driver.h"
#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const events::Outcome outcome = events::run(data, size);
  fuzz::require(outcome.broken == nullptr, outcome.broken != nullptr ? outcome.broken : "");
  return 0;
}
