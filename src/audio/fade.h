// Short fades where sound begins or ends because of us: a stream that is moved to our sink begins
// in the middle of its sound, and ends there when we stop playing it. Pure arithmetic on samples.
// Loop thread.
#pragma once

#include <span>

namespace audio {

class Fade {
 public:
  // Fades in the next sound, if it comes within two seconds of samples.
  void restart();
  // Fades out from the next sample on; then silence, until restart().
  void begin_out();
  // Interleaved stereo, in place.
  void apply(std::span<float> samples);
  // Whether the fade-out is complete.
  [[nodiscard]] bool gone() const { return state_ == State::kGone; }

 private:
  enum class State { kNone, kAwaited, kIn, kOut, kGone };

  State state_ = State::kNone;
  int left_ = 0;  // frames of the fade; while a sound is awaited, frames to wait for it
};

}  // namespace audio
