// Connections to a message bus that cannot hold the caller up: the library's own call has no time
// limit, and a bus may accept a connection and then never answer.
#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>

namespace bus {

// Owns what the library hands out, each kind released in its own way.
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

// Where the session bus is, as its clients find it; empty where there is none. Never starts one.
std::string session_address();
// The same of the system bus.
std::string system_address();

// Connects within `timeout_ms`.
//   context     where the connection delivers its signals; iterated until this returns
//   withdrawn   ends the wait at once when it is cancelled, from any thread; may be null
//   error       receives the reason where there is no connection
// Returns null where no bus answers in time, or where the library could not start its threads: it
// would end the program there. Thread: any; other callers need another context.
Owned<GDBusConnection> connect_within(int timeout_ms, const std::string& address,
                                      GMainContext* context, GCancellable* withdrawn,
                                      std::string* error);

}  // namespace bus
