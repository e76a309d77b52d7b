// The sealed files, for the saver. Thread: one at a time, after load.
#pragma once

#include "app/device_presets.h"
#include "app/settings.h"

namespace settings {

// What save does, at once and on the calling thread.
bool write_file(const Settings& s);
bool write_file(const DevicePresets& presets);

}  // namespace settings
