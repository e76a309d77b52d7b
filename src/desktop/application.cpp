// DESIGN: both interfaces are implemented here, on the table of actions. The library's own exporter
// would be shorter, but reports success for unknown actions and wrong types. A call is answered
// once its command is queued, not carried out: the frame loop may be busy, and callers need not be.
#include "application.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "actions.h"
#include "app/logger.h"

namespace desktop::application {

namespace {

constexpr const char* kGtkActions = "org.gtk.Actions";

constexpr const char* kInterfaces = R"(
<node>
  <interface name='org.freedesktop.Application'>
    <method name='Activate'><arg type='a{sv}' name='platform_data' direction='in'/></method>
    <method name='Open'>
      <arg type='as' name='uris' direction='in'/>
      <arg type='a{sv}' name='platform_data' direction='in'/>
    </method>
    <method name='ActivateAction'>
      <arg type='s' name='action_name' direction='in'/>
      <arg type='av' name='parameter' direction='in'/>
      <arg type='a{sv}' name='platform_data' direction='in'/>
    </method>
  </interface>
  <interface name='org.gtk.Actions'>
    <method name='List'><arg type='as' name='list' direction='out'/></method>
    <method name='Describe'>
      <arg type='s' name='action_name' direction='in'/>
      <arg type='(bgav)' name='description' direction='out'/>
    </method>
    <method name='DescribeAll'><arg type='a{s(bgav)}' name='descriptions' direction='out'/></method>
    <method name='Activate'>
      <arg type='s' name='action_name' direction='in'/>
      <arg type='av' name='parameter' direction='in'/>
      <arg type='a{sv}' name='platform_data' direction='in'/>
    </method>
    <method name='SetState'>
      <arg type='s' name='action_name' direction='in'/>
      <arg type='v' name='value' direction='in'/>
      <arg type='a{sv}' name='platform_data' direction='in'/>
    </method>
    <signal name='Changed'>
      <arg type='as' name='removals'/>
      <arg type='a{sb}' name='enable_changes'/>
      <arg type='a{sv}' name='state_changes'/>
      <arg type='a{s(bgav)}' name='additions'/>
    </signal>
  </interface>
</node>)";

struct Exported {
  GDBusConnection* connection = nullptr;  // the bus thread's
  std::string path;
  std::string directory;
  State state;
  Submit submit;
  unsigned name = 0;
  std::vector<unsigned> objects;
};
Exported& g_exported = *new Exported;  // bus thread; in place as long as the process lives

void refuse(GDBusMethodInvocation* call, int code, const std::string& why) {
  g_dbus_method_invocation_return_error_literal(call, G_DBUS_ERROR, code, why.c_str());
}

void answer(GDBusMethodInvocation* call, Meaning meaning, GVariant* platform_data) {
  if (!meaning.command) {
    refuse(call, G_DBUS_ERROR_INVALID_ARGS, meaning.refusal);
    return;
  }
  const std::string directory = directory_in(platform_data);
  if (!directory.empty() && directory != g_exported.directory) {
    refuse(call, G_DBUS_ERROR_FAILED, "This copy has other settings");
    return;
  }
  meaning.command->activation = activation_in(platform_data);
  if (g_exported.submit(std::move(*meaning.command))) {
    g_dbus_method_invocation_return_value(call, nullptr);
  } else {
    refuse(call, G_DBUS_ERROR_LIMITS_EXCEEDED, "Too many calls wait");
  }
}

// The only entry of a call's parameters; null where there is none.
Owned<GVariant> only_parameter(GVariant* parameters) {
  if (g_variant_n_children(parameters) == 0) return nullptr;
  const Owned<GVariant> boxed(g_variant_get_child_value(parameters, 0));
  return Owned<GVariant>(g_variant_get_variant(boxed.get()));
}

void activate_action(GDBusMethodInvocation* call, GVariant* arguments) {
  const char* name = nullptr;
  GVariant* parameters = nullptr;
  GVariant* platform_data = nullptr;
  g_variant_get(arguments, "(&s@av@a{sv})", &name, &parameters, &platform_data);
  const Owned<GVariant> kept_parameters(parameters);
  const Owned<GVariant> kept_data(platform_data);
  if (g_variant_n_children(parameters) > 1) {
    refuse(call, G_DBUS_ERROR_INVALID_ARGS, "An action takes one parameter at most");
    return;
  }
  const Owned<GVariant> parameter = only_parameter(parameters);
  answer(call, activation_of(g_exported.state, name, parameter.get()), platform_data);
}

// One file at a time, because the user is asked for a name.
void open_file(GDBusMethodInvocation* call, GVariant* arguments) {
  GVariant* uris = nullptr;
  GVariant* platform_data = nullptr;
  g_variant_get(arguments, "(@as@a{sv})", &uris, &platform_data);
  const Owned<GVariant> kept_uris(uris);
  const Owned<GVariant> kept_data(platform_data);
  if (g_variant_n_children(uris) != 1) {
    refuse(call, G_DBUS_ERROR_INVALID_ARGS, "One file can be opened at a time");
    return;
  }
  const char* uri = nullptr;
  g_variant_get_child(uris, 0, "&s", &uri);
  const Owned<char> path(g_filename_from_uri(uri, nullptr, nullptr));
  if (path == nullptr) {
    refuse(call, G_DBUS_ERROR_INVALID_ARGS, "Only local files can be opened");
    return;
  }
  Command command;
  command.verb = Verb::kImport;
  command.path = path.get();
  answer(call, {command, ""}, platform_data);
}

void on_application_call(GDBusConnection*, const char*, const char*, const char*,
                         const char* method, GVariant* arguments, GDBusMethodInvocation* call,
                         void*) {
  const std::string_view name = method;
  if (name == "Activate") {
    const Owned<GVariant> platform_data(g_variant_get_child_value(arguments, 0));
    answer(call, {Command{}, ""}, platform_data.get());
  } else if (name == "ActivateAction") {
    activate_action(call, arguments);
  } else {
    open_file(call, arguments);
  }
}

GVariant* description_of(const Action& action) {
  GVariantBuilder states;
  g_variant_builder_init(&states, G_VARIANT_TYPE("av"));
  if (GVariant* state = state_of(action, g_exported.state); state != nullptr)
    g_variant_builder_add(&states, "v", state);
  return g_variant_new("(bgav)", TRUE, action.parameter, &states);
}

GVariant* names() {
  GVariantBuilder list;
  g_variant_builder_init(&list, G_VARIANT_TYPE("as"));
  for (const Action& action : actions())
    g_variant_builder_add(&list, "s", action.name);
  return g_variant_new("(as)", &list);
}

GVariant* descriptions() {
  GVariantBuilder all;
  g_variant_builder_init(&all, G_VARIANT_TYPE("a{s(bgav)}"));
  for (const Action& action : actions())
    g_variant_builder_add(&all, "{s@(bgav)}", action.name, description_of(action));
  return g_variant_new("(a{s(bgav)})", &all);
}

void describe(GDBusMethodInvocation* call, const std::string& name) {
  const auto all = actions();
  const auto found =
      std::find_if(all.begin(), all.end(), [&](const Action& a) { return name == a.name; });
  if (found == all.end()) {
    refuse(call, G_DBUS_ERROR_INVALID_ARGS, "There is no action \"" + name + "\"");
    return;
  }
  g_dbus_method_invocation_return_value(call, g_variant_new("(@(bgav))", description_of(*found)));
}

void set_action_state(GDBusMethodInvocation* call, GVariant* arguments) {
  const char* name = nullptr;
  GVariant* value = nullptr;
  GVariant* platform_data = nullptr;
  g_variant_get(arguments, "(&sv@a{sv})", &name, &value, &platform_data);
  const Owned<GVariant> kept_value(value);
  const Owned<GVariant> kept_data(platform_data);
  answer(call, change_of(g_exported.state, name, value), platform_data);
}

void on_actions_call(GDBusConnection*, const char*, const char*, const char*, const char* method,
                     GVariant* arguments, GDBusMethodInvocation* call, void*) {
  const std::string_view name = method;
  if (name == "List") {
    g_dbus_method_invocation_return_value(call, names());
  } else if (name == "DescribeAll") {
    g_dbus_method_invocation_return_value(call, descriptions());
  } else if (name == "Activate") {
    activate_action(call, arguments);
  } else if (name == "SetState") {
    set_action_state(call, arguments);
  } else {
    const char* action = nullptr;
    g_variant_get(arguments, "(&s)", &action);
    describe(call, action);
  }
}

constexpr GDBusInterfaceVTable kApplicationTable = {on_application_call, nullptr, nullptr, {}};
constexpr GDBusInterfaceVTable kActionsTable = {on_actions_call, nullptr, nullptr, {}};

bool export_interface(GDBusNodeInfo* node, const char* name, const GDBusInterfaceVTable* table) {
  GError* error = nullptr;
  const unsigned id = g_dbus_connection_register_object(
      g_exported.connection, g_exported.path.c_str(), g_dbus_node_info_lookup_interface(node, name),
      table, nullptr, nullptr, &error);
  const Owned<GError> kept(error);
  if (id == 0) {
    logger::warn(std::string("Session bus: ") + error->message);
    return false;
  }
  g_exported.objects.push_back(id);
  return true;
}

void on_name(GDBusConnection*, const char* name, void*) {
  logger::info(std::string("Found on the session bus as ") + name);
}

}  // namespace

