// DESIGN: two settings are read when a portal appears, and their changes are followed. The latest
// value counts; nothing waits for an answer.
#include "motion.h"

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "bus.h"

namespace desktop::motion {

namespace {

constexpr const char* kPortal = "org.freedesktop.portal.Desktop";
constexpr const char* kPath = "/org/freedesktop/portal/desktop";
constexpr const char* kSettings = "org.freedesktop.portal.Settings";

struct Key {
  const char* group;
  const char* name;
};
constexpr std::array kKeys{
    Key{"org.freedesktop.appearance", "reduced-motion"},
    Key{"org.gnome.desktop.interface", "enable-animations"},
};

struct Motion {
  GDBusConnection* connection = nullptr;  // not owned
  std::function<void(Wish)> changed;
  guint watch = 0;
  guint changes = 0;
  std::array<std::optional<bool>, kKeys.size()> reduced;  // as each of the settings says
};
Motion& g_motion = *new Motion;  // bus thread; in place as long as the process lives

void note(std::size_t key, std::optional<bool> reduced) {
  g_motion.reduced[key] = reduced;
  const auto& [own, toolkits] = g_motion.reduced;
  if (own) {
    g_motion.changed(*own ? Wish::kReduced : Wish::kFull);
  } else {
    g_motion.changed(toolkits.value_or(false) ? Wish::kToolkitsRest : Wish::kUnknown);
  }
}

// The meaning of a value, which portals wrap more than once. Empty if it is unknown.
std::optional<bool> meaning(GVariant* value) {
  Owned<GVariant> inner(g_variant_ref(value));
  while (g_variant_is_of_type(inner.get(), G_VARIANT_TYPE_VARIANT) != FALSE)
    inner.reset(g_variant_get_variant(inner.get()));
  if (g_variant_is_of_type(inner.get(), G_VARIANT_TYPE_UINT32) != FALSE)
    return g_variant_get_uint32(inner.get()) == 1;
  if (g_variant_is_of_type(inner.get(), G_VARIANT_TYPE_BOOLEAN) != FALSE)
    return g_variant_get_boolean(inner.get()) == FALSE;
  return std::nullopt;
}

void on_value(GObject* connection, GAsyncResult* result, void* key) {
  const Owned<GVariant> answer(
      g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, nullptr));
  if (answer == nullptr || g_motion.watch == 0) return;  // such a setting is unknown there
  const Owned<GVariant> value(g_variant_get_child_value(answer.get(), 0));
  note(GPOINTER_TO_SIZE(key), meaning(value.get()));
}

void on_change(GDBusConnection*, const char*, const char*, const char*, const char*,
               GVariant* change, void*) {
  if (g_variant_is_of_type(change, G_VARIANT_TYPE("(ssv)")) == FALSE) return;
  const char* group = nullptr;
  const char* name = nullptr;
  GVariant* value = nullptr;
  g_variant_get(change, "(&s&sv)", &group, &name, &value);
  const Owned<GVariant> kept(value);
  for (std::size_t i = 0; i < kKeys.size(); ++i) {
    if (std::string_view(group) == kKeys[i].group && std::string_view(name) == kKeys[i].name)
      note(i, meaning(value));
  }
}

void on_portal(GDBusConnection* connection, const char*, const char*, void*) {
  g_motion.reduced = {};
  for (std::size_t i = 0; i < kKeys.size(); ++i) {
    g_dbus_connection_call(connection, kPortal, kPath, kSettings, "Read",
                           g_variant_new("(ss)", kKeys[i].group, kKeys[i].name),
                           G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr,
                           on_value, GSIZE_TO_POINTER(i));
  }
}

}  // namespace

void begin(GDBusConnection* connection, std::function<void(Wish)> changed) {
  g_motion.connection = connection;
  g_motion.changed = std::move(changed);
  g_motion.changes = g_dbus_connection_signal_subscribe(
      connection, kPortal, kSettings, "SettingChanged", kPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
      on_change, nullptr, nullptr);
  g_motion.watch = g_bus_watch_name_on_connection(
      connection, kPortal, G_BUS_NAME_WATCHER_FLAGS_NONE, on_portal, nullptr, nullptr, nullptr);
}

void end() {
  if (g_motion.watch == 0) return;
  g_bus_unwatch_name(std::exchange(g_motion.watch, 0U));
  g_dbus_connection_signal_unsubscribe(g_motion.connection, std::exchange(g_motion.changes, 0U));
}

}  // namespace desktop::motion
