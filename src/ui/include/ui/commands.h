// Commands to the interface from outside the window. Each function does the same as the element of
// that purpose, even if that element is covered. Thread: the main thread only, between init and
// shutdown.
#pragma once

#include <string>
#include <vector>

#include "dsp/eq_dsp.h"

namespace ui {

void set_equalizer(bool on);
void toggle_equalizer();
void toggle_mute();

// Chooses a preset by its identifier ("b:" + key, or "u:" + name); the sliders glide there. Unknown
// ones are ignored.
void choose_preset(const std::string& id);

// Whether every output device has its own preset.
bool has_device_presets();
// Gives each device its own preset, or all the same one again. The current curve stays.
void use_device_presets(bool on);

// Changes to the compact or the full view; no-op if that is the current view.
void show_compact(bool compact);

struct NamedPreset {
  std::string id;
  std::string name;  // in the current language, one line
  eq::Curve curve;
};
// All presets, the built-in ones first.
std::vector<NamedPreset> presets();

}  // namespace ui
