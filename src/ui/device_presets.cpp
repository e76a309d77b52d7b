// DESIGN: the engine has the curves of all devices and selects the right one itself, in the pass in
// which the device changes. Here only the sliders follow. A curve is sent together with its device,
// so one that arrives a moment too late does not affect another device.
#include "device_presets.h"

#include <utility>

#include "app/device_presets.h"
#include "presets.h"
#include "state.h"
#include "ui/commands.h"

namespace ui {

namespace {

DevicePresets g_stand_in;

struct Own {
  DevicePresets* presets = &g_stand_in;  // not owned
  DevicePresets saved;
  bool keep_choice = false;  // the current choice goes to the first device that is seen
  std::string playing;       // the device; empty until one has been seen
};
Own g_own;

// The curves for the engine.
std::vector<audio::DeviceCurve> curves() {
  std::vector<audio::DeviceCurve> all;
  for (const DevicePreset& p : g_own.presets->devices)
    all.push_back({p.device, p.device == g_own.playing ? curve_to_hear() : p.curve});
  return all;
}

bool remembered() {
  const std::vector<DevicePreset>& devices = g_own.presets->devices;
  return !devices.empty() && devices.back().device == g_own.playing &&
         devices.back().preset == state().settings->preset &&
         devices.back().curve == curve_to_come();
}

// An imported curve belongs to no device until it is saved.
void remember() {
  if (g_own.playing.empty() || state().look.save.before || remembered()) return;
  g_own.presets->remember({g_own.playing, state().settings->preset, curve_to_come()});
  save_later();
}

// All curves, and the current one: a device that played unnoticed may have selected another.
void tell_engine() {
  audio::set_device_curves(g_own.presets->on ? curves() : std::vector<audio::DeviceCurve>{});
  state().heard = curve_to_hear();
  hand_over_curve(state().heard);
}

void take(const DevicePreset& known, bool first) {
  State& s = state();
  s.settings->preset = known.preset;
  s.heard = known.curve;
  // The engine has it already, unless it got the list while it was changing the device.
  audio::set_device_curve(known.device, known.curve);
  if (s.look.save.before && first) {  // the file that the program was started with
    s.look.save.before = known.curve;
    return;
  }
  if (s.look.save.before) close_save();
  s.look.drag = kHitNone;
  start_glide(known.curve, true);
}

void change_to(const std::string& device) {
  Own& own = g_own;
  remember();  // the choice until now
  const std::string before = std::exchange(own.playing, device);
  // The engine may have only a step on the way to it.
  if (const DevicePreset* left = own.presets->find(before))
    audio::set_device_curve(before, left->curve);
  const DevicePreset* known = own.keep_choice ? nullptr : own.presets->find(device);
  own.keep_choice = false;
  if (known != nullptr) return take(*known, before.empty());
  remember();
  tell_engine();
}

}  // namespace

void set_device_presets(DevicePresets* presets, bool keep_choice) {
  g_stand_in = {};
  g_own = {presets != nullptr ? presets : &g_stand_in, {}, keep_choice, ""};
  g_own.saved = *g_own.presets;
  if (g_own.presets->on && !keep_choice) audio::set_device_curves(curves());
}

bool has_device_presets() {
  return g_own.presets->on;
}

void use_device_presets(bool on) {
  if (on == g_own.presets->on) return;
  g_own.presets->on = on;
  g_own.playing = on ? state().look.status.target_id : "";
  if (on) remember();
  tell_engine();
  save_later();
}

void begin_devices() {
  g_own.playing.clear();
}

void follow_device() {
  if (!g_own.presets->on) return;
  const std::string& device = state().look.status.target_id;
  if (!device.empty() && device != g_own.playing) change_to(device);
  remember();
}

void hand_over_curve(const eq::Curve& curve) {
  if (g_own.presets->on && !g_own.playing.empty()) {
    audio::set_device_curve(g_own.playing, curve);
  } else {
    audio::set_curve(curve);
  }
}

void follow_user_presets(const Settings& before, const Settings& now) {
  for (DevicePreset& p : g_own.presets->devices) {
    eq::Curve old_curve;
    eq::Curve new_curve;
    if (!curve_of(p.preset, before, &old_curve) || !curve_of(p.preset, now, &new_curve)) continue;
    if (p.device == g_own.playing || !eq::same(old_curve, p.curve)) continue;
    p.curve = new_curve;
    if (g_own.presets->on) audio::set_device_curve(p.device, p.curve);
  }
}

bool save_devices() {
  if (*g_own.presets == g_own.saved) return true;
  if (!device_presets::save(*g_own.presets)) return false;
  g_own.saved = *g_own.presets;
  return true;
}

}  // namespace ui
