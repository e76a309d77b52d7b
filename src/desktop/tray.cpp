// DESIGN: the objects are exported before they are registered with the watcher, because trays read
// them at once. The symbolic icon is named where it is installed, so that desktops give it their
// colour; elsewhere it is sent as a picture in grey, which can be seen on light and dark panels. A
// hidden window, which only the tray could bring back, is shown when the tray disappears and does
// not return.
#include "tray.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "app/logger.h"
#include "app/paths.h"
#include "tray_menu.h"

namespace desktop::tray {

namespace {

namespace fs = std::filesystem;

constexpr const char* kWatcher = "org.kde.StatusNotifierWatcher";
constexpr const char* kWatcherPath = "/StatusNotifierWatcher";
constexpr const char* kItem = "org.kde.StatusNotifierItem";
constexpr const char* kItemPath = "/StatusNotifierItem";
constexpr const char* kIconOn = "velmora-symbolic";
constexpr const char* kIconOff = "velmora-off-symbolic";
constexpr unsigned kReturnPatienceMs = 5000;  // a panel that is restarted comes back within

constexpr const char* kXml = R"(
<node>
  <interface name='org.kde.StatusNotifierItem'>
    <property name='Category' type='s' access='read'/>
    <property name='Id' type='s' access='read'/>
    <property name='Title' type='s' access='read'/>
    <property name='Status' type='s' access='read'/>
    <property name='WindowId' type='i' access='read'/>
    <property name='IconThemePath' type='s' access='read'/>
    <property name='Menu' type='o' access='read'/>
    <property name='ItemIsMenu' type='b' access='read'/>
    <property name='IconName' type='s' access='read'/>
    <property name='IconPixmap' type='a(iiay)' access='read'/>
    <property name='OverlayIconName' type='s' access='read'/>
    <property name='OverlayIconPixmap' type='a(iiay)' access='read'/>
    <property name='AttentionIconName' type='s' access='read'/>
    <property name='AttentionIconPixmap' type='a(iiay)' access='read'/>
    <property name='AttentionMovieName' type='s' access='read'/>
    <property name='ToolTip' type='(sa(iiay)ss)' access='read'/>
    <method name='ProvideXdgActivationToken'><arg type='s' name='token' direction='in'/></method>
    <method name='ContextMenu'>
      <arg type='i' name='x' direction='in'/><arg type='i' name='y' direction='in'/>
    </method>
    <method name='Activate'>
      <arg type='i' name='x' direction='in'/><arg type='i' name='y' direction='in'/>
    </method>
    <method name='SecondaryActivate'>
      <arg type='i' name='x' direction='in'/><arg type='i' name='y' direction='in'/>
    </method>
    <method name='Scroll'>
      <arg type='i' name='delta' direction='in'/><arg type='s' name='orientation' direction='in'/>
    </method>
    <signal name='NewIcon'/>
  </interface>
</node>)";

struct Tray {
  GDBusConnection* connection = nullptr;  // the bus thread's
  Submit submit;
  State state;
  fs::path icons;     // the icon theme's directory where ours is installed; else empty
  std::string token;  // for the next command
  unsigned watch = 0;
  unsigned hosts = 0;  // subscription
  unsigned object = 0;
  GSource* patience = nullptr;  // runs while the tray is away
};
Tray& g_tray = *new Tray;  // bus thread; in place as long as the process lives

// The icon ------------------------------------------------------------

// The directory of icons beside our program; inside a sandbox it is useless to programs outside.
fs::path installed_icons() {
  if (paths::is_sandboxed()) return {};
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  fs::path icons = program.parent_path().parent_path() / "share/icons";
  for (const char* name : {kIconOn, kIconOff}) {
    const fs::path icon = icons / "hicolor/symbolic/apps" / (std::string(name) + ".svg");
    if (error || !fs::exists(icon, error)) return {};
  }
  return icons;
}

// Trays search the system's directories anyway.
std::string theme_path() {
  return g_tray.icons == "/usr/share/icons" ? "" : g_tray.icons.string();
}

// The five bars of the symbolic icon on its grid of 16, in a pixel's bytes: alpha, red, green,
// blue.
GVariant* picture(int scale, bool on) {
  constexpr int kGrid = 16;
  constexpr std::uint8_t kGrey = 0x80;
  constexpr std::uint8_t kDimmed = 0x59;
  constexpr std::array<int, 5> kTops = {3, 6, 9, 6, 3};
  const int size = kGrid * scale;
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size * size) * 4);
  for (int y = 0; y < size; ++y) {
    for (int x = 0; x < size; ++x) {
      const int column = x / scale - 1;
      const int row = y / scale;
      const bool bar = column >= 0 && column % 3 < 2 &&
                       row >= kTops[static_cast<std::size_t>(column / 3)] && row < 13;
      std::uint8_t* pixel = &bytes[static_cast<std::size_t>(y * size + x) * 4];
      pixel[0] = !bar ? 0 : on ? 0xFF : kDimmed;
      pixel[1] = pixel[2] = pixel[3] = bar ? kGrey : 0;
    }
  }
  return g_variant_new(
      "(ii@ay)", size, size,
      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1));
}

