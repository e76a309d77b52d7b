// DESIGN: a wait is the library's own (signalled by callbacks) plus a timer that wakes it now and
// then, because the library has no wait with a deadline and a frozen server never signals.
#include "pulse_connection.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "temp_dir.h"

namespace support {
namespace {

constexpr pa_usec_t kWakeInterval = 50'000;

// The sound library reads defaults from the environment and creates a cookie in the home directory
// if there is none. Neither the person's choices nor the person's files are to be touched, so both
// are led elsewhere once for the whole test program, before the library has any thread.
void leave_the_persons_session_alone() {
  static const TempDir directory;
  static const bool done = [] {
    for (const char* name : {"PULSE_SINK", "PULSE_SOURCE", "PULSE_LATENCY_MSEC", "PULSE_PROP"}) {
      unsetenv(name);
    }
    const auto configuration = directory.path() / "client.conf";
    std::ofstream(configuration) << "autospawn = no\n";
    setenv("PULSE_CLIENTCONFIG", configuration.c_str(), 1);
    setenv("PULSE_COOKIE", (directory.path() / "cookie").c_str(), 1);
    return true;
  }();
  static_cast<void>(done);
}

void on_context_state(pa_context*, void* self) {
  static_cast<PulseConnection*>(self)->signal();
}

void on_wake(pa_mainloop_api*, pa_time_event*, const timeval*, void* self) {
  static_cast<PulseConnection*>(self)->signal();
}

}  // namespace

PulseConnection::LoopLock::LoopLock(pa_threaded_mainloop* loop) : loop_(loop) {
  pa_threaded_mainloop_lock(loop_);
}

PulseConnection::LoopLock::~LoopLock() {
  pa_threaded_mainloop_unlock(loop_);
}

PulseConnection::PulseConnection(std::string address, std::string application_name)
    : address_(std::move(address)), application_name_(std::move(application_name)) {
  leave_the_persons_session_alone();
  loop_ = pa_threaded_mainloop_new();
  if (loop_ == nullptr || pa_threaded_mainloop_start(loop_) != 0) {
    throw std::runtime_error("cannot start the sound library's main loop");
  }
}

PulseConnection::~PulseConnection() {
  {
    const LoopLock held = lock();
    disconnect();
  }
  pa_threaded_mainloop_stop(loop_);
  pa_threaded_mainloop_free(loop_);
}

void PulseConnection::disconnect() {
  if (context_ == nullptr) return;
  pa_context_set_state_callback(context_, nullptr, nullptr);
  pa_context_disconnect(context_);
  pa_context_unref(context_);
  context_ = nullptr;
}

void PulseConnection::connect(const LoopLock& lock) {
  if (connected(lock)) return;
  disconnect();
  context_ = pa_context_new(pa_threaded_mainloop_get_api(loop_), application_name_.c_str());
  pa_context_set_state_callback(context_, on_context_state, this);
  if (pa_context_connect(context_, address_.c_str(), PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
    throw error(lock, "connect to " + address_);
  }
  const bool settled = wait(lock, kAnswerLimit, [this] {
    const pa_context_state_t state = pa_context_get_state(context_);
    return state == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state);
  });
  if (!settled) {
    disconnect();
    throw std::runtime_error("connect to " + address_ + ": no answer");
  }
  if (!connected(lock)) throw error(lock, "connect to " + address_);
}

bool PulseConnection::connected(const LoopLock&) const {
  return context_ != nullptr && pa_context_get_state(context_) == PA_CONTEXT_READY;
}

bool PulseConnection::wait(const LoopLock&, std::chrono::milliseconds limit,
                           const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  pa_mainloop_api* const api = pa_threaded_mainloop_get_api(loop_);
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    pa_time_event* const timer =
        pa_context_rttime_new(context_, pa_rtclock_now() + kWakeInterval, on_wake, this);
    pa_threaded_mainloop_wait(loop_);
    if (timer != nullptr) api->time_free(timer);
  }
  return true;
}

void PulseConnection::finish(const LoopLock& lock, pa_operation* operation,
                             const std::string& what) {
  if (operation == nullptr) throw error(lock, what);
  const bool answered = wait(lock, kAnswerLimit, [operation] {
    return pa_operation_get_state(operation) != PA_OPERATION_RUNNING;
  });
  const bool done = pa_operation_get_state(operation) == PA_OPERATION_DONE;
  if (!answered) pa_operation_cancel(operation);
  pa_operation_unref(operation);
  if (!answered) throw std::runtime_error(what + ": no answer");
  if (!done) throw error(lock, what);
}

bool PulseConnection::wait_until_ready(const LoopLock& lock, pa_stream* stream) {
  wait(lock, kAnswerLimit, [stream] { return pa_stream_get_state(stream) != PA_STREAM_CREATING; });
  return pa_stream_get_state(stream) == PA_STREAM_READY;
}

std::runtime_error PulseConnection::error(const LoopLock&, const std::string& what) const {
  return std::runtime_error(what + ": " + pa_strerror(pa_context_errno(context_)));
}

}  // namespace support
