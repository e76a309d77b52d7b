// Whether the user has asked the desktop for less motion, as the desktop's portal tells it: by the
// setting of its own, or where that is unknown by the toolkits' switch for animations.
//
// A portal is asked wherever one runs, now or later, and followed; none is started. Thread: the bus
// thread only; see desktop.h for the answer.
#pragma once

#include <gio/gio.h>

#include <functional>

namespace desktop::motion {

struct Wish {
  bool known = false;    // the portal has a setting for it
  bool reduced = false;  // else: whether toolkits have no animations, as the portal says
};

// Returns at once. The connection is not owned and must live until end().
//   changed   receives each answer of the portal's
void begin(GDBusConnection* connection, std::function<void(Wish)> changed);
void end();

}  // namespace desktop::motion
