#include "fade.h"

#include <cstddef>

namespace audio {

namespace {

constexpr int kFadeFrames = 240;       // 5 ms
constexpr int kAwaitedFrames = 96000;  // 2 s, for streams that are moved when playback begins

}  // namespace

void Fade::restart() {
  state_ = State::kAwaited;
  left_ = kAwaitedFrames;
}

void Fade::begin_out() {
  state_ = State::kOut;
  left_ = kFadeFrames;
}

void Fade::apply(std::span<float> samples) {
  for (std::size_t i = 0; i + 1 < samples.size(); i += 2) {
    float* const frame = &samples[i];
    if (state_ == State::kAwaited) {
      if (frame[0] == 0.0F && frame[1] == 0.0F && --left_ > 0) continue;
      state_ = left_ > 0 ? State::kIn : State::kNone;
      left_ = kFadeFrames;
    }
    if (state_ == State::kNone) return;
    const float rest = (static_cast<float>(left_) - 0.5F) / kFadeFrames;
    const float gain = state_ == State::kIn ? 1.0F - rest : state_ == State::kOut ? rest : 0.0F;
    frame[0] *= gain;
    frame[1] *= gain;
    if (state_ != State::kGone && --left_ == 0)
      state_ = state_ == State::kIn ? State::kNone : State::kGone;
  }
}

}  // namespace audio
