// What a connection exports under the application's name: org.freedesktop.Application, by which
// launchers and a second start call a program, and org.gtk.Actions, by which states are read.
// Thread: the bus thread only.
#pragma once

#include <string>

#include "bus.h"

namespace desktop::application {

// Exports the objects, then asks for the name.
//   directory  of the settings: who means a copy with other ones is sent away
// Returns false after logging why.
bool begin(GDBusConnection* connection, const std::string& directory, const State& state,
           Submit submit);

// What callers are answered from now on; listeners get a signal for each change.
void set_state(const State& state);

// Gives the name back.
void end();

}  // namespace desktop::application
