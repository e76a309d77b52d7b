// DESIGN: one thread speaks to readers, in a context of its own: connecting waits for the
// accessibility bus, and a reader that asks for hundreds of things must not hold a frame. What it
// shares with the main thread is one record under one lock, held for a copy. The thread is not
// joined: neither a bus that hangs nor a log line on a slow disk may hold the end of the program.
#include "reader/reader.h"

#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "app/logger.h"
#include "bus/bus.h"
#include "crash/crash_handler.h"
#include "library.h"
#include "tree.h"

namespace reader {

namespace {

using bus::Owned;

constexpr std::size_t kMostCommands = 64;
constexpr std::chrono::milliseconds kEndPatience{300};

struct Shared {
  std::mutex m;  // guards all of it
  std::condition_variable ended;
  bool running = false;  // the thread
  bool told = true;      // it has been asked to take the window
  Window window;
  std::deque<Command> commands;
};
// In place as long as the process lives: the thread may outlive main.
Shared& g_shared = *new Shared;

// Made by start, on the main thread; then the thread's.
struct Loop {
  Owned<GMainContext> context;
  Owned<GMainLoop> loop;
};
Loop& g_loop = *new Loop;
bool g_started = false;  // main thread

// The reader's thread
// ------------------------------------------------------------------------------------------------

void submit(Command command) {
  const std::lock_guard lock(g_shared.m);
  if (g_shared.commands.size() < kMostCommands) g_shared.commands.push_back(std::move(command));
}

Window take_window() {
  const std::lock_guard lock(g_shared.m);
  g_shared.told = false;
  return g_shared.window;
}

gboolean on_window(void* /*data*/) {
  show(take_window());
  return G_SOURCE_REMOVE;
}

gboolean on_end(void* /*data*/) {
  g_main_loop_quit(g_loop.loop.get());
  return G_SOURCE_REMOVE;
}

void speak() {
  if (!load()) {
    logger::info("A screen reader is there, but libatk-bridge-2.0 is not installed");
    return;
  }
  make_root(submit);
  show(take_window());
  if (library().connect(nullptr, nullptr) != 0) {
    logger::info("A screen reader is there, but no accessibility bus");
    return;
  }
  library().set_context(g_loop.context.get());
  logger::info("Connected to the accessibility bus");
  g_main_loop_run(g_loop.loop.get());
}

void run() {
  pthread_setname_np(pthread_self(), "Velq-reader");
  crash_handler::prepare_thread();
  g_main_context_push_thread_default(g_loop.context.get());
  speak();
  g_main_context_pop_thread_default(g_loop.context.get());
  const std::lock_guard lock(g_shared.m);
  g_shared.running = false;
  g_shared.ended.notify_all();
}

// Has the thread call a function. Under the lock.
void hand_over(GSourceFunc function) {
  const Owned<GSource> source(g_idle_source_new());
  g_source_set_callback(source.get(), function, nullptr, nullptr);
  g_source_attach(source.get(), g_loop.context.get());
}

}  // namespace

void start() {
  if (std::exchange(g_started, true)) return;
  g_loop.context.reset(g_main_context_new());
  g_loop.loop.reset(g_main_loop_new(g_loop.context.get(), FALSE));
  const std::lock_guard lock(g_shared.m);
  try {
    std::thread(run).detach();
    g_shared.running = true;
  } catch (const std::system_error& error) {
    logger::warn(std::string("No screen reader: ") + error.what());
  }
}

bool take(Command* command) {
  const std::lock_guard lock(g_shared.m);
  if (g_shared.commands.empty()) return false;
  *command = std::move(g_shared.commands.front());
  g_shared.commands.pop_front();
  return true;
}

void publish(const Window& window) {
  const std::lock_guard lock(g_shared.m);
  if (!g_shared.running || g_shared.window == window) return;
  g_shared.window = window;
  if (!std::exchange(g_shared.told, true)) hand_over(on_window);
}

void stop() {
  std::unique_lock lock(g_shared.m);
  if (!g_shared.running) return;
  hand_over(on_end);
  g_shared.ended.wait_for(lock, kEndPatience, [] { return !g_shared.running; });
}

}  // namespace reader
