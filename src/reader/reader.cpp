// DESIGN: one thread serves readers, in a context of its own: connecting waits for the
// accessibility bus, and a reader with hundreds of questions must not delay a frame. What it shares
// with the main thread is one record under one lock, held for a copy. The thread is not joined:
// neither a hung bus nor a log line on a slow disk may delay the end of the program.
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
#include "keys.h"
#include "library.h"
#include "tree.h"

namespace reader {

namespace {

using bus::Owned;

constexpr std::size_t kMostCommands = 64;
constexpr std::size_t kMostKeys = 64;
constexpr std::chrono::milliseconds kEndPatience{300};

struct Shared {
  std::mutex m;  // guards all of it
  std::condition_variable ended;
  bool running = false;  // the thread
  bool told = true;      // it has been asked to take the window
  Window window;
  std::deque<Command> commands;
  std::deque<Offer> keys;  // that the reader has not been asked about
  std::deque<Answer> answers;
};
// In place as long as the process lives: the thread may outlive main.
Shared& g_shared = *new Shared;

// Created by start on the main thread; then the reader's thread owns it.
struct Loop {
  Owned<GMainContext> context;
  Owned<GMainLoop> loop;
};
Loop& g_loop = *new Loop;
bool g_started = false;      // main thread
unsigned g_last_number = 0;  // main thread: of a key
bool g_asking = false;       // the thread's: it waits for an answer about a key

// The reader's thread -------------------------------------------------

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

bool next_key(Offer* offer) {
  const std::lock_guard lock(g_shared.m);
  if (g_shared.keys.empty()) return false;
  *offer = std::move(g_shared.keys.front());
  g_shared.keys.pop_front();
  return true;
}

// While a reader is asked about a key, this loop goes on, so that it can ask in return. The keys
// that come meanwhile wait for their turn.
gboolean on_key(void* /*data*/) {
  if (std::exchange(g_asking, true)) return G_SOURCE_REMOVE;
  for (Offer offer; next_key(&offer);) {
    const bool taken = ask_about(offer.key);
    const std::lock_guard lock(g_shared.m);
    g_shared.answers.push_back({offer.number, taken});
  }
  g_asking = false;
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
  accept_listeners();
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

// Makes the thread call a function. Call it with the lock held.
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

unsigned offer(const Key& key) {
  if (!hears_keys()) return 0;
  const std::lock_guard lock(g_shared.m);
  if (!g_shared.running || g_shared.keys.size() >= kMostKeys) return 0;
  g_shared.keys.push_back({++g_last_number, key});
  hand_over(on_key);
  return g_last_number;
}

bool take(Answer* answer) {
  const std::lock_guard lock(g_shared.m);
  if (g_shared.answers.empty()) return false;
  *answer = g_shared.answers.front();
  g_shared.answers.pop_front();
  return true;
}

void stop() {
  std::unique_lock lock(g_shared.m);
  if (!g_shared.running) return;
  g_shared.keys.clear();
  hand_over(on_end);
  g_shared.ended.wait_for(lock, kEndPatience, [] { return !g_shared.running; });
}

}  // namespace reader
