// Another program that plays something: a playback stream on a connection of its own. It keeps
// playing across moves to other sinks; it survives a server that is frozen, killed or gone
// (failed() then tells) and ends cleanly.
//
// Levels are dB of full scale for the peak of a sine: 0 dB = amplitude 1.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "pulse_connection.h"

namespace support {

// Fills interleaved stereo frames, of which the first is number `first_frame` since the stream
// began (48000 a second). Called on the player's library thread, in order, without gaps.
using Generator = std::function<void(std::uint64_t first_frame, std::span<float> interleaved)>;

struct Sine {
  enum Channel { kBoth, kLeft, kRight };

  double frequency_hz = 1000;
  double level_db = -20;
  Channel channel = kBoth;
};

Generator silence();
// The sum of the sines.
Generator sines(std::vector<Sine> parts);
// One sample of this level on both channels at the start of every interval, silence between.
Generator clicks(std::chrono::milliseconds interval, double level_db = -6);
// Uniform white noise, the same for the same seed, independent on both channels.
Generator noise(std::uint32_t seed, double level_db = -20);

struct TonePlayerOptions {
  std::string application_name = "Test player";
  std::string stream_name = "tone";
  std::string device{};  // name of the sink, empty = the server's default
  std::chrono::milliseconds latency{
      200};  // buffer to be kept filled, long enough for a busy machine
  pa_stream_flags_t flags = PA_STREAM_NOFLAGS;  // further flags, e.g. PA_STREAM_DONT_MOVE
};

class TonePlayer {
 public:
  using Options = TonePlayerOptions;

  // Connects, starts playing and waits until the server plays the stream. Throws std::runtime_error
  // when it refuses or does not answer.
  TonePlayer(const std::string& address, Generator generator, Options options = {});
  ~TonePlayer();
  TonePlayer(const TonePlayer&) = delete;
  TonePlayer& operator=(const TonePlayer&) = delete;

  // Name of the sink it plays to, as the server tells the program itself.
  [[nodiscard]] std::string sink() const;
  // How often the server ran out of samples so far.
  [[nodiscard]] int underruns() const { return underruns_.load(); }
  // The stream has ended against the player's will.
  [[nodiscard]] bool failed() const;

 private:
  static void on_state(pa_stream* stream, void* self);
  static void on_write(pa_stream* stream, std::size_t bytes, void* self);
  static void on_underflow(pa_stream* stream, void* self);
  void open(const LoopLock& lock);
  void close(const LoopLock& lock);

  Options options_;
  PulseConnection connection_;
  pa_stream* stream_ = nullptr;
  Generator generator_;         // under the main-loop lock
  std::uint64_t position_ = 0;  // frames made so far; under the main-loop lock
  std::vector<float> scratch_;  // library thread only
  std::atomic<int> underruns_{0};
};

}  // namespace support
