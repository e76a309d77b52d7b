// The icon in the tray (StatusNotifierItem): shown where a watcher of such icons is, now or later.
// Thread: the bus thread only.
#pragma once

#include "bus.h"

namespace desktop::tray {

// Looks for a watcher from now on. Where none is, nothing is exported, shown or logged.
void begin(GDBusConnection* connection, const State& state, Submit submit);

void set_state(const State& state);

// Takes the icon away. A hidden window is asked to show itself when this is not the program's end.
void end();

}  // namespace desktop::tray
