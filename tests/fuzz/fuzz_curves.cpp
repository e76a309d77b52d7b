// Any bytes are refused, or give a curve within its bounds that comes back the same from the text
// it is written as.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "app/settings.h"
#include "app/utf8.h"
#include "curves/curve_files.h"
#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const curves::Result result = curves::import_text(bytes, std::string(bytes.substr(0, 80)));
  if (const auto* const refusal = std::get_if<curves::Refusal>(&result)) {
    fuzz::require(!curves::description(*refusal).empty(), "a refusal has a reason");
    const auto lines = std::count(bytes.begin(), bytes.end(), '\n') + 1;
    fuzz::require(refusal->line >= 0 && refusal->line <= lines, "the line is one of the file");
    return 0;
  }
  const auto& import = std::get<curves::Import>(result);
  const auto bounded = [](float gain_db) { return gain_db >= -12.0F && gain_db <= 12.0F; };
  fuzz::require(std::all_of(std::begin(import.curve.gain), std::end(import.curve.gain), bounded) &&
                    bounded(import.curve.preamp),
                "gains are within +/-12 dB");
  const auto quieter = [&](float hz) {
    return eq::response_db(import.curve, 48000.0F, hz) < 0.01F;
  };
  fuzz::require(import.exact || std::all_of(std::begin(eq::kFreq), std::end(eq::kFreq), quieter),
                "nothing gets louder");
  fuzz::require(import.rms_db >= 0.0 && std::isfinite(import.worst_db), "the error is a number");
  fuzz::require(utf8::valid(import.name) && utf8::count(import.name) <= kMaxPresetName,
                "the name fits");
  const curves::Result again = curves::import_text(curves::apo_text(import.curve), "");
  fuzz::require(eq::same(std::get<curves::Import>(again).curve, import.curve),
                "what is written reads back the same");
  return 0;
}
