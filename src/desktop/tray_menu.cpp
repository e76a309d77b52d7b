// DESIGN: the menu is rebuilt from the state as a flat list of entries (tray_entries.h), each with
// the command that a click on it means; changes are found by comparing two lists. Trays differ in
// how they query it (one entry or many, with or without announcing that the menu opens), so all
// ways are supported, and a click counts even after the menu has been reported closed.
#include "tray_menu.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "app/logger.h"
#include "tray_entries.h"

namespace desktop::menu {

namespace {

constexpr const char* kInterface = "com.canonical.dbusmenu";
constexpr unsigned kVersion = 3;

constexpr const char* kXml = R"(
<node>
  <interface name='com.canonical.dbusmenu'>
    <property name='Version' type='u' access='read'/>
    <property name='TextDirection' type='s' access='read'/>
    <property name='Status' type='s' access='read'/>
    <property name='IconThemePath' type='as' access='read'/>
    <method name='GetLayout'>
      <arg type='i' name='parentId' direction='in'/>
      <arg type='i' name='recursionDepth' direction='in'/>
      <arg type='as' name='propertyNames' direction='in'/>
      <arg type='u' name='revision' direction='out'/>
      <arg type='(ia{sv}av)' name='layout' direction='out'/>
    </method>
    <method name='GetGroupProperties'>
      <arg type='ai' name='ids' direction='in'/>
      <arg type='as' name='propertyNames' direction='in'/>
      <arg type='a(ia{sv})' name='properties' direction='out'/>
    </method>
    <method name='GetProperty'>
      <arg type='i' name='id' direction='in'/>
      <arg type='s' name='name' direction='in'/>
      <arg type='v' name='value' direction='out'/>
    </method>
    <method name='Event'>
      <arg type='i' name='id' direction='in'/>
      <arg type='s' name='eventId' direction='in'/>
      <arg type='v' name='data' direction='in'/>
      <arg type='u' name='timestamp' direction='in'/>
    </method>
    <method name='EventGroup'>
      <arg type='a(isvu)' name='events' direction='in'/>
      <arg type='ai' name='idErrors' direction='out'/>
    </method>
    <method name='AboutToShow'>
      <arg type='i' name='id' direction='in'/>
      <arg type='b' name='needUpdate' direction='out'/>
    </method>
    <method name='AboutToShowGroup'>
      <arg type='ai' name='ids' direction='in'/>
      <arg type='ai' name='updatesNeeded' direction='out'/>
      <arg type='ai' name='idErrors' direction='out'/>
    </method>
    <signal name='ItemsPropertiesUpdated'>
      <arg type='a(ia{sv})' name='updatedProps'/>
      <arg type='a(ias)' name='removedProps'/>
    </signal>
    <signal name='LayoutUpdated'>
      <arg type='u' name='revision'/>
      <arg type='i' name='parent'/>
    </signal>
  </interface>
</node>)";

struct Exported {
  GDBusConnection* connection = nullptr;  // the bus thread's
  Submit submit;
  std::vector<Entry> entries;
  bool rtl = false;
  unsigned revision = 1;
  unsigned object = 0;
};
Exported& g_menu = *new Exported;  // bus thread; in place as long as the process lives

// The properties of an entry ------------------------------------------

const Entry* find(int id) {
  const auto found = std::find_if(g_menu.entries.begin(), g_menu.entries.end(),
                                  [&](const Entry& e) { return e.id == id; });
  return found != g_menu.entries.end() ? &*found : nullptr;
}

// Calls `add` with every property that differs from its default, by name and floating value.
template <typename Add>
void each_property(const Entry& entry, Add add) {
  const bool toggles = entry.kind == Kind::kCheck || entry.kind == Kind::kRadio;
  if (entry.kind == Kind::kRule) add("type", g_variant_new_string("separator"));
  if (entry.kind == Kind::kSubmenu) add("children-display", g_variant_new_string("submenu"));
  if (!entry.label.empty()) add("label", g_variant_new_string(entry.label.c_str()));
  if (toggles) {
    add("toggle-type", g_variant_new_string(entry.kind == Kind::kCheck ? "checkmark" : "radio"));
    add("toggle-state", g_variant_new_int32(entry.checked ? 1 : 0));
  }
  if (!entry.visible) add("visible", g_variant_new_boolean(FALSE));
}

// The properties of these names, all where there are none; floating.
GVariant* properties_of(const Entry& entry, const std::vector<std::string>& names) {
  GVariantBuilder properties;
  g_variant_builder_init(&properties, G_VARIANT_TYPE("a{sv}"));
  each_property(entry, [&](const char* name, GVariant* value) {
    const Owned<GVariant> kept(g_variant_ref_sink(value));
    if (names.empty() || std::find(names.begin(), names.end(), name) != names.end())
      g_variant_builder_add(&properties, "{sv}", name, value);
  });
  return g_variant_builder_end(&properties);
}

// An entry with its children, `depth` levels down, all where it is negative; floating.
GVariant* layout_of(const Entry& entry, int depth, const std::vector<std::string>& names) {
  GVariantBuilder children;
  g_variant_builder_init(&children, G_VARIANT_TYPE("av"));
  if (depth != 0) {
    for (const Entry& child : g_menu.entries) {
      if (child.parent == entry.id)
        g_variant_builder_add(&children, "v", layout_of(child, depth - 1, names));
    }
  }
  return g_variant_new("(i@a{sv}av)", entry.id, properties_of(entry, names), &children);
}

// Calls ---------------------------------------------------------------

std::vector<std::string> texts_in(GVariant* list) {
  std::vector<std::string> texts;
  GVariantIter iterator;
  g_variant_iter_init(&iterator, list);
  const char* text = nullptr;
  while (g_variant_iter_next(&iterator, "&s", &text) != FALSE)
    texts.emplace_back(text);
  return texts;
}

void refuse(GDBusMethodInvocation* call) {
  g_dbus_method_invocation_return_error_literal(call, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS,
                                                "There is no such entry");
}

void get_layout(GDBusMethodInvocation* call, GVariant* arguments) {
  int id = 0;
  int depth = 0;
  GVariant* names = nullptr;
  g_variant_get(arguments, "(ii@as)", &id, &depth, &names);
  const Owned<GVariant> kept(names);
  const Entry* entry = find(id);
  if (entry == nullptr) {
    refuse(call);
    return;
  }
  g_dbus_method_invocation_return_value(
      call,
      g_variant_new("(u@(ia{sv}av))", g_menu.revision, layout_of(*entry, depth, texts_in(names))));
}

void get_group(GDBusMethodInvocation* call, GVariant* arguments) {
  const Owned<GVariant> ids(g_variant_get_child_value(arguments, 0));
  const Owned<GVariant> names(g_variant_get_child_value(arguments, 1));
  std::size_t count = 0;
  const auto* wanted =
      static_cast<const gint32*>(g_variant_get_fixed_array(ids.get(), &count, sizeof(gint32)));
  GVariantBuilder group;
  g_variant_builder_init(&group, G_VARIANT_TYPE("a(ia{sv})"));
  for (const Entry& entry : g_menu.entries) {
    if (count == 0 || std::find(wanted, wanted + count, entry.id) != wanted + count)
      g_variant_builder_add(&group, "(i@a{sv})", entry.id,
                            properties_of(entry, texts_in(names.get())));
  }
  g_dbus_method_invocation_return_value(call, g_variant_new("(a(ia{sv}))", &group));
}

void get_property(GDBusMethodInvocation* call, GVariant* arguments) {
  int id = 0;
  const char* wanted = nullptr;
  g_variant_get(arguments, "(i&s)", &id, &wanted);
  Owned<GVariant> found;
  if (const Entry* entry = find(id); entry != nullptr) {
    each_property(*entry, [&](std::string_view name, GVariant* value) {
      Owned<GVariant> kept(g_variant_ref_sink(value));
      if (name == wanted) found = std::move(kept);
    });
  }
  if (found == nullptr) {
    refuse(call);
  } else {
    g_dbus_method_invocation_return_value(call, g_variant_new("(v)", found.get()));
  }
}

// Returns whether there is such an entry.
bool handle_event(int id, std::string_view event) {
  const Entry* entry = find(id);
  if (entry == nullptr) return false;
  const bool acts = entry->kind != Kind::kRule && entry->kind != Kind::kSubmenu;
  if (acts && event == "clicked") g_menu.submit(entry->command);
  return true;
}

void handle_events(GDBusMethodInvocation* call, GVariant* arguments) {
  const Owned<GVariant> events(g_variant_get_child_value(arguments, 0));
  GVariantBuilder unknown;
  g_variant_builder_init(&unknown, G_VARIANT_TYPE("ai"));
  for (std::size_t i = 0; i < g_variant_n_children(events.get()); ++i) {
    const Owned<GVariant> event(g_variant_get_child_value(events.get(), i));
    int id = 0;
    const char* name = nullptr;
    g_variant_get(event.get(), "(i&svu)", &id, &name, nullptr, nullptr);
    if (!handle_event(id, name)) g_variant_builder_add(&unknown, "i", id);
  }
  g_dbus_method_invocation_return_value(call, g_variant_new("(ai)", &unknown));
}

void on_call(GDBusConnection*, const char*, const char*, const char*, const char* method,
             GVariant* arguments, GDBusMethodInvocation* call, void*) {
  const std::string_view name = method;
  if (name == "GetLayout") {
    get_layout(call, arguments);
  } else if (name == "GetGroupProperties") {
    get_group(call, arguments);
  } else if (name == "GetProperty") {
    get_property(call, arguments);
  } else if (name == "Event") {
    int id = 0;
    const char* event = nullptr;
    g_variant_get(arguments, "(i&svu)", &id, &event, nullptr, nullptr);
    if (handle_event(id, event)) {
      g_dbus_method_invocation_return_value(call, nullptr);
    } else {
      refuse(call);
    }
  } else if (name == "EventGroup") {
    handle_events(call, arguments);
  } else if (name == "AboutToShow") {
    g_dbus_method_invocation_return_value(call, g_variant_new("(b)", FALSE));
  } else {
    g_dbus_method_invocation_return_value(call, g_variant_new("(aiai)", nullptr, nullptr));
  }
}

GVariant* on_get(GDBusConnection*, const char*, const char*, const char*, const char* property,
                 GError**, void*) {
  const std::string_view name = property;
  if (name == "Version") return g_variant_new_uint32(kVersion);
  if (name == "Status") return g_variant_new_string("normal");
  if (name == "TextDirection") return g_variant_new_string(g_menu.rtl ? "rtl" : "ltr");
  return g_variant_new_strv(nullptr, 0);
}

constexpr GDBusInterfaceVTable kTable = {on_call, on_get, nullptr, {}};

void emit(const char* signal, GVariant* arguments) {
  g_dbus_connection_emit_signal(g_menu.connection, nullptr, kPath, kInterface, signal, arguments,
                                nullptr);
}

// Announces the marks that have changed, also where they are back at their defaults.
void tell_marks(const std::vector<Entry>& before) {
  GVariantBuilder changed;
  g_variant_builder_init(&changed, G_VARIANT_TYPE("a(ia{sv})"));
  bool any = false;
  for (std::size_t i = 0; i < before.size(); ++i) {
    const Entry& entry = g_menu.entries[i];
    if (entry.checked == before[i].checked && entry.visible == before[i].visible) continue;
    GVariantBuilder marks;
    g_variant_builder_init(&marks, G_VARIANT_TYPE("a{sv}"));
    if (entry.checked != before[i].checked)
      g_variant_builder_add(&marks, "{sv}", "toggle-state",
                            g_variant_new_int32(entry.checked ? 1 : 0));
    if (entry.visible != before[i].visible)
      g_variant_builder_add(&marks, "{sv}", "visible",
                            g_variant_new_boolean(entry.visible ? TRUE : FALSE));
    g_variant_builder_add(&changed, "(ia{sv})", entry.id, &marks);
    any = true;
  }
  GVariant* arguments = g_variant_ref_sink(g_variant_new("(a(ia{sv})a(ias))", &changed, nullptr));
  const Owned<GVariant> kept(arguments);
  if (any) emit("ItemsPropertiesUpdated", arguments);
}

}  // namespace

