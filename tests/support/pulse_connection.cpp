// DESIGN: a wait looks again and again, because the library's own has no deadline, and a frozen
// server would never end it.
#include "pulse_connection.h"

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <thread>
#include <utility>

#include "temp_dir.h"

namespace support {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::microseconds kPause{200};  // between two looks for an answer

// The sound library reads defaults from the environment and creates a cookie in the home directory
// if there is none. Neither the person's choices nor the person's files are to be touched, so both
// are led elsewhere once for the whole test program, before the library has any thread.
void leave_the_persons_session_alone() {
  static const TempDir directory;
  static const bool done = [] {
    for (const char* name : {"PULSE_SINK", "PULSE_SOURCE", "PULSE_LATENCY_MSEC", "PULSE_PROP"})
      unsetenv(name);
    const auto configuration = directory.path() / "client.conf";
    std::ofstream(configuration) << "autospawn = no\n";
    setenv("PULSE_CLIENTCONFIG", configuration.c_str(), 1);
    setenv("PULSE_COOKIE", (directory.path() / "cookie").c_str(), 1);
    return true;
  }();
  static_cast<void>(done);
}

}  // namespace

PulseConnection::PulseConnection(std::string address, std::string application_name)
    : address_(std::move(address)), application_name_(std::move(application_name)) {
  leave_the_persons_session_alone();
  loop_ = pa_threaded_mainloop_new();
  if (loop_ == nullptr || pa_threaded_mainloop_start(loop_) != 0)
    throw std::runtime_error("cannot start the sound library's main loop");
}

PulseConnection::~PulseConnection() {
  pa_threaded_mainloop_stop(loop_);
  disconnect();
  pa_threaded_mainloop_free(loop_);
}

void PulseConnection::disconnect() {
  if (context_ == nullptr) return;
  pa_context_disconnect(context_);
  pa_context_unref(context_);
  context_ = nullptr;
}

pa_context* PulseConnection::context() {
  const auto state = [this] { return pa_context_get_state(context_); };
  if (context_ != nullptr && state() == PA_CONTEXT_READY) return context_;
  disconnect();
  const std::string what = "connect to " + address_;
  context_ = pa_context_new(pa_threaded_mainloop_get_api(loop_), application_name_.c_str());
  if (pa_context_connect(context_, address_.c_str(), PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
    throw error(what);
  const bool settled = wait(
      kAnswerLimit, [&] { return state() == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state()); });
  if (!settled) throw std::runtime_error(what + ": no answer");
  if (state() != PA_CONTEXT_READY) throw error(what);
  return context_;
}

bool PulseConnection::wait(std::chrono::milliseconds limit,
                           const std::function<bool()>& condition) const {
  const auto deadline = Clock::now() + limit;
  while (!condition()) {
    if (Clock::now() >= deadline) return false;
    unlock();
    std::this_thread::sleep_for(kPause);
    lock();
  }
  return true;
}

void PulseConnection::finish(pa_operation* operation, const std::string& what) const {
  if (operation == nullptr) throw error(what);
  const bool answered = wait(kAnswerLimit, [operation] {
    return pa_operation_get_state(operation) != PA_OPERATION_RUNNING;
  });
  const bool done = pa_operation_get_state(operation) == PA_OPERATION_DONE;
  if (!answered) pa_operation_cancel(operation);
  pa_operation_unref(operation);
  if (!answered) throw std::runtime_error(what + ": no answer");
  if (!done) throw error(what);
}

std::runtime_error PulseConnection::error(const std::string& what) const {
  return std::runtime_error(what + ": " + pa_strerror(pa_context_errno(context_)));
}

PulseStream::PulseStream(const std::string& address, const std::string& application_name,
                         const std::string& stream_name)
    : PulseConnection(address, application_name) {
  const std::lock_guard guard(*this);
  const pa_sample_spec format{PA_SAMPLE_FLOAT32LE, kRate, kChannels};
  stream_ = pa_stream_new(context(), stream_name.c_str(), &format, nullptr);
  if (stream_ == nullptr) throw error("new stream " + stream_name);
}

PulseStream::~PulseStream() {
  const std::lock_guard guard(*this);
  pa_stream_set_read_callback(stream_, nullptr, nullptr);
  pa_stream_set_write_callback(stream_, nullptr, nullptr);
  pa_stream_disconnect(stream_);
  pa_stream_unref(stream_);
}

void PulseStream::wait_until_ready(int connected, const std::string& what) const {
  wait(kAnswerLimit, [this] { return pa_stream_get_state(stream_) != PA_STREAM_CREATING; });
  if (connected != 0 || pa_stream_get_state(stream_) != PA_STREAM_READY) throw error(what);
}

bool PulseStream::failed() const {
  const std::lock_guard guard(*this);
  return pa_stream_get_state(stream_) != PA_STREAM_READY;
}

}  // namespace support