GVariant* pictures(bool on) {
  GVariantBuilder list;
  g_variant_builder_init(&list, G_VARIANT_TYPE("a(iiay)"));
  for (const int scale : {1, 2, 3})
    g_variant_builder_add_value(&list, picture(scale, on));
  return g_variant_builder_end(&list);
}

// The object ----------------------------------------------------------

void submit(Verb verb) {
  g_tray.submit({verb, "", "", {"", std::exchange(g_tray.token, "")}});
}

void on_call(GDBusConnection*, const char*, const char*, const char*, const char* method,
             GVariant* arguments, GDBusMethodInvocation* call, void*) {
  const std::string_view name = method;
  if (name == "Activate") submit(Verb::kRaiseOrHide);
  if (name == "SecondaryActivate") submit(Verb::kToggle);
  if (name == "ProvideXdgActivationToken") {
    const char* token = nullptr;
    g_variant_get(arguments, "(&s)", &token);
    g_tray.token = token;
  }
  // The wheel does nothing, and the tray opens the menu itself.
  g_dbus_method_invocation_return_value(call, nullptr);
}

GVariant* on_get(GDBusConnection*, const char*, const char*, const char*, const char* property,
                 GError**, void*) {
  const std::string_view name = property;
  const bool named = !g_tray.icons.empty();
  if (name == "Category") return g_variant_new_string("ApplicationStatus");
  if (name == "Id") return g_variant_new_string("velmora");
  if (name == "Title") return g_variant_new_string("Velmora");
  if (name == "Status") return g_variant_new_string("Active");
  if (name == "WindowId") return g_variant_new_int32(0);
  if (name == "IconThemePath") return g_variant_new_string(theme_path().c_str());
  if (name == "Menu") return g_variant_new_object_path(menu::kPath);
  if (name == "ItemIsMenu") return g_variant_new_boolean(FALSE);
  if (name == "IconName")
    return g_variant_new_string(!named ? "" : g_tray.state.on ? kIconOn : kIconOff);
  if (name == "IconPixmap" && !named) return pictures(g_tray.state.on);
  if (name == "ToolTip") return g_variant_new("(sa(iiay)ss)", "", nullptr, "Velmora", "");
  if (name.ends_with("Pixmap")) return g_variant_new("a(iiay)", nullptr);
  return g_variant_new_string("");
}

constexpr GDBusInterfaceVTable kTable = {on_call, on_get, nullptr, {}};

bool export_item() {
  if (g_tray.object != 0) return true;
  const Owned<GDBusNodeInfo> node(g_dbus_node_info_new_for_xml(kXml, nullptr));
  GError* error = nullptr;
  g_tray.object = g_dbus_connection_register_object(
      g_tray.connection, kItemPath, node->interfaces[0], &kTable, nullptr, nullptr, &error);
  const Owned<GError> kept(error);
  if (g_tray.object == 0) logger::warn(std::string("Session bus: ") + error->message);
  return g_tray.object != 0 && menu::begin(g_tray.connection, g_tray.state, g_tray.submit);
}

