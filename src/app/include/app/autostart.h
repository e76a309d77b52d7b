// The desktop entry that starts the program when the user logs in: written and removed only on
// request.
//
// It is "Velmora.desktop" in the user's autostart directory: ~/.config/autostart, or in a snap the
// one in the snap's home. XDG_CONFIG_HOME is not consulted. Thread: main thread.
#pragma once

#include <string>

namespace autostart {

// Whether the entry is there.
bool enabled();

// Writes the entry, with the path of the running program, or removes it. The path is quoted if
// necessary.
//   args   arguments for the start command, added as they are; may be empty
// Returns false, after logging, when the entry cannot be written, or when the user has no home
// directory.
bool set(bool on, const std::string& args);

// Replaces an entry under the program's earlier name ("Tarsel") by a current one.
void migrate();

// The start command of the entry; empty when there is none.
std::string command();

}  // namespace autostart
