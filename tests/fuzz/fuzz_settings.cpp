// Any text is read as settings without harm, gives a record within its bounds, and is stable from
// the first writing on.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <set>
#include <string>

#include "app/device_presets.h"
#include "app/settings_text.h"
#include "fuzz.h"

namespace {

bool within_bounds(const eq::Curve& curve) {
  const auto bounded = [](float gain_db) { return gain_db >= -12.0F && gain_db <= 12.0F; };
  return std::all_of(std::begin(curve.gain), std::end(curve.gain), bounded) &&
         bounded(curve.preamp);
}

long code_points(const std::string& text) {
  return std::count_if(text.begin(), text.end(),
                       [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; });
}

void check_bounds(const Settings& s) {
  fuzz::require(within_bounds(s.curve), "gains are within +/-12 dB");
  fuzz::require(s.channel >= 0 && s.channel <= 2, "the channel is 0 to 2");
  fuzz::require(s.user_presets.size() <= 100, "at most 100 presets are kept");
  std::set<std::string> names;
  for (const UserPreset& preset : s.user_presets) {
    fuzz::require(within_bounds(preset.curve), "gains of presets are within +/-12 dB");
    fuzz::require(!preset.name.empty(), "a preset has a name");
    fuzz::require(code_points(preset.name) <= 32, "a name has at most 32 code points");
    fuzz::require(names.insert(preset.name).second, "names are unique");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Settings first;
  settings::deserialize(std::string(reinterpret_cast<const char*>(data), size), &first);
  check_bounds(first);
  const std::string written = settings::serialize(first);
  Settings second;
  settings::deserialize(written, &second);
  check_bounds(second);
  fuzz::require(settings::serialize(second) == written, "what is written reads back the same");
  const DevicePresets devices =
      device_presets::deserialize(std::string(reinterpret_cast<const char*>(data), size));
  for (const DevicePreset& device : devices.devices)
    fuzz::require(within_bounds(device.curve), "gains of devices are within +/-12 dB");
  fuzz::require(devices.devices.size() <= kMaxDevices, "a hundred devices are remembered");
  const std::string again = device_presets::serialize(devices);
  fuzz::require(device_presets::serialize(device_presets::deserialize(again)) == again,
                "so do the devices");
  return 0;
}
