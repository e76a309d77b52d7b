// Whether the user has asked the desktop for less motion, as the desktop's portal tells it: by the
// setting of its own, or where that is unknown by the toolkits' switch for animations.
//
// A portal is asked wherever one runs, now or later, and followed; none is started. Thread: the bus
// thread only; see desktop.h for the answer.
#pragma once

#include <gio/gio.h>

#include <functional>

namespace desktop::motion {

enum class Wish {
  kUnknown,       // the portal has no setting for it,
  kToolkitsRest,  // nor that, but says that toolkits have no animations
  kFull,
  kReduced,
};

// Returns at once. The connection is not owned and must live until end().
//   changed   receives each answer of the portal's
void begin(GDBusConnection* connection, std::function<void(Wish)> changed);
void end();

}  // namespace desktop::motion
