// One connection to a sound server, as a program of its own would have it: the base under the
// control client, the player and the recorder.
//
// The library's thread runs the callbacks; everything else holds the lock while it touches the
// library's objects. Every wait has a deadline, so that a frozen or killed server costs a test a
// message and no more.
#pragma once

#include <pulse/pulseaudio.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

#include "analysis.h"

namespace support {

// How long a server may take to answer one request. Generous: sanitizers and a busy machine are
// slow.
constexpr std::chrono::milliseconds kAnswerLimit{5000};

class PulseConnection {
 public:
  // Sets everything up without connecting.
  //   address            the server's address, "unix:/..."
  //   application_name   the "application.name" that others see
  PulseConnection(std::string address, std::string application_name);
  ~PulseConnection();
  PulseConnection(const PulseConnection&) = delete;
  PulseConnection& operator=(const PulseConnection&) = delete;

  // For std::lock_guard; held by the callers of all that follows.
  void lock() const { pa_threaded_mainloop_lock(loop_); }
  void unlock() const { pa_threaded_mainloop_unlock(loop_); }

  // A connection that stands, built anew when the last was lost.
  // Throws std::runtime_error when the server cannot be reached.
  pa_context* context();
  // Waits, with the lock released, until `condition` holds; false when it does not in time.
  bool wait(std::chrono::milliseconds limit, const std::function<bool()>& condition) const;
  // Waits for a request to be answered and releases it.
  //   what   for the error text
  // Throws std::runtime_error when the request could not be sent, failed for want of a connection
  // or went unanswered for kAnswerLimit.
  void finish(pa_operation* operation, const std::string& what) const;
  // The library's text for its last error as an exception "what: text".
  [[nodiscard]] std::runtime_error error(const std::string& what) const;

 private:
  void disconnect();

  std::string address_;
  std::string application_name_;
  pa_threaded_mainloop* loop_ = nullptr;
  pa_context* context_ = nullptr;
};

constexpr std::size_t kChannels = 2;
constexpr std::size_t kFrameBytes = kChannels * sizeof(float);
constexpr std::uint32_t kServerChooses = 0xFFFFFFFF;  // a size in a pa_buffer_attr

// A connection with one stream of float stereo frames. No callback comes once it is gone: what
// callbacks use is to be declared before it.
class PulseStream : public PulseConnection {
 public:
  PulseStream(const std::string& address, const std::string& application_name,
              const std::string& stream_name);
  ~PulseStream();

  [[nodiscard]] pa_stream* get() const { return stream_; }
  // Waits, with the lock held, until the server has accepted the stream. Throws std::runtime_error
  // when it refuses or does not answer.
  //   connected   what the library's function to connect it has returned
  void wait_until_ready(int connected, const std::string& what) const;
  // It has ended against its owner's will.
  [[nodiscard]] bool failed() const;

 private:
  pa_stream* stream_ = nullptr;
};

}  // namespace support
