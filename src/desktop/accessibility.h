// Whether there is a screen reader on this desktop, or another aid that reads windows. Thread: the
// bus thread.
#pragma once

#include <gio/gio.h>

#include <functional>

namespace desktop::accessibility {

// Watches for it. `wanted` is called whenever it turns out that a screen reader, or something else
// that needs the accessibility bus, is there.
void begin(GDBusConnection* connection, std::function<void()> wanted);
void end();

}  // namespace desktop::accessibility
