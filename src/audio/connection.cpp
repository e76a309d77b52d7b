// DESIGN: one main loop for the life of the engine, one context per connection. Everything that
// waits goes through wait_until, which wakes at least every 100 ms to check the clock and the
// connection, so neither a silent nor a dead server can hold up the control thread. If one request
// of a pass is not answered, the others of that pass are not waited for, so a hung server costs one
// time limit per pass, not one per request.

#include <pulse/rtclock.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <semaphore>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "app/logger.h"
#include "audio_private.h"
#include "block.h"
#include "crash/crash_handler.h"
#include "realtime/realtime.h"

namespace audio {

namespace {

constexpr const char* kLoopThreadName = "Velq-audio";
constexpr const char* kAppId = "org.velmora.Velmora";
constexpr const char* kIconName = "velmora";
constexpr std::chrono::seconds kLoopStart{2};  // until the loop thread runs
constexpr int kSecondMs = 1000;                // for a second connection
constexpr pa_usec_t kCheckUs = 100000;

// Set by the thread that starts and stops; the pointer is stable between.
pa_threaded_mainloop* g_ml = nullptr;
std::atomic<pid_t> g_loop_thread{0};   // set on the loop thread before g_loop_runs
std::binary_semaphore g_loop_runs{0};  // released by the loop thread, acquired by loop_start
pa_context* g_ctx = nullptr;           // main-loop lock
std::atomic<bool> g_ctx_lost{false};   // set on the loop thread, read anywhere
bool g_silent = false;                 // a request of this pass was dropped; main-loop lock
bool g_silence_logged = false;         // main-loop lock

struct OperationDeleter {
  void operator()(pa_operation* op) const { pa_operation_unref(op); }
};
using OperationPtr = std::unique_ptr<pa_operation, OperationDeleter>;

void on_wake(pa_mainloop_api* /*api*/, pa_time_event* /*event*/, const timeval* /*tv*/,
             void* /*user*/) {
  signal_loop();
}

// If its thread cannot be started, the library does not notice, and later waits for it.
bool can_start_thread() {
  try {
    std::thread([] {}).join();
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

void on_loop_started(pa_mainloop_api* /*api*/, void* /*user*/) {
  crash_handler::prepare_thread();
  g_loop_thread.store(gettid());
  g_loop_runs.release();
}

void on_ctx_state(pa_context* c, void* /*user*/) {
  if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(c))) {
    g_ctx_lost.store(true);
    mark_dirty();
  }
  signal_loop();
}

// Server events that may change where the sound must go.
void on_event(pa_context* /*c*/, pa_subscription_event_type_t type, std::uint32_t /*index*/,
              void* /*user*/) {
  const auto facility = type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
  const auto kind = type & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
  const bool matters =
      facility == PA_SUBSCRIPTION_EVENT_SINK ||
      (facility == PA_SUBSCRIPTION_EVENT_SERVER && kind == PA_SUBSCRIPTION_EVENT_CHANGE) ||
      facility == PA_SUBSCRIPTION_EVENT_SINK_INPUT;
  if (!matters) return;
  mark_dirty();
  // A changed stream may have been moved, or sound may follow. A removed one may have been the last
  // that kept a device awake.
  if (facility == PA_SUBSCRIPTION_EVENT_SINK_INPUT && kind != PA_SUBSCRIPTION_EVENT_REMOVE)
    expect_sound();
}

// Releases the lock until a signal, for 100 ms at most.
void wait_a_moment() {
  pa_time_event* timer =
      pa_context_rttime_new(g_ctx, pa_rtclock_now() + kCheckUs, on_wake, nullptr);
  pa_threaded_mainloop_wait(g_ml);
  if (timer != nullptr) pa_threaded_mainloop_get_api(g_ml)->time_free(timer);
}

// Waits for `done`, the deadline, patience_ends() or a broken connection, whichever is first.
template <typename Done>
bool wait_until(Clock::time_point deadline, Done done) {
  while (!done()) {
    const auto now = Clock::now();
    if (now >= deadline || now >= patience_ends()) return false;
    if (g_ctx == nullptr || !PA_CONTEXT_IS_GOOD(pa_context_get_state(g_ctx))) return false;
    wait_a_moment();
  }
  return true;
}

Clock::time_point in(int ms) {
  return Clock::now() + std::chrono::milliseconds(ms);
}

bool context_settled(pa_context* c) {
  switch (pa_context_get_state(c)) {
    case PA_CONTEXT_CONNECTING:
    case PA_CONTEXT_AUTHORIZING:
    case PA_CONTEXT_SETTING_NAME:
      return false;
    default:
      return true;
  }
}

void on_second_state(pa_context* /*c*/, void* /*user*/) {
  signal_loop();
}

pa_context* new_context() {
  const Proplist props("control");
  // PipeWire runs a recorded device in cycles of a power of two of frames, as long as the fragments
  // at most. Fragments of 10 ms make that 256, which a moment of 6 ms in which the machine stands
  // still is enough to lose, and they do not fit in: what is left over waits for up to 10 ms more.
  // Making them longer later keeps what is left over by then. So its server gives none that are
  // shorter than a cycle, whatever is requested.
  pa_proplist_sets(props.list, "pulse.min.frag", (std::to_string(kCycleFrames) + "/48000").c_str());
  return pa_context_new_with_proplist(pa_threaded_mainloop_get_api(g_ml), kAppName, props.list);
}

bool connect_context(pa_context* c, int ms) {
  return pa_context_connect(c, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0 &&
         wait_until(in(ms), [c] { return context_settled(c); }) &&
         pa_context_get_state(c) == PA_CONTEXT_READY;
}

void release_context(pa_context* c) {
  pa_context_set_state_callback(c, nullptr, nullptr);
  pa_context_disconnect(c);
  pa_context_unref(c);
}

}  // namespace

LoopLock::LoopLock() {
  pa_threaded_mainloop_lock(g_ml);
}
LoopLock::~LoopLock() {
  pa_threaded_mainloop_unlock(g_ml);
}

Proplist::Proplist(const char* media_name) : list(pa_proplist_new()) {
  pa_proplist_sets(list, PA_PROP_APPLICATION_NAME, kAppName);
  pa_proplist_sets(list, PA_PROP_APPLICATION_ID, kAppId);
  pa_proplist_sets(list, PA_PROP_APPLICATION_ICON_NAME, kIconName);
  pa_proplist_sets(list, PA_PROP_MEDIA_NAME, media_name);
}

Proplist::~Proplist() {
  pa_proplist_free(list);
}

bool loop_start() {
  g_ml = pa_threaded_mainloop_new();
  if (g_ml == nullptr) return false;
  pa_threaded_mainloop_set_name(g_ml, kLoopThreadName);
  // Runs on the loop's thread, before there is a connection.
  pa_mainloop_api_once(pa_threaded_mainloop_get_api(g_ml), on_loop_started, nullptr);
  if (!can_start_thread() || pa_threaded_mainloop_start(g_ml) != 0) {
    pa_threaded_mainloop_free(g_ml);
    g_ml = nullptr;
    return false;
  }
  if (!g_loop_runs.try_acquire_for(kLoopStart)) {
    g_ml = nullptr;  // not freed: the library would wait for a thread that may not exist
    return false;
  }
  // Requested here, not on that thread: loop_stop(), which withdraws it, may follow at once.
  realtime::request(g_loop_thread.load());
  return true;
}

void loop_stop() {
  realtime::withdraw();
  pa_threaded_mainloop_stop(g_ml);
  pa_threaded_mainloop_free(g_ml);
  g_ml = nullptr;
}

bool connection_lost() {
  return g_ctx_lost.load();
}

pa_mainloop_api* loop_api(const LoopLock& /*lock*/) {
  return pa_threaded_mainloop_get_api(g_ml);
}

pa_context* context(const LoopLock& /*lock*/) {
  return g_ctx;
}

bool connect_locked(const LoopLock& lock) {
  g_ctx = new_context();
  g_ctx_lost.store(false);
  if (g_ctx == nullptr) return false;
  pa_context_set_state_callback(g_ctx, on_ctx_state, nullptr);
  if (!connect_context(g_ctx, kRequestMs)) {
    disconnect_locked(lock);
    return false;
  }
  pa_context_set_subscribe_callback(g_ctx, on_event, nullptr);
  constexpr auto kMask = static_cast<pa_subscription_mask_t>(
      PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SINK_INPUT | PA_SUBSCRIPTION_MASK_SERVER);
  wait_op(lock, pa_context_subscribe(g_ctx, kMask, nullptr, nullptr));
  const char* server = pa_context_get_server(g_ctx);
  logger::info(std::string("Sound server connected: ") + (server == nullptr ? "?" : server));
  return true;
}

void disconnect_locked(const LoopLock& lock) {
  close_record(lock);
  close_play(lock);
  if (g_ctx == nullptr) return;
  pa_context_set_subscribe_callback(g_ctx, nullptr, nullptr);
  release_context(std::exchange(g_ctx, nullptr));
}

SecondConnection::SecondConnection(const LoopLock& /*lock*/) : context(new_context()) {
  if (context == nullptr) return;
  pa_context_set_state_callback(context, on_second_state, nullptr);
  if (!connect_context(context, kSecondMs)) release_context(std::exchange(context, nullptr));
}

SecondConnection::~SecondConnection() {
  if (context != nullptr) release_context(context);
}

void begin_pass(const LoopLock& /*lock*/) {
  g_silent = false;
}

bool server_silent(const LoopLock& /*lock*/) {
  return g_silent;
}

bool wait_for(const LoopLock& /*lock*/, pa_operation* op, int ms) {
  const bool ended =
      wait_until(in(ms), [op] { return pa_operation_get_state(op) != PA_OPERATION_RUNNING; });
  return ended && pa_operation_get_state(op) == PA_OPERATION_DONE;
}

bool wait_op(const LoopLock& lock, pa_operation* op, int ms) {
  if (op == nullptr) return false;
  const OperationPtr owner(op);
  if (!g_silent && wait_for(lock, op, ms)) {
    g_silence_logged = false;
    return true;
  }
  if (pa_operation_get_state(op) != PA_OPERATION_RUNNING) return false;
  pa_operation_cancel(op);
  if (!g_silent && !g_silence_logged) logger::warn("Sound server not answering - request dropped");
  g_silence_logged = true;
  g_silent = true;
  return false;
}

bool wait_stream_ready(const LoopLock& /*lock*/, pa_stream* stream) {
  const auto settled = [stream] { return pa_stream_get_state(stream) != PA_STREAM_CREATING; };
  if (!g_silent && wait_until(in(kStreamMs), settled) &&
      pa_stream_get_state(stream) == PA_STREAM_READY) {
    return true;
  }
  mark_dirty();
  return false;
}

void pause_unlocked(const LoopLock& /*lock*/, int ms) {
  wait_until(in(ms), [] { return false; });
}

bool wait_flag(const LoopLock& /*lock*/, const bool& flag, int ms) {
  return wait_until(in(ms), [&flag] { return flag; });
}

void signal_loop() {
  pa_threaded_mainloop_signal(g_ml, 0);
}

void on_success(pa_context* /*c*/, int success, void* user) {
  if (user != nullptr) *static_cast<bool*>(user) = success != 0;
  signal_loop();
}

void on_stream_state(pa_stream* s, void* /*user*/) {
  if (!PA_STREAM_IS_GOOD(pa_stream_get_state(s))) mark_dirty();
  signal_loop();
}

bool access_denied(const LoopLock& /*lock*/) {
  return g_ctx != nullptr && pa_context_errno(g_ctx) == PA_ERR_ACCESS;
}

std::string error_text(const LoopLock& /*lock*/) {
  return g_ctx == nullptr ? "not connected" : pa_strerror(pa_context_errno(g_ctx));
}

}  // namespace audio
