// What others than the window's own elements may ask of the interface. Each function does what the
// element of the same purpose does, whatever lies above that element. Thread: the main thread only,
// between init and shutdown.
#pragma once

#include <string>
#include <vector>

#include "dsp/eq_dsp.h"

namespace ui {

void set_equalizer(bool on);
void toggle_equalizer();
void toggle_mute();

// Chooses a preset by its identifier, "b:" and a key or "u:" and a name; the sliders glide there.
// One that is not there is ignored.
void choose_preset(const std::string& id);

// Whether every output device has its own preset.
bool has_device_presets();
// From now on each has, or all have the same again. The curve in use stays.
void use_device_presets(bool on);

// Changes to the compact or the full view. Nothing changes in the view that is there already.
void show_compact(bool compact);

struct NamedPreset {
  std::string id;
  std::string name;  // in the language in use, fit to be shown in one line
  eq::Curve curve;
};
// All presets, the built-in ones first.
std::vector<NamedPreset> presets();

}  // namespace ui
