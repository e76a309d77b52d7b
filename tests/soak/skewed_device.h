// A device on a clock of its own, which plays 48000 x (1 + ppm/1000000) frames a second, as one
// with another crystal does, and remembers when it heard clicks. Its name is kSkewedDevice.
#pragma once

#include <mutex>
#include <span>

#include "soak.h"

namespace soak {

constexpr const char* kSkewedDevice = "skewed";
constexpr double kClickLevel = 0.1;

class SkewedDevice {
 public:
  explicit SkewedDevice(double ppm) : rate_(kRate * (1 + ppm * 1e-6)) {}
  virtual ~SkewedDevice() = default;
  SkewedDevice(const SkewedDevice&) = delete;
  SkewedDevice& operator=(const SkewedDevice&) = delete;

  // When clicks were heard since the last call, oldest first.
  std::vector<Clock::time_point> take_clicks();

 protected:
  // `samples` (stereo, in turn) began to be played at `begin`. Any thread.
  void hear(std::span<const float> samples, Clock::time_point begin);

  const double rate_;  // frames per second

 private:
  std::mutex mutex_;
  std::vector<Clock::time_point> clicks_;
};

// PulseAudio: a pipe that is read at that pace. The module ends with the server.
std::unique_ptr<SkewedDevice> skewed_pipe(const SoundServer& server, PulseClient* client,
                                          double ppm);
// PipeWire: a sink that drives its own graph.
std::unique_ptr<SkewedDevice> skewed_driver(const SoundServer& server, double ppm);

}  // namespace soak