bool begin(GDBusConnection* connection, const std::string& directory, const State& state,
           Submit submit) {
  const std::string id = application_id();
  g_exported = {connection, application_path(id), directory, state, std::move(submit), 0, {}};
  const Owned<GDBusNodeInfo> node(g_dbus_node_info_new_for_xml(kInterfaces, nullptr));
  if (!export_interface(node.get(), kApplication, &kApplicationTable) ||
      !export_interface(node.get(), kGtkActions, &kActionsTable)) {
    return false;
  }
  // Last, because clients may call as soon as they see the name.
  g_exported.name = g_bus_own_name_on_connection(
      connection, id.c_str(), G_BUS_NAME_OWNER_FLAGS_NONE, on_name, nullptr, nullptr, nullptr);
  return true;
}

void set_state(const State& state) {
  const State before = std::exchange(g_exported.state, state);
  GVariantBuilder changes;
  g_variant_builder_init(&changes, G_VARIANT_TYPE("a{sv}"));
  bool any = false;
  for (const Action& action : actions()) {
    if (*action.state == '\0') continue;
    const Owned<GVariant> old_value(g_variant_ref_sink(state_of(action, before)));
    const Owned<GVariant> value(g_variant_ref_sink(state_of(action, state)));
    if (g_variant_equal(old_value.get(), value.get()) != FALSE) continue;
    g_variant_builder_add(&changes, "{sv}", action.name, value.get());
    any = true;
  }
  if (!any) {
    g_variant_builder_clear(&changes);
    return;
  }
  g_dbus_connection_emit_signal(
      g_exported.connection, nullptr, g_exported.path.c_str(), kGtkActions, "Changed",
      g_variant_new("(asa{sb}a{sv}a{s(bgav)})", nullptr, nullptr, &changes, nullptr), nullptr);
}

void end() {
  if (g_exported.name != 0) g_bus_unown_name(std::exchange(g_exported.name, 0));
  for (const unsigned object : std::exchange(g_exported.objects, {}))
    g_dbus_connection_unregister_object(g_exported.connection, object);
}

}  // namespace desktop::application
