// The resampler between two clocks: plays sound very slightly faster or slower.
//
// Pure arithmetic; allocates nothing. Loop thread.
#pragma once

#include <array>
#include <span>

#include "block.h"

namespace audio {

// A fractional delay that grows or shrinks. While the speed has been 0 from the start, the delay is
// a whole number of frames and the samples are unchanged.
class Resampler {
 public:
  static constexpr int kTaps = 48;          // input frames that one output frame is made of
  static constexpr int kDelay = kTaps / 2;  // frames
  static constexpr int kMaxOutput = kBlockFrames + 2;

  Resampler();

  // Starts as if after silence.
  void restart();

  // Interleaved stereo, at most kBlockFrames frames. The result is valid until the next call and as
  // long as the block, plus or minus a frame.
  //   speed   how much faster than as recorded: 0.0002 is 200 parts per million
  std::span<const float> process(std::span<const float> block, double speed);

 private:
  static constexpr int kPhases = 512;
  static constexpr int kChannels = 2;

  void interpolate(std::size_t first, double fraction, float* out) const;

  // One row more, so that every phase has a next one.
  std::array<std::array<float, kTaps>, kPhases + 1> kernel_{};
  std::array<float, std::size_t{kTaps + kBlockFrames} * kChannels> input_{};
  std::array<float, std::size_t{kMaxOutput} * kChannels> output_{};
  int frames_ = 0;         // in input_
  double position_ = 0.0;  // of the next output frame, in input_
};

}  // namespace audio
