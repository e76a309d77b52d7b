// The settings file, for the saver. Thread: one at a time, after load.
#pragma once

#include "app/settings.h"

namespace settings {

// What save does, at once and on the calling thread.
bool write_file(const Settings& s);

}  // namespace settings
