// DESIGN: while the window is open, a thread writes, so that no frame waits for a disk. It writes
// only the newest record of each file.
#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "app/device_presets.h"
#include "app/logger.h"
#include "app/settings.h"
#include "settings_file.h"

namespace settings {
namespace {

constexpr const char* kThreadName = "Velq-saver";
constexpr std::chrono::minutes kSaveAgain{1};  // after a save that failed

// The newest records that are not written yet.
struct Work {
  std::optional<Settings> settings;
  std::optional<DevicePresets> devices;

  [[nodiscard]] bool any() const { return settings || devices; }

  // A record that cannot be written stays.
  void write() {
    if (settings && write_file(*settings)) settings.reset();
    if (devices && write_file(*devices)) devices.reset();
  }

  // Puts back the records that have not been replaced by newer ones.
  void put_back(Work older) {
    if (!settings) settings = std::move(older.settings);
    if (!devices) devices = std::move(older.devices);
  }
};

struct Saver {
  std::mutex mutex;  // guards all but the thread
  std::condition_variable changed;
  Work next;
  bool running = false;
  bool ending = false;
  std::thread thread;  // the thread that starts and stops the saver
};
// Never destroyed: a program that ends without stopping the saver must not wait for it.
Saver& g_saver = *new Saver;

void save_until_stopped() {
  Saver& saver = g_saver;
  std::unique_lock lock(saver.mutex);
  const auto woken = [&] { return saver.next.any() || saver.ending; };
  for (;;) {
    saver.changed.wait(lock, woken);
    if (!saver.next.any()) return;
    Work work = std::exchange(saver.next, {});
    lock.unlock();
    work.write();
    lock.lock();
    if (!work.any() || (saver.ending && !saver.next.any())) continue;
    // The disk may have room again later.
    saver.changed.wait_for(lock, kSaveAgain, woken);
    saver.next.put_back(std::move(work));
  }
}

template <typename Record>
bool save_later_or_now(std::optional<Record> Work::*at, const Record& record) {
  {
    const std::lock_guard lock(g_saver.mutex);
    if (g_saver.running) {
      g_saver.next.*at = record;
      g_saver.changed.notify_all();
      return true;
    }
  }
  return write_file(record);
}

}  // namespace

bool save(const Settings& s) {
  return save_later_or_now(&Work::settings, s);
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

namespace device_presets {

bool save(const DevicePresets& presets) {
  return settings::save_later_or_now(&settings::Work::devices, presets);
}

}  // namespace device_presets
