// An own preset for each output device, where the user wants that: what is chosen belongs to the
// device that plays, and with another one comes what belongs to that.
#pragma once

#include "dsp/eq_dsp.h"

struct Settings;

namespace ui {

// A view begins: no device has been seen in it.
void begin_devices();

// Looks which device plays, and remembers what is chosen for it. Once a frame, and before a save.
void follow_device();

// Tells the engine what to play from now on.
void hand_over_curve(const eq::Curve& curve);

// The user's own presets are other ones now: so are the curves of devices that have one of them.
void follow_user_presets(const Settings& before, const Settings& now);

// Saves what has changed. Returns false when it is not saved.
bool save_devices();

}  // namespace ui
