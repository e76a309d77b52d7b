#include "equalizer.h"

#include <algorithm>

namespace audio {

namespace {

constexpr float kRateHz = 48000.0F;
constexpr int kChannels = 2;
constexpr int kBlendFrames = 480;  // 10 ms from one curve to the next
constexpr int kSilentBlocks = 1000;

bool is_silent(std::span<const float> samples) {
  return std::ranges::all_of(samples, [](float x) { return x == 0.0F; });
}

}  // namespace

void Equalizer::set_curve(const eq::Curve& curve) {
  const std::lock_guard lock(curve_mtx_);
  curve_ = curve;
  curve_version_.fetch_add(1, std::memory_order_release);
}

void Equalizer::restart() {
  processor_.set_format(kRateHz, kChannels);
  blend_left_ = 0;
}

bool Equalizer::silent() const {
  return silent_blocks_ >= kSilentBlocks;
}

// A new curve waits until the crossfade to the previous one has ended.
void Equalizer::apply_new_curve() {
  if (blend_left_ > 0 || curve_version_.load(std::memory_order_acquire) == applied_version_) return;
  eq::Curve curve;
  {
    const std::unique_lock lock(curve_mtx_, std::try_to_lock);
    if (!lock) return;
    curve = curve_;
    applied_version_ = curve_version_.load(std::memory_order_relaxed);
  }
  before_ = processor_;
  processor_.set_curve(curve);
  blend_left_ = silent() ? 0 : kBlendFrames;
}

void Equalizer::apply_unheard() {
  blend_left_ = 0;
  apply_new_curve();
  blend_left_ = 0;
}

void Equalizer::process(std::span<float> samples) {
  apply_new_curve();
  if (!is_silent(samples)) {
    silent_blocks_ = 0;
  } else if (silent()) {
    return;
  } else if (++silent_blocks_ == kSilentBlocks) {
    processor_.reset();
    blend_left_ = 0;
    return;
  }
  filter(samples);
}

// A sudden change of coefficients or gain clicks. So both curves are applied for a moment and
// crossfaded.
void Equalizer::filter(std::span<float> samples) {
  const int frames = static_cast<int>(samples.size()) / kChannels;
  if (blend_left_ == 0) {
    processor_.process(samples.data(), frames);
    return;
  }
  const std::span<float> before = std::span(blend_).first(samples.size());
  std::ranges::copy(samples, before.begin());
  before_.process(before.data(), frames);
  processor_.process(samples.data(), frames);
  for (std::size_t i = 0; i < samples.size() && blend_left_ > 0; --blend_left_) {
    const float weight = (static_cast<float>(blend_left_) - 0.5F) / kBlendFrames;
    for (int c = 0; c < kChannels; ++c, ++i)
      samples[i] += weight * (before[i] - samples[i]);
  }
}

}  // namespace audio
