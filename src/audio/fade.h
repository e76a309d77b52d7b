// Short fades where music begins or ends with us: a stream that is moved to us begins in the middle
// of its sound, and what we stop playing ends there. Pure arithmetic on samples. Loop thread.
#pragma once

#include <span>

namespace audio {

class Fade {
 public:
  // The next sound fades in, if it comes within two seconds of samples.
  void restart();
  // Everything from the next sample on fades out, and silence follows until restart().
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
