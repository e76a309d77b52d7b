// Inside the desktop folder: our identity on the session bus.
//
//   desktop.cpp          the bus thread, the queue of commands, the state
//   application.cpp      the objects exported under the application's name
//   actions.cpp          the table of actions, and the meaning of a call; pure
//   tray.cpp             the icon in the tray
//   tray_entries.cpp     the entries of its menu
//   tray_menu.cpp        the menu
//   motion.cpp           whether the user wants less motion
//   single_instance.cpp  the lock, and calling the copy that has it
//   accessibility.cpp    whether a screen reader is there
//   bus.cpp              names and data of a call
#pragma once

#include <gio/gio.h>

#include <functional>
#include <string>

#include "bus/bus.h"
#include "desktop/desktop.h"

namespace desktop {

using bus::Owned;

// Accepts a command from the bus thread; false if there are too many.
using Submit = std::function<bool(Command)>;

inline constexpr const char* kApplication = "org.freedesktop.Application";

// Our key in the platform data of a call: the settings directory of the copy that is meant, as
// bytes.
inline constexpr const char* kDirectoryKey = "velmora-directory";

// The application id in use, and its object path.
std::string application_id();
std::string application_path(const std::string& id);

// Platform data for a call, floating; and back.
GVariant* to_platform_data(const Activation& activation, const std::string& directory);
Activation activation_in(GVariant* platform_data);
// The directory that a call names; "" if none.
std::string directory_in(GVariant* platform_data);

}  // namespace desktop
