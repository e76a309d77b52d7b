// DESIGN: the list is kept in order of use, so the least recently used device is the first, and no
// time has to be stored.
#include "app/device_presets.h"

#include <algorithm>
#include <cstdint>

#include "key_values.h"
#include "sealed_file.h"
#include "settings_file.h"

namespace {

constexpr const char* kOn = "per_device";
constexpr const char* kCount = "devices";

settings::SealedFile g_file("devices.dat", "Device presets");  // thread: as write_file

std::string key_of(std::size_t index) {
  return "device" + std::to_string(index);
}

auto find_in(auto* devices, const std::string& device) {
  return std::find_if(devices->begin(), devices->end(),
                      [&](const DevicePreset& known) { return known.device == device; });
}

}  // namespace

const DevicePreset* DevicePresets::find(const std::string& device) const {
  const auto found = find_in(&devices, device);
  return found != devices.end() ? &*found : nullptr;
}

void DevicePresets::remember(const DevicePreset& preset) {
  const auto found = find_in(&devices, preset.device);
  if (found == devices.end()) {
    devices.push_back(preset);
    if (devices.size() > kMaxDevices) devices.erase(devices.begin());
  } else {
    *found = preset;
    std::rotate(found, found + 1, devices.end());
  }
}

namespace device_presets {

std::string serialize(const DevicePresets& presets) {
  std::string out;
  settings::put_text(&out, kOn, presets.on ? "1" : "0");
  settings::put_text(&out, kCount, std::to_string(presets.devices.size()));
  for (std::size_t i = 0; i < presets.devices.size(); ++i) {
    const DevicePreset& known = presets.devices[i];
    settings::put_text(&out, key_of(i), known.device);
    settings::put_text(&out, key_of(i) + "_preset", known.preset);
    settings::put_text(&out, key_of(i) + "_curve", settings::curve_list(known.curve));
  }
  return out;
}

DevicePresets deserialize(const std::string& text) {
  const settings::Lines lines = settings::split_lines(text);
  const auto value = [&](const std::string& key) {
    return std::string(settings::find(lines, key).value_or(""));
  };
  DevicePresets presets;
  presets.on = value(kOn) == "1";
  const std::int32_t count = settings::to_int32(settings::find_number(lines, kCount).value_or(0.0));
  for (std::size_t i = 0; i < kMaxDevices && static_cast<std::int32_t>(i) < count; ++i) {
    const std::string device = value(key_of(i));
    const auto curve = settings::find(lines, key_of(i) + "_curve");
    if (device.empty() || !curve) continue;
    presets.remember({device, value(key_of(i) + "_preset"), settings::parse_curve(*curve)});
  }
  return presets;
}

DevicePresets load() {
  const auto text = g_file.load();
  return text ? deserialize(*text) : DevicePresets();
}

}  // namespace device_presets

namespace settings {

bool write_file(const DevicePresets& presets) {
  if (g_file.unread() && presets == DevicePresets()) return true;
  return g_file.save(device_presets::serialize(presets));
}

}  // namespace settings
