// The objects exported under the application's name: org.freedesktop.Application, by which
// launchers and a second start call the program, and org.gtk.Actions, for reading states. Thread:
// the bus thread only.
#pragma once

#include <string>

#include "bus.h"

namespace desktop::application {

// Exports the objects, then asks for the name.
//   directory  of the settings: calls for a copy with other settings are refused
// Returns false after logging the reason.
bool begin(GDBusConnection* connection, const std::string& directory, const State& state,
           Submit submit);

// Sets the state that callers see; listeners get a signal for each change.
void set_state(const State& state);

// Releases the name.
void end();

}  // namespace desktop::application
