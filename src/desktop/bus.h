// Inside the desktop folder: the session bus, and who we are on it.
//
//   desktop.cpp          the bus thread, the queue of commands, the state
//   application.cpp      what is exported under the application's name
//   actions.cpp          the table of actions, and what a call of one means; pure
//   tray.cpp             the icon in the tray
//   tray_menu.cpp        its menu
//   single_instance.cpp  the lock, and calling the copy that has it
//   bus.cpp              address, connecting, names
#pragma once

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>

#include "desktop/desktop.h"

namespace desktop {

struct Release {
  void operator()(char* p) const { g_free(p); }
  void operator()(GError* p) const { g_error_free(p); }
  void operator()(GVariant* p) const { g_variant_unref(p); }
  void operator()(GMainContext* p) const { g_main_context_unref(p); }
  void operator()(GMainLoop* p) const { g_main_loop_unref(p); }
  void operator()(GSource* p) const { g_source_unref(p); }
  void operator()(GDBusNodeInfo* p) const { g_dbus_node_info_unref(p); }
  void operator()(GDBusConnection* p) const { g_object_unref(p); }
  void operator()(GCancellable* p) const { g_object_unref(p); }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;

// Takes a command over on the bus thread; false when there are too many.
using Submit = std::function<bool(Command)>;

inline constexpr const char* kApplication = "org.freedesktop.Application";

// Our key in the platform data of a call: whose settings the caller means, as bytes.
inline constexpr const char* kDirectoryKey = "velmora-directory";

// The application id in use, and the path at which it is called.
std::string application_id();
std::string application_path(const std::string& id);

// Where the session bus is, as its clients find it; "" where there is none. Never starts one.
std::string session_address();

// Connects, waiting `timeout_ms` at most. What the connection tells of itself comes on `context`.
// Returns null, and the reason, where no bus answers.
Owned<GDBusConnection> connect_within(int timeout_ms, const std::string& address,
                                      GMainContext* context, std::string* error);

// Platform data for a call, floating; and back.
GVariant* to_platform_data(const Activation& activation, const std::string& directory);
Activation activation_in(GVariant* platform_data);
// The directory that a caller names; "" when it names none.
std::string directory_in(GVariant* platform_data);

}  // namespace desktop
