// Stand-ins for what the interface acts through: the audio engine, the window platform and the
// crash reports. They show what a test sets and remember what the interface asked for.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "audio/audio.h"

namespace fakes {

// The engine's status while all is well.
inline audio::Status at_work() {
  audio::Status s;
  s.state = audio::kRunning;
  s.active = true;
  s.target = "alsa_output.speakers";
  return s;
}

struct Audio {
  audio::Status status = at_work();
  std::vector<audio::Device> devices;
  bool has_sound = false;  // whether tap has anything to give
  float left = 0.0F;       // every sample of the channel
  float right = 0.0F;
  std::uint64_t serial = 0;
  float peak[2]{};

  eq::Curve curve;
  int curves = 0;  // times the curve was handed over
  std::map<std::string, eq::Curve> device_curves;
  std::string playing;  // the device whose curve is in use
  bool active = false;
  std::string output = "(never set)";
  std::string restore_hint;
};

struct Platform {
  std::uint64_t now = 10'000;  // ms
  int x = 100, y = 50;         // -1 in both: not known
  int w = 960, h = 640;
  bool framed = false;

  std::vector<std::string> calls;  // such as "set_compact 1 0" and "send_report", in order
};

inline Audio sound;
inline Platform desktop;

// The engine plays to this device, and takes its curve; to none where it is empty.
inline void play_to(const std::string& device) {
  sound.status.target_id = device;
  if (device.empty()) return;
  sound.playing = device;
  const auto known = sound.device_curves.find(device);
  if (known != sound.device_curves.end()) sound.curve = known->second;
}

// Everything as at the start.
inline void reset() {
  sound = {};
  desktop = {};
}

}  // namespace fakes
