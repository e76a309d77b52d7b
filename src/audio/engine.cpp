// DESIGN: callers store wishes and read results under one short mutex; the control thread turns
// wishes and server events into passes. A pass takes a snapshot of the whole server and brings it
// into the wanted state, so it does not matter which event woke it or whether several came at once.
// A failed pass is repeated after increasing pauses.

#include <sys/prctl.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "app/logger.h"
#include "audio/guard.h"
#include "audio_private.h"
#include "crash/crash_handler.h"
#include "priority_mutex.h"
#include "stream_path.h"

namespace audio {

namespace {

using std::chrono::milliseconds;

constexpr const char* kControlThreadName = "Velq-control";
constexpr milliseconds kLookAgain{2000};  // of a passive or disconnected engine
constexpr milliseconds kSettle{60};       // a burst of events is handled in one pass
constexpr milliseconds kMaxRetry{1000};   // between passes that fail
// Limit for all requests of stop() together; the program has five seconds to end.
constexpr milliseconds kStopLimit{4000};
constexpr std::chrono::seconds kStatsEvery{60};

PriorityMutex g_mtx;  // guards all up to the next comment
Wakeup g_wakeup;
bool g_dirty = false;
bool g_quit = false;
std::optional<bool> g_want_active;
std::string g_want_output;
std::string g_restore_hint;
int g_want_mute = -1;
bool g_takeover = false;
Status g_status;
std::vector<Device> g_devices;

std::atomic<Clock::rep> g_patience_ends{Clock::time_point::max().time_since_epoch().count()};

// When to try again to start the threads; kNever while they run or are not wanted.
constexpr Clock::rep kNever = std::numeric_limits<Clock::rep>::max();
std::atomic<Clock::rep> g_try_again_at{kNever};

std::mutex g_start_mtx;  // held while threads are started or stopped
std::thread g_thread;    // g_start_mtx
std::atomic<bool> g_started{false};
bool g_failure_logged = false;  // g_start_mtx

// Control thread only.
int g_failures = 0;                 // passes in a row that failed
bool g_unreachable_logged = false;  // the warning was logged and no connection succeeded since

template <typename F>
void change_wish(F&& change) {
  {
    const std::lock_guard lock(g_mtx);
    if (!change()) return;
    g_dirty = true;
  }
  g_wakeup.notify();
}

bool connected() {
  const LoopLock lock;
  return context(lock) != nullptr && !connection_lost();
}

bool sound_missed() {
  const LoopLock lock;
  return record_missed(lock);
}

// Waits until there is something to do. Returns false when the engine is to stop.
bool wait_for_work(bool idle_work) {
  std::unique_lock lock(g_mtx);
  const auto woken = [] { return g_dirty || g_quit; };
  if (!g_wakeup.wait_for(lock, kLookAgain, woken)) {
    // No event came: only a passive or disconnected engine looks again unprompted.
    g_dirty = idle_work || g_status.state == kPassive;
  }
  return !g_quit;
}

// Lets a burst of events pass, longer after failures. Returns false when the engine is to stop.
bool settle() {
  const auto pause = std::min(kMaxRetry, kSettle * (1 << std::min(g_failures, 5)));
  std::unique_lock lock(g_mtx);
  return !g_wakeup.wait_for(lock, pause, [] { return g_quit; });
}

Wishes consume_wishes() {
  const std::lock_guard lock(g_mtx);
  g_dirty = false;
  return {g_want_active, g_want_output, g_restore_hint, std::exchange(g_want_mute, -1), g_takeover};
}

// A mute wish that was not carried out is kept for the next pass, unless there is a newer one.
void keep_mute_wish(int mute) {
  const std::lock_guard lock(g_mtx);
  if (g_want_mute < 0) g_want_mute = mute;
}

bool ensure_connected(const LoopLock& lock, const Wishes& wishes) {
  if (connection_lost()) {
    disconnect_locked(lock);
    forget_module();
  }
  if (context(lock) != nullptr) return true;
  if (connect_locked(lock)) {
    begin_connection();
    suggest_follow(wishes.restore_hint);
    g_unreachable_logged = false;
    return true;
  }
  if (!std::exchange(g_unreachable_logged, true)) logger::warn("No sound server reachable");
  publish_state(kNoServer);
  return false;
}

// One pass. Returns whether everything was done.
bool run_pass(Wishes* wishes) {
  const LoopLock lock;
  begin_pass(lock);
  if (!ensure_connected(lock, *wishes)) return false;
  const bool done = reconcile(lock, wishes);
  if (!server_silent(lock)) log_hardware(lock);
  return done && !connection_lost();
}

void restore() {
  const LoopLock lock;
  begin_pass(lock);
  const bool connected = context(lock) != nullptr && !connection_lost();
  const bool restored = connected && restore_server(lock, consume_wishes().takeover);
  disconnect_locked(lock);
  // The server may still recover or come back. The guard can wait for it longer than a program that
  // must end, and knows whether there is anything to undo.
  if (!restored) guard::abandon();
}

void control_loop() {
  prctl(PR_SET_NAME, kControlThreadName);
  crash_handler::prepare_thread();
  auto last_stats = Clock::now();
  for (;;) {
    if (Clock::now() - last_stats >= kStatsEvery) {
      last_stats = Clock::now();
      report_stats();
    }
    guard::tick();
    report_dry_moment(Clock::now());
    if (sound_missed()) mark_dirty();
    if (!wait_for_work(!connected())) break;
    {
      const std::lock_guard lock(g_mtx);
      if (!g_dirty) continue;
    }
    if (!settle()) break;
    Wishes wishes = consume_wishes();
    if (run_pass(&wishes)) {
      g_failures = 0;
    } else {
      ++g_failures;
      keep_mute_wish(wishes.mute);
      mark_dirty();
    }
  }
  restore();
  report_totals();
}

bool not_started(const std::string& why) {
  if (!std::exchange(g_failure_logged, true))
    logger::error("The audio engine cannot be started: " + why);
  publish_state(kNoServer);
  g_try_again_at.store((Clock::now() + kLookAgain).time_since_epoch().count());
  return false;
}

bool start_threads() {
  if (!loop_start()) return not_started("no main loop");
  restart_path();
  try {
    g_thread = std::thread(control_loop);
  } catch (const std::system_error& error) {
    loop_stop();
    return not_started(error.what());
  }
  g_try_again_at.store(kNever);
  return true;
}

// If no thread could be started, that may work now. Without threads of our own, the callers'
// questions about the status are the only occasion to try.
void try_again() {
  if (Clock::now().time_since_epoch().count() < g_try_again_at.load()) return;
  const std::unique_lock lock(g_start_mtx, std::try_to_lock);
  if (lock && g_try_again_at.load() != kNever) start_threads();
}

}  // namespace

void mark_dirty() {
  {
    const std::lock_guard lock(g_mtx);
    g_dirty = true;
  }
  g_wakeup.notify();
}

Clock::time_point patience_ends() {
  return Clock::time_point(Clock::duration(g_patience_ends.load()));
}

void publish_state(State state) {
  const std::lock_guard lock(g_mtx);
  g_status.state = state;
  g_status.streams_alive = false;
}

void publish_follow(const std::string& device) {
  const std::lock_guard lock(g_mtx);
  g_status.follow = device;
}

void publish_status(const Status& status, std::vector<Device> devices) {
  const std::lock_guard lock(g_mtx);
  // The user sees the requested mute, even before the server has carried it out.
  const bool muted = g_want_mute >= 0 ? g_want_mute == 1 : status.muted;
  g_status = status;
  g_status.muted = muted;
  g_devices = std::move(devices);
}

bool start(bool takeover) {
  const std::lock_guard starting(g_start_mtx);
  if (g_started.exchange(true)) return true;
  {
    const std::lock_guard lock(g_mtx);
    g_takeover = takeover;
    g_quit = false;
    g_dirty = true;
  }
  g_patience_ends.store(Clock::time_point::max().time_since_epoch().count());
  return start_threads();
}

void stop() {
  const std::lock_guard stopping(g_start_mtx);
  if (!g_started.exchange(false)) return;
  if (g_try_again_at.exchange(kNever) != kNever) return;
  g_patience_ends.store((Clock::now() + kStopLimit).time_since_epoch().count());
  {
    const std::lock_guard lock(g_mtx);
    g_quit = true;
  }
  g_wakeup.notify();
  g_thread.join();
  loop_stop();
}

void set_active(bool active) {
  change_wish([active] { return std::exchange(g_want_active, active) != active; });
}

void set_output(const std::string& name) {
  change_wish([&name] {
    if (g_want_output == name) return false;
    g_want_output = name;
    return true;
  });
}

// Another platform has something to set up here.
void setup_devices() {}

void set_mute(bool mute) {
  change_wish([mute] {
    g_status.muted = mute;
    g_want_mute = mute ? 1 : 0;
    return true;
  });
}

void set_restore_hint(const std::string& name) {
  const std::lock_guard lock(g_mtx);
  g_restore_hint = name;
}

Status status() {
  try_again();
  const std::lock_guard lock(g_mtx);
  return g_status;
}

void read_status(Status* status) {
  try_again();
  const std::lock_guard lock(g_mtx);
  *status = g_status;
}

std::vector<Device> devices() {
  const std::lock_guard lock(g_mtx);
  return g_devices;
}

}  // namespace audio
