// Records what a sink plays (or any source) into memory, with short fragments and on a connection
// of its own.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "analysis.h"
#include "pulse_connection.h"

namespace support {

struct RecorderOptions {
  std::string application_name = "Test recorder";
  // Length of the fragments asked for. It also sets the pace of a PulseAudio device that nobody
  // else hurries.
  std::chrono::milliseconds fragment{10};
};

class Recorder {
 public:
  using Options = RecorderOptions;

  // Connects and waits until the server records. Throws std::runtime_error when it refuses or does
  // not answer.
  //   source   e.g. "speakers.monitor"
  Recorder(const std::string& address, const std::string& source, const Options& options = {});
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  // Frames recorded so far; a point in time for window().
  [[nodiscard]] std::size_t frames() const;
  // The frames [from, to), cut at what there is.
  [[nodiscard]] Stereo window(std::size_t from, std::size_t to) const;
  // The newest frames, fewer when there are not that many.
  [[nodiscard]] Stereo newest(std::chrono::milliseconds length) const;
  // Frames are counted from here.
  void forget();
  // Waits for new sound of this length and returns it. Throws std::runtime_error when it takes
  // longer than the length plus kAnswerLimit.
  Stereo next(std::chrono::milliseconds length);

  // Name of the source it records, as the server tells the program itself.
  [[nodiscard]] std::string source() const;
  // The stream has ended against the recorder's will.
  [[nodiscard]] bool failed() const;

 private:
  static void on_state(pa_stream* stream, void* self);
  static void on_read(pa_stream* stream, std::size_t bytes, void* self);
  void open(const LoopLock& lock, const std::string& source, const Options& options);
  void close(const LoopLock& lock);
  [[nodiscard]] Stereo cut(std::size_t from, std::size_t to) const;

  PulseConnection connection_;
  pa_stream* stream_ = nullptr;
  // Under the main-loop lock.
  std::vector<float> samples_;  // interleaved
};

}  // namespace support
