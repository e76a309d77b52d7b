// Records what a sink plays (or any source) into memory, with short fragments and on a connection
// of its own.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "analysis.h"
#include "pulse_connection.h"

namespace support {

class Recorder {
 public:
  // Connects and waits until the server records. Throws std::runtime_error when it refuses or does
  // not answer.
  //   source   e.g. "speakers.monitor"
  Recorder(const std::string& address, const std::string& source);

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

 private:
  static void on_read(pa_stream* stream, std::size_t bytes, void* self);

  std::vector<float> samples_;  // interleaved; under the stream's lock
  PulseStream stream_;
};

}  // namespace support
