// The icon in the tray (StatusNotifierItem), shown as soon as there is a watcher for such icons.
// Thread: the bus thread only.
#pragma once

#include "bus.h"

namespace desktop::tray {

// Starts looking for a watcher. Without one nothing is exported, shown or logged.
void begin(GDBusConnection* connection, const State& state, Submit submit);

void set_state(const State& state);

// Removes the icon. Unless the program is ending, requests that a hidden window be shown.
void end();

}  // namespace desktop::tray
