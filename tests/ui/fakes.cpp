#include "fakes.h"

#include <algorithm>

namespace {

fakes::Audio& g_sound = fakes::sound;

}  // namespace

namespace audio {

void set_active(bool active) {
  g_sound.active = active;
  g_sound.status.active = active;
}

void set_output(const std::string& name) {
  g_sound.output = name;
}

void setup_devices() {
  fakes::desktop.calls.emplace_back("setup_devices");
}

void set_mute(bool mute) {
  g_sound.status.muted = mute;
}

void set_restore_hint(const std::string& name) {
  g_sound.restore_hint = name;
}

void set_curve(const eq::Curve& curve) {
  g_sound.curve = curve;
  ++g_sound.curves;
}

void set_device_curves(const std::vector<DeviceCurve>& curves) {
  g_sound.device_curves.clear();
  for (const DeviceCurve& c : curves)
    set_device_curve(c.device, c.curve);
}

void set_device_curve(const std::string& device, const eq::Curve& curve) {
  g_sound.device_curves[device] = curve;
  if (device == g_sound.playing) set_curve(curve);
}

void read_status(Status* status) {
  *status = g_sound.status;
}

std::vector<Device> devices() {
  return g_sound.devices;
}

bool tap(float* left, float* right, int n, float* rate, std::uint64_t* serial) {
  if (!g_sound.has_sound) return false;
  // A tone of 1 kHz at 48 kHz that starts again with every block.
  for (int i = 0; i < n; ++i) {
    const float wave = i % 48 < 24 ? 1.0F : -1.0F;
    left[i] = wave * g_sound.left;
    right[i] = wave * g_sound.right;
  }
  *rate = 48000.0F;
  *serial = g_sound.serial;
  return true;
}

void take_peaks(float* left, float* right) {
  *left = g_sound.peak[0];
  *right = g_sound.peak[1];
}

}  // namespace audio
