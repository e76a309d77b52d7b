// DESIGN: only connecting waits, and a timer ends that.
#include "bus/bus.h"

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <latch>
#include <system_error>
#include <thread>
#include <utility>

namespace bus {

namespace {

constexpr int kSpareThreads = 3;  // as many as the library may start for a connection

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// Whether a few more threads can be started: if the library cannot start its own, it aborts the
// program.
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
  return G_SOURCE_CONTINUE;  // its completion ends the loop
}

void on_withdrawn(GCancellable* /*withdrawn*/, void* attempt) {
  g_cancellable_cancel(static_cast<GCancellable*>(attempt));
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

std::string session_address() {
  const std::string address = variable("DBUS_SESSION_BUS_ADDRESS");
  if (!address.empty()) return address.starts_with("autolaunch:") ? "" : address;
  const std::string socket = variable("XDG_RUNTIME_DIR") + "/bus";
  if (socket.front() != '/' || socket == "/bus" || access(socket.c_str(), F_OK) != 0) return "";
  return "unix:path=" + std::string(Owned<char>(g_dbus_address_escape_value(socket.c_str())).get());
}

std::string system_address() {
  const std::string address = variable("DBUS_SYSTEM_BUS_ADDRESS");
  return address.empty() ? "unix:path=/run/dbus/system_bus_socket" : address;
}

Owned<GDBusConnection> connect_within(int timeout_ms, const std::string& address,
                                      GMainContext* context, GCancellable* withdrawn,
                                      std::string* error) {
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
  const gulong link =
      withdrawn == nullptr
          ? 0
          : g_cancellable_connect(withdrawn, G_CALLBACK(on_withdrawn), cancellable.get(), nullptr);
  const auto flags =
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  g_main_context_push_thread_default(context);
  g_dbus_connection_new_for_address(address.c_str(), flags, nullptr, cancellable.get(),
                                    on_connected, &attempt);
  g_main_loop_run(attempt.loop.get());
  g_main_context_pop_thread_default(context);
  g_source_destroy(clock.get());
  g_cancellable_disconnect(withdrawn, link);
  *error = attempt.error;
  return std::move(attempt.connection);
}

}  // namespace bus
