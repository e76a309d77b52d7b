// One connection to a sound server, as a program of its own would have it: the base under the
// control client, the player and the recorder.
//
// The library's thread runs the callbacks; everything else holds a LoopLock while it touches the
// library's objects. Every wait has a deadline, so that a frozen or killed server costs a test a
// message and no more.
#pragma once

#include <pulse/pulseaudio.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

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

  // Holds the main-loop lock for a scope.
  class LoopLock {
   public:
    explicit LoopLock(pa_threaded_mainloop* loop);
    ~LoopLock();
    LoopLock(const LoopLock&) = delete;
    LoopLock& operator=(const LoopLock&) = delete;

   private:
    pa_threaded_mainloop* loop_;
  };
  [[nodiscard]] LoopLock lock() const { return LoopLock(loop_); }

  // Makes sure that the connection stands, building a new one when the last was lost.
  // Throws std::runtime_error when the server cannot be reached.
  void connect(const LoopLock& lock);
  // Whether the connection stands, as far as is known now.
  [[nodiscard]] bool connected(const LoopLock& lock) const;

  // Waits, with the lock released, until `condition` holds; it is asked whenever a callback
  // signals.
  bool wait(const LoopLock& lock, std::chrono::milliseconds limit,
            const std::function<bool()>& condition);
  // Waits for a request to be answered and releases it.
  //   what   for the error text
  // Throws std::runtime_error when the request could not be sent, failed for want of a connection
  // or went unanswered for kAnswerLimit.
  void finish(const LoopLock& lock, pa_operation* operation, const std::string& what);
  // Waits until the server has answered a stream's wish to be connected; false when it has not, or
  // refused.
  bool wait_until_ready(const LoopLock& lock, pa_stream* stream);
  // The library's text for its last error as an exception "what: text".
  [[nodiscard]] std::runtime_error error(const LoopLock& lock, const std::string& what) const;

  [[nodiscard]] pa_context* context(const LoopLock&) const { return context_; }
  [[nodiscard]] pa_threaded_mainloop* loop() const { return loop_; }
  // To be called by callbacks when something that is waited for may have happened.
  void signal() const { pa_threaded_mainloop_signal(loop_, 0); }

 private:
  void disconnect();

  std::string address_;
  std::string application_name_;
  pa_threaded_mainloop* loop_ = nullptr;
  pa_context* context_ = nullptr;
};

using LoopLock = PulseConnection::LoopLock;

// A property list that goes with its owner.
using PropertyList = std::unique_ptr<pa_proplist, decltype(&pa_proplist_free)>;

}  // namespace support
