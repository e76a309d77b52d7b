// Connecting to a message bus within a time limit. The library's own call has none, and a bus may
// accept a connection and then never answer.
#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>

namespace bus {

// Releases each type of the library's objects in its own way.
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

// The address of the session bus, found as its clients do; empty if there is none. Never starts
// one.
std::string session_address();
// The same for the system bus.
std::string system_address();

// Connects within `timeout_ms`.
//   context     where the connection delivers its signals; iterated until this returns
//   withdrawn   cancelling it, from any thread, ends the wait at once; may be null
//   error       receives the reason when there is no connection
// Returns null if no bus answers in time, or if the library could not start its threads, in which
// case it would abort the program. Thread: any, each with its own context.
Owned<GDBusConnection> connect_within(int timeout_ms, const std::string& address,
                                      GMainContext* context, GCancellable* withdrawn,
                                      std::string* error);

}  // namespace bus
