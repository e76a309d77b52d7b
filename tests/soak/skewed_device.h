// A device on a clock of its own, which plays 48000 x (1 + ppm/1000000) frames a second, as one
// with another crystal does, and remembers when it heard clicks. Its name is kSkewedDevice.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "pulse_client.h"
#include "sound_server.h"

namespace soak {

using Clock = std::chrono::steady_clock;

constexpr const char* kSkewedDevice = "skewed";
constexpr double kClickLevel = 0.1;

// When clicks were heard. Any thread.
class ClickLog {
 public:
  explicit ClickLog(double rate) : rate_(rate) {}
  // `samples` (stereo, in turn) began to be played at `begin`.
  void hear(std::span<const float> samples, Clock::time_point begin);
  // Those since the last call, oldest first.
  std::vector<Clock::time_point> take();

 private:
  const double rate_;  // frames per second
  std::mutex mutex_;
  std::vector<Clock::time_point> clicks_;
};

class SkewedDevice {
 public:
  virtual ~SkewedDevice() = default;
  virtual std::vector<Clock::time_point> take_clicks() = 0;
};

// PulseAudio: a pipe that is read at that pace. The module ends with the server.
std::unique_ptr<SkewedDevice> skewed_pipe(const support::SoundServer& server,
                                          support::PulseClient* client, double ppm);
// PipeWire: a sink that drives its own graph.
std::unique_ptr<SkewedDevice> skewed_driver(const support::SoundServer& server, double ppm);

}  // namespace soak
