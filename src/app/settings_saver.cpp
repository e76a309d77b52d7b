// DESIGN: while the window is open, a thread writes, so no frame waits for a disk. It takes the
// newest record, and only that one.
#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "app/logger.h"
#include "app/settings.h"
#include "settings_file.h"

namespace settings {
namespace {

constexpr const char* kThreadName = "Velq-saver";
constexpr std::chrono::minutes kSaveAgain{1};  // after a save that failed

struct Saver {
  std::mutex mutex;  // guards all but the thread
  std::condition_variable changed;
  std::optional<Settings> next;  // the newest record that is not written yet
  bool running = false;
  bool ending = false;
  std::thread thread;  // the thread that starts and stops the saver
};
// Never destroyed: a program that ends without stopping the saver must not wait for it.
Saver& g_saver = *new Saver;

void save_until_stopped() {
  Saver& saver = g_saver;
  std::unique_lock lock(saver.mutex);
  for (;;) {
    saver.changed.wait(lock, [&] { return saver.next || saver.ending; });
    if (!saver.next) return;
    Settings s = *std::exchange(saver.next, std::nullopt);
    lock.unlock();
    const bool written = write_file(s);
    lock.lock();
    if (written || saver.next || saver.ending) continue;
    // The disk may have room again later.
    saver.changed.wait_for(lock, kSaveAgain, [&] { return saver.next || saver.ending; });
    if (!saver.next) saver.next = std::move(s);
  }
}

}  // namespace

bool save(const Settings& s) {
  {
    const std::lock_guard lock(g_saver.mutex);
    if (g_saver.running) {
      g_saver.next = s;
      g_saver.changed.notify_all();
      return true;
    }
  }
  return write_file(s);
}

void start_saver(void (*prepare)()) {
  const std::lock_guard lock(g_saver.mutex);
  if (g_saver.running) return;
  try {
    g_saver.thread = std::thread([prepare] {
      pthread_setname_np(pthread_self(), kThreadName);
      prepare();
      save_until_stopped();
    });
    g_saver.running = true;
  } catch (const std::system_error& error) {
    logger::warn(std::string("Settings are saved without a thread: ") + error.what());
  }
}

void stop_saver() {
  {
    const std::lock_guard lock(g_saver.mutex);
    if (!std::exchange(g_saver.running, false)) return;
    g_saver.ending = true;
    g_saver.changed.notify_all();
  }
  g_saver.thread.join();
  g_saver.ending = false;
}

}  // namespace settings
