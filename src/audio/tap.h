// The newest samples and the peaks, for the display. Lives for the whole run and survives
// reconnects.
//
// Threads: the loop thread pushes, any thread reads. The lock is held for a copy only.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <span>

#include "priority_mutex.h"

namespace audio {

class Tap {
 public:
  static constexpr int kFrames = 8192;

  // Interleaved stereo, of any length.
  void push(std::span<const float> samples);

  // Copies the newest min(n, kFrames) frames, oldest first. `serial` receives the number of pushes
  // since the start; may be null. Returns false, and writes no samples, before the first push.
  bool copy(float* left, float* right, int n, std::uint64_t* serial);

  // Largest absolute sample of each channel since the last call; resets them.
  void consume_peaks(float* left, float* right);

 private:
  PriorityMutex mtx_;  // guards the ring
  std::array<float, kFrames> left_{};
  std::array<float, kFrames> right_{};
  int position_ = 0;  // of the next frame
  std::uint64_t serial_ = 0;

  std::atomic<float> peak_left_{0.0F};
  std::atomic<float> peak_right_{0.0F};
};

}  // namespace audio
