// Detects a screen reader, or another aid that reads windows. Thread: the bus thread.
#pragma once

#include <gio/gio.h>

#include <functional>

namespace desktop::accessibility {

// Starts watching. `wanted` is called whenever a screen reader, or another user of the
// accessibility bus, is found.
void begin(GDBusConnection* connection, std::function<void()> wanted);
void end();

}  // namespace desktop::accessibility