void withdraw_item() {
  if (g_tray.object != 0)
    g_dbus_connection_unregister_object(g_tray.connection, std::exchange(g_tray.object, 0U));
  menu::end();
}

// The tray comes and goes ---------------------------------------------

void stop_patience() {
  if (g_tray.patience == nullptr) return;
  g_source_destroy(g_tray.patience);
  g_source_unref(std::exchange(g_tray.patience, nullptr));
}

gboolean on_patience_over(void*) {
  stop_patience();
  submit(Verb::kShow);
  return G_SOURCE_REMOVE;
}

void start_patience() {
  if (g_tray.patience != nullptr) return;
  g_tray.patience = g_timeout_source_new(kReturnPatienceMs);
  g_source_set_callback(g_tray.patience, on_patience_over, nullptr, nullptr);
  g_source_attach(g_tray.patience, g_main_context_get_thread_default());
}

// There may be a watcher without a tray, which it reports.
void on_host_known(GObject* connection, GAsyncResult* result, void*) {
  const Owned<GVariant> answer(
      g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, nullptr));
  if (answer == nullptr || g_tray.watch == 0) return;
  GVariant* value = nullptr;
  g_variant_get(answer.get(), "(v)", &value);
  const Owned<GVariant> kept(value);
  const bool there = g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN) != FALSE &&
                     g_variant_get_boolean(value) != FALSE;
  if (there) {
    stop_patience();
  } else {
    start_patience();
  }
}

void ask_for_host() {
  g_dbus_connection_call(
      g_tray.connection, kWatcher, kWatcherPath, "org.freedesktop.DBus.Properties", "Get",
      g_variant_new("(ss)", kWatcher, "IsStatusNotifierHostRegistered"), G_VARIANT_TYPE("(v)"),
      G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, on_host_known, nullptr);
}

void on_host_signal(GDBusConnection*, const char*, const char*, const char*, const char* signal,
                    GVariant*, void*) {
  if (std::string_view(signal).starts_with("StatusNotifierHost")) ask_for_host();
}

void on_watcher(GDBusConnection* connection, const char*, const char*, void*) {
  if (!export_item()) return;
  // By the connection's own name: a sandbox may not own another one.
  g_dbus_connection_call(connection, kWatcher, kWatcherPath, kWatcher, "RegisterStatusNotifierItem",
                         g_variant_new("(s)", g_dbus_connection_get_unique_name(connection)),
                         nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, nullptr, nullptr);
  ask_for_host();
}

void on_no_watcher(GDBusConnection*, const char*, void*) {
  if (g_tray.object == 0) return;
  withdraw_item();
  start_patience();
}

}  // namespace

void begin(GDBusConnection* connection, const State& state, Submit submit) {
  g_tray = {};
  g_tray.connection = connection;
  g_tray.submit = std::move(submit);
  g_tray.state = state;
  g_tray.icons = installed_icons();
  g_tray.hosts = g_dbus_connection_signal_subscribe(connection, kWatcher, kWatcher, nullptr,
                                                    kWatcherPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                                    on_host_signal, nullptr, nullptr);
  g_tray.watch = g_bus_watch_name_on_connection(connection, kWatcher, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                                on_watcher, on_no_watcher, nullptr, nullptr);
}

void set_state(const State& state) {
  const bool new_icon = state.on != std::exchange(g_tray.state, state).on;
  if (g_tray.object == 0) return;
  menu::set_state(state);
  if (new_icon)
    g_dbus_connection_emit_signal(g_tray.connection, nullptr, kItemPath, kItem, "NewIcon", nullptr,
                                  nullptr);
}

void end() {
  if (g_tray.watch == 0) return;
  g_bus_unwatch_name(std::exchange(g_tray.watch, 0U));
  g_dbus_connection_signal_unsubscribe(g_tray.connection, std::exchange(g_tray.hosts, 0U));
  stop_patience();
  withdraw_item();
  submit(Verb::kShow);
}

}  // namespace desktop::tray
