// Another program that plays something: a playback stream on a connection of its own. It keeps
// playing across moves to other sinks; it survives a server that is frozen, killed or gone
// (failed() then tells) and ends cleanly.
//
// Levels are dB of full scale for the peak of a sine: 0 dB = amplitude 1.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "pulse_connection.h"

namespace support {

inline constexpr const char* kMusic = "Test player";

// Fills interleaved stereo frames, of which the first is number `first_frame` since the stream
// began (48000 a second). Called on the player's library thread, in order, without gaps.
using Generator = std::function<void(std::uint64_t first_frame, std::span<float> interleaved)>;

struct Sine {
  enum Channel { kBoth, kLeft, kRight };

  double frequency_hz = 1000;
  double level_db = -20;
  Channel channel = kBoth;
};

// The sum of the sines; of none: silence.
Generator sines(std::vector<Sine> parts);
// One sample of this level on both channels at the start of every interval, silence between.
Generator clicks(std::chrono::milliseconds interval, double level_db = -6);
// Uniform white noise, the same for the same seed, independent on both channels.
Generator noise(std::uint32_t seed, double level_db = -20);

struct TonePlayerOptions {
  std::string application_name = kMusic;
  std::string stream_name = "tone";
  std::string device{};  // name of the sink, empty = the server's default
  // Buffer to be kept filled, long enough for a busy machine.
  std::chrono::milliseconds latency{200};
};

class TonePlayer {
 public:
  // Connects, starts playing and waits until the server plays the stream. Throws std::runtime_error
  // when it refuses or does not answer.
  TonePlayer(const std::string& address, Generator generator,
             const TonePlayerOptions& options = {});

  // The stream has ended against the player's will.
  [[nodiscard]] bool failed() const { return stream_.failed(); }

 private:
  static void on_write(pa_stream* stream, std::size_t bytes, void* self);

  // Under the stream's lock.
  Generator generator_;
  std::uint64_t position_ = 0;  // frames made so far
  std::vector<float> scratch_;
  PulseStream stream_;
};

}  // namespace support
