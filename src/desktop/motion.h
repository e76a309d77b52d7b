// Whether the user has asked the desktop for less motion, according to the desktop's portal: by its
// own setting, or if that is unknown by the toolkits' switch for animations.
//
// A portal is asked as soon as one runs, and its changes are followed; none is started. Thread: the
// bus thread only; see desktop.h for reading the result.
#pragma once

#include <gio/gio.h>

#include <functional>

namespace desktop::motion {

enum class Wish {
  kUnknown,       // the portal has no such setting
  kToolkitsRest,  // the same, but animations of toolkits are off
  kFull,
  kReduced,
};

// Returns at once. The connection is not owned and must live until end().
//   changed   receives each of the portal's answers
void begin(GDBusConnection* connection, std::function<void(Wish)> changed);
void end();

}  // namespace desktop::motion
