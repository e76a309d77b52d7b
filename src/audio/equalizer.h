// The equalizer of the audio path: one processor, a crossfade from one curve to the next, and
// silence that costs nothing.
//
// Threads: set_curve may be called from any thread; everything else on the loop thread, or while it
// does not run. Allocates nothing and waits for nothing: a curve whose lock is taken is applied at
// the next block.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <span>

#include "block.h"
#include "dsp/eq_dsp.h"

namespace audio {

class Equalizer {
 public:
  // The curve to apply from the next block on. The last call before a block counts.
  void set_curve(const eq::Curve& curve);

  // A new capture: the filters' memory is cleared and an unfinished crossfade ends. The curve
  // stays, and so does the count of silence, so that a sleeping device stays asleep.
  void restart();

  // Applies the newest curve without a crossfade, as the output is not heard now.
  void apply_unheard();

  // Equalizes interleaved stereo in place, at most kBlockFrames frames.
  void process(std::span<float> samples);

  // Whether it has been silent for ten seconds. By then the filters have stopped ringing, and the
  // device may sleep.
  [[nodiscard]] bool silent() const;

 private:
  void apply_new_curve();
  void filter(std::span<float> samples);

  eq::Processor processor_;
  eq::Processor before_;  // with the previous curve, while blend_left_ is not 0
  int blend_left_ = 0;    // frames of the crossfade
  int silent_blocks_ = 0;
  std::uint32_t applied_version_ = 0;
  std::array<float, std::size_t{2} * kBlockFrames> blend_{};

  std::mutex curve_mtx_;
  eq::Curve curve_;  // curve_mtx_
  std::atomic<std::uint32_t> curve_version_{0};
};

}  // namespace audio
