// The tray icon's menu as com.canonical.dbusmenu: entries with a number, which the tray draws and
// whose clicks it reports. Thread: the bus thread only.
#pragma once

#include "bus.h"

namespace desktop::menu {

inline constexpr const char* kPath = "/Menu";

// Exports the menu. Returns false after logging the reason.
bool begin(GDBusConnection* connection, const State& state, Submit submit);

// Reports to the tray which entries have changed.
void set_state(const State& state);

void end();

}  // namespace desktop::menu
