// A preset for each output device, if the user wants that: a choice belongs to the device that is
// playing, and changing the device changes to its preset.
#pragma once

#include "dsp/eq_dsp.h"

struct Settings;

namespace ui {

// Starts a view, in which no device has been seen yet.
void begin_devices();

// Checks which device is playing and stores the current choice for it. Once a frame, and before a
// save.
void follow_device();

// Sends the engine the curve to play from now on.
void hand_over_curve(const eq::Curve& curve);

// The user's presets have changed: updates the curves of the devices that use them.
void follow_user_presets(const Settings& before, const Settings& now);

// Saves the record if it has changed. Returns false when that fails.
bool save_devices();

}  // namespace ui
