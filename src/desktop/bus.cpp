// DESIGN: connecting is the one thing that waits, and a clock beside it ends that: the library's
// own call has no time limit, and a bus may accept and never answer.
#include "bus.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <latch>
#include <system_error>
#include <thread>
#include <utility>

namespace desktop {

namespace {

constexpr const char* kId = "org.velmora.Velmora";
constexpr const char* kStartupKey = "desktop-startup-id";
constexpr const char* kTokenKey = "activation-token";
constexpr int kSpareThreads = 3;  // as many as the library may start for a connection

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string text_in(GVariant* data, const char* key) {
  const char* text = nullptr;
  return g_variant_lookup(data, key, "&s", &text) != FALSE ? text : "";
}

// Whether a few more threads can be started: the library ends the program where its own cannot.
bool threads_to_spare() {
  std::latch release(1);
  std::array<std::thread, kSpareThreads> threads;
  bool all = true;
  try {
    for (std::thread& thread : threads)
      thread = std::thread([&release] { release.wait(); });
  } catch (const std::system_error&) {
    all = false;
  }
  release.count_down();
  for (std::thread& thread : threads) {
    if (thread.joinable()) thread.join();
  }
  return all;
}

struct Attempt {
  Owned<GMainLoop> loop;
  Owned<GDBusConnection> connection;
  std::string error;
};

gboolean on_too_late(void* cancellable) {
  g_cancellable_cancel(static_cast<GCancellable*>(cancellable));
  return G_SOURCE_CONTINUE;  // what comes of it ends the loop
}

void on_connected(GObject*, GAsyncResult* result, void* data) {
  auto* attempt = static_cast<Attempt*>(data);
  GError* error = nullptr;
  attempt->connection.reset(g_dbus_connection_new_for_address_finish(result, &error));
  const Owned<GError> kept(error);
  if (error != nullptr) attempt->error = error->message;
  g_main_loop_quit(attempt->loop.get());
}

}  // namespace

std::string application_id() {
  const std::string sandboxed = variable("FLATPAK_ID");
  return g_dbus_is_name(sandboxed.c_str()) != FALSE ? sandboxed : kId;
}

std::string application_path(const std::string& id) {
  std::string path = "/" + id;
  std::replace(path.begin(), path.end(), '.', '/');
  std::replace(path.begin(), path.end(), '-', '_');
  return path;
}

std::string session_address() {
  const std::string address = variable("DBUS_SESSION_BUS_ADDRESS");
  if (!address.empty()) return address.starts_with("autolaunch:") ? "" : address;
  const std::string socket = variable("XDG_RUNTIME_DIR") + "/bus";
  if (socket.front() != '/' || socket == "/bus" || access(socket.c_str(), F_OK) != 0) return "";
  return "unix:path=" + std::string(Owned<char>(g_dbus_address_escape_value(socket.c_str())).get());
}

Owned<GDBusConnection> connect_within(int timeout_ms, const std::string& address,
                                      GMainContext* context, std::string* error) {
  if (!threads_to_spare()) {
    *error = "no thread can be started";
    return nullptr;
  }
  Attempt attempt;
  attempt.loop.reset(g_main_loop_new(context, FALSE));
  const Owned<GCancellable> cancellable(g_cancellable_new());
  const Owned<GSource> clock(g_timeout_source_new(static_cast<unsigned>(timeout_ms)));
  g_source_set_callback(clock.get(), on_too_late, cancellable.get(), nullptr);
  g_source_attach(clock.get(), context);
  const auto flags =
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  g_main_context_push_thread_default(context);
  g_dbus_connection_new_for_address(address.c_str(), flags, nullptr, cancellable.get(),
                                    on_connected, &attempt);
  g_main_loop_run(attempt.loop.get());
  g_main_context_pop_thread_default(context);
  g_source_destroy(clock.get());
  *error = attempt.error;
  return std::move(attempt.connection);
}

GVariant* to_platform_data(const Activation& activation, const std::string& directory) {
  GVariantBuilder data;
  g_variant_builder_init(&data, G_VARIANT_TYPE_VARDICT);
  const auto add = [&](const char* key, const std::string& text) {
    if (!text.empty() && g_utf8_validate(text.c_str(), -1, nullptr) != FALSE)
      g_variant_builder_add(&data, "{sv}", key, g_variant_new_string(text.c_str()));
  };
  add(kStartupKey, activation.startup_id);
  add(kTokenKey, activation.token);
  g_variant_builder_add(&data, "{sv}", kDirectoryKey, g_variant_new_bytestring(directory.c_str()));
  return g_variant_builder_end(&data);
}

Activation activation_in(GVariant* platform_data) {
  return {text_in(platform_data, kStartupKey), text_in(platform_data, kTokenKey)};
}

std::string directory_in(GVariant* platform_data) {
  const char* directory = nullptr;
  return g_variant_lookup(platform_data, kDirectoryKey, "^&ay", &directory) != FALSE ? directory
                                                                                     : "";
}

}  // namespace desktop
