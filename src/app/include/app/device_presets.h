// A preset for each output device: the record, and its file, "devices.dat" beside the settings and
// sealed like them. The file exists only once something has been remembered.
//
// Thread: the main thread owns the record and calls load and save.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "dsp/eq_dsp.h"

inline constexpr std::size_t kMaxDevices = 100;

struct DevicePreset {
  std::string device;  // as audio::Status::target_id
  std::string preset;  // identifier, as Settings::preset
  eq::Curve curve;     // the preset's, or as the user changed it

  bool operator==(const DevicePreset&) const = default;
};

struct DevicePresets {
  bool on = false;                    // every device has its own
  std::vector<DevicePreset> devices;  // at most kMaxDevices; the one played to last is the last

  bool operator==(const DevicePresets&) const = default;

  // Null for an unknown device.
  [[nodiscard]] const DevicePreset* find(const std::string& device) const;
  // Stores a device as the one being played to. If the list is full, the least recently used device
  // is dropped.
  void remember(const DevicePreset& preset);
};

namespace device_presets {

// Reads the file as settings::load does; damage and what cannot be read are treated alike.
DevicePresets load();

// Replaces the file as settings::save does, by the same saver.
bool save(const DevicePresets& presets);

// The text form: "per_device=", the number of devices, and two lines for each. Reading accepts any
// bytes; the record ends up within its bounds.
std::string serialize(const DevicePresets& presets);
DevicePresets deserialize(const std::string& text);

}  // namespace device_presets
