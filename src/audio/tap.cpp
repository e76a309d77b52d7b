#include "tap.h"

#include <algorithm>
#include <cmath>
#include <mutex>

namespace audio {

namespace {

void raise(std::atomic<float>* peak, float value) {
  float before = peak->load(std::memory_order_relaxed);
  while (value > before && !peak->compare_exchange_weak(before, value)) {
  }
}

}  // namespace

void Tap::push(std::span<const float> samples) {
  float left = 0.0F;
  float right = 0.0F;
  {
    const std::lock_guard lock(mtx_);
    for (std::size_t i = 0; i + 1 < samples.size(); i += 2) {
      const auto at = static_cast<std::size_t>(position_);
      left_[at] = samples[i];
      right_[at] = samples[i + 1];
      position_ = (position_ + 1) % kFrames;
      left = std::max(left, std::abs(samples[i]));
      right = std::max(right, std::abs(samples[i + 1]));
    }
    ++serial_;
  }
  raise(&peak_left_, left);
  raise(&peak_right_, right);
}

bool Tap::copy(float* left, float* right, int n, std::uint64_t* serial) {
  const std::lock_guard lock(mtx_);
  if (serial != nullptr) *serial = serial_;
  if (serial_ == 0) return false;
  const int count = std::clamp(n, 0, kFrames);
  const int from = (position_ - count + kFrames) % kFrames;
  const int first = std::min(count, kFrames - from);
  const auto copy_ring = [&](const std::array<float, kFrames>& ring, float* out) {
    std::copy_n(ring.begin() + from, first, out);
    std::copy_n(ring.begin(), count - first, out + first);
  };
  copy_ring(left_, left);
  copy_ring(right_, right);
  return true;
}

void Tap::consume_peaks(float* left, float* right) {
  *left = peak_left_.exchange(0.0F);
  *right = peak_right_.exchange(0.0F);
}

}  // namespace audio
