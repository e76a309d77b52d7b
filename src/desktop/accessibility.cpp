// DESIGN: the accessibility bus is asked whether it is in use, in a way that does not start it.
#include "accessibility.h"

#include <utility>

#include "bus.h"

namespace desktop::accessibility {

namespace {

constexpr const char* kBus = "org.a11y.Bus";
constexpr const char* kPath = "/org/a11y/bus";
constexpr const char* kStatus = "org.a11y.Status";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";

struct Watch {
  GDBusConnection* connection = nullptr;  // the bus thread's
  std::function<void()> wanted;
  unsigned name = 0;
  unsigned changes = 0;  // subscription
};
Watch& g_watch = *new Watch;  // bus thread; in place as long as the process lives

void on_status(GObject* connection, GAsyncResult* result, void* /*data*/) {
  const Owned<GVariant> answer(
      g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, nullptr));
  if (answer == nullptr || g_watch.name == 0) return;
  const Owned<GVariant> all(g_variant_get_child_value(answer.get(), 0));
  for (const char* name : {"IsEnabled", "ScreenReaderEnabled"}) {
    gboolean enabled = FALSE;
    if (g_variant_lookup(all.get(), name, "b", &enabled) != FALSE && enabled != FALSE)
      return g_watch.wanted();
  }
}

void ask() {
  g_dbus_connection_call(g_watch.connection, kBus, kPath, kProperties, "GetAll",
                         g_variant_new("(s)", kStatus), G_VARIANT_TYPE("(a{sv})"),
                         G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, on_status, nullptr);
}

void on_there(GDBusConnection*, const char*, const char*, void*) {
  ask();
}

void on_change(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
               void*) {
  ask();
}

}  // namespace

void begin(GDBusConnection* connection, std::function<void()> wanted) {
  g_watch.connection = connection;
  g_watch.wanted = std::move(wanted);
  g_watch.changes = g_dbus_connection_signal_subscribe(
      connection, kBus, kProperties, "PropertiesChanged", kPath, kStatus, G_DBUS_SIGNAL_FLAGS_NONE,
      on_change, nullptr, nullptr);
  g_watch.name = g_bus_watch_name_on_connection(connection, kBus, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                                on_there, nullptr, nullptr, nullptr);
}

void end() {
  if (g_watch.name == 0) return;
  g_bus_unwatch_name(std::exchange(g_watch.name, 0U));
  g_dbus_connection_signal_unsubscribe(g_watch.connection, g_watch.changes);
}

}  // namespace desktop::accessibility