bool begin(GDBusConnection* connection, const State& state, Submit submit) {
  const unsigned revision = g_menu.revision;
  g_menu = {connection, std::move(submit), entries_of(state), state.texts.rtl, revision + 1, 0};
  const Owned<GDBusNodeInfo> node(g_dbus_node_info_new_for_xml(kXml, nullptr));
  GError* error = nullptr;
  g_menu.object = g_dbus_connection_register_object(connection, kPath, node->interfaces[0], &kTable,
                                                    nullptr, nullptr, &error);
  const Owned<GError> kept(error);
  if (g_menu.object == 0) logger::warn(std::string("Session bus: ") + error->message);
  return g_menu.object != 0;
}

void set_state(const State& state) {
  if (g_menu.object == 0) return;
  const std::vector<Entry> before = std::exchange(g_menu.entries, entries_of(state));
  g_menu.rtl = state.texts.rtl;
  const bool alike =
      std::equal(before.begin(), before.end(), g_menu.entries.begin(), g_menu.entries.end(),
                 [](const Entry& a, const Entry& b) { return a.like(b); });
  if (alike) {
    tell_marks(before);
  } else {
    emit("LayoutUpdated", g_variant_new("(ui)", ++g_menu.revision, kRoot));
  }
}

void end() {
  if (g_menu.object != 0)
    g_dbus_connection_unregister_object(g_menu.connection, std::exchange(g_menu.object, 0U));
}

}  // namespace desktop::menu
