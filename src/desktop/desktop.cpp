// DESIGN: one thread speaks to the bus and waits for none of its answers: it runs a loop of
// callbacks until it is asked to end. What it shares with the main thread is one record under one
// lock, held for a copy. The thread is not joined: a log line on a slow disk must not delay the end
// of the program.
#include "desktop/desktop.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "accessibility.h"
#include "app/logger.h"
#include "app/paths.h"
#include "application.h"
#include "bus.h"
#include "motion.h"
#include "tray.h"

namespace desktop {

namespace {

constexpr int kConnectMs = 1000;
constexpr const char* kNoBus = "unix:path=/nonexistent";
constexpr std::size_t kMostCommands = 64;
constexpr std::chrono::milliseconds kEndPatience{300};

// Created by connect on the main thread, then owned by the bus thread.
struct Bus {
  Owned<GMainContext> context;
  Owned<GMainLoop> loop;
  Owned<GDBusConnection> connection;
  std::string directory;  // of the settings
};

struct Shared {
  std::mutex m;  // guards all of it
  std::condition_variable ended;
  std::deque<Command> commands;
  State state;
  Bus* bus = nullptr;  // while its thread runs
};
// In place as long as the process lives: the thread may outlive main.
Shared& g_shared = *new Shared;

std::atomic<motion::Wish> g_wish{motion::Wish::kUnknown};
std::atomic<bool> g_reader_wanted{false};

std::unique_ptr<Bus> g_bus;  // main thread; between connect and start

bool submit(Command command) {
  const std::lock_guard lock(g_shared.m);
  if (g_shared.commands.size() >= kMostCommands) return false;
  g_shared.commands.push_back(std::move(command));
  return true;
}

State current_state() {
  const std::lock_guard lock(g_shared.m);
  return g_shared.state;
}

// The bus thread ------------------------------------------------------

gboolean on_new_state(void*) {
  const State state = current_state();
  application::set_state(state);
  tray::set_state(state);
  return G_SOURCE_REMOVE;
}

gboolean on_end(void* loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_REMOVE;
}

void on_closed(GDBusConnection*, gboolean, GError*, void* loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
}

void run(std::unique_ptr<Bus> bus) {
  pthread_setname_np(pthread_self(), "Velq-desktop");
  g_main_context_push_thread_default(bus->context.get());
  const gulong closed =
      g_signal_connect(bus->connection.get(), "closed", G_CALLBACK(on_closed), bus->loop.get());
  // A connection that has closed before sends no signal.
  if (g_dbus_connection_is_closed(bus->connection.get()) == FALSE &&
      application::begin(bus->connection.get(), bus->directory, current_state(), submit)) {
    tray::begin(bus->connection.get(), current_state(), submit);
    accessibility::begin(bus->connection.get(), [] { g_reader_wanted = true; });
    motion::begin(bus->connection.get(), [](motion::Wish wish) { g_wish = wish; });
    g_main_loop_run(bus->loop.get());
  }
  motion::end();
  accessibility::end();
  tray::end();
  application::end();
  g_signal_handler_disconnect(bus->connection.get(), closed);
  g_main_context_pop_thread_default(bus->context.get());
  const std::lock_guard lock(g_shared.m);
  g_shared.bus = nullptr;
  g_shared.ended.notify_all();
}

// The window's library connects to both buses, and waits without a limit for one that accepts and
// never answers.
void hide_system_bus_that_hangs() {
  const Owned<GMainContext> context(g_main_context_new());
  std::string error;
  if (::bus::connect_within(kConnectMs, ::bus::system_address(), context.get(), nullptr, &error) !=
      nullptr) {
    return;
  }
  logger::info("No system bus: " + error);
  setenv("DBUS_SYSTEM_BUS_ADDRESS", kNoBus, 1);
}

// Makes the bus thread call a function. Call it with the lock held.
void hand_over(GSourceFunc function, void* data) {
  const Owned<GSource> source(g_idle_source_new());
  g_source_set_callback(source.get(), function, data, nullptr);
  g_source_attach(source.get(), g_shared.bus->context.get());
}

}  // namespace

void connect() {
  const std::string address = ::bus::session_address();
  if (address.empty()) return;
  auto bus = std::make_unique<Bus>();
  bus->context.reset(g_main_context_new());
  bus->loop.reset(g_main_loop_new(bus->context.get(), FALSE));
  std::string error;
  bus->connection = ::bus::connect_within(kConnectMs, address, bus->context.get(), nullptr, &error);
  if (bus->connection == nullptr) {
    logger::info("No session bus: " + error);
    setenv("DBUS_SESSION_BUS_ADDRESS", kNoBus, 1);
    return;
  }
  std::error_code unknown;
  bus->directory = std::filesystem::canonical(paths::config_dir(), unknown).string();
  g_bus = std::move(bus);
  hide_system_bus_that_hangs();
}

void start(const State& state) {
  if (g_bus == nullptr) return;
  const std::lock_guard lock(g_shared.m);
  g_shared.state = state;
  g_shared.bus = g_bus.get();
  try {
    std::thread(run, std::move(g_bus)).detach();
  } catch (const std::system_error& error) {
    logger::warn(std::string("No session bus: ") + error.what());
    g_shared.bus = nullptr;
  }
}

bool take(Command* command) {
  const std::lock_guard lock(g_shared.m);
  if (g_shared.commands.empty()) return false;
  *command = std::move(g_shared.commands.front());
  g_shared.commands.pop_front();
  return true;
}

bool reader_wanted() {
  return g_reader_wanted;
}

void publish(const State& state) {
  const std::lock_guard lock(g_shared.m);
  if (g_shared.bus == nullptr || g_shared.state == state) return;
  g_shared.state = state;
  hand_over(on_new_state, nullptr);
}

bool reduced_motion(bool toolkits_rest) {
  switch (g_wish.load()) {
    case motion::Wish::kUnknown:
      return toolkits_rest;
    case motion::Wish::kFull:
      return false;
    case motion::Wish::kToolkitsRest:
    case motion::Wish::kReduced:
      break;
  }
  return true;
}

void stop() {
  std::unique_lock lock(g_shared.m);
  if (g_shared.bus == nullptr) return;
  hand_over(on_end, g_shared.bus->loop.get());
  g_shared.ended.wait_for(lock, kEndPatience, [] { return g_shared.bus == nullptr; });
}

}  // namespace desktop
