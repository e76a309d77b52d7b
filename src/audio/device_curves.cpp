// DESIGN: the control thread itself looks up the new device's curve when it changes the device.
// Waiting for the interface to notice would play to the new device with the old one's curve.
#include <map>
#include <mutex>
#include <string>

#include "app/logger.h"
#include "audio_private.h"
#include "priority_mutex.h"

namespace audio {

namespace {

PriorityMutex g_mtx;  // guards the next two; the curve's own may be taken while it is held
std::map<std::string, eq::Curve> g_curves;
std::string g_playing;  // the device whose curve is in use

}  // namespace

void set_device_curves(const std::vector<DeviceCurve>& curves) {
  const std::lock_guard lock(g_mtx);
  g_curves.clear();
  for (const DeviceCurve& c : curves)
    g_curves[c.device] = c.curve;
  if (const auto found = g_curves.find(g_playing); found != g_curves.end())
    set_curve(found->second);
}

void set_device_curve(const std::string& device, const eq::Curve& curve) {
  const std::lock_guard lock(g_mtx);
  g_curves[device] = curve;
  if (device == g_playing) set_curve(curve);
}

void use_curve_of(const std::string& device) {
  bool known = false;
  {
    const std::lock_guard lock(g_mtx);
    if (device == g_playing) return;
    g_playing = device;
    const auto found = g_curves.find(device);
    known = found != g_curves.end();
    if (known) set_curve(found->second);
  }
  if (known) logger::info("Playing with the curve of " + device);
}

}  // namespace audio
