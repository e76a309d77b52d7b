// What waits in the playback stream: how long the queue is, how it is kept near its target, and how
// it follows the device's clock.
//
// Holds everything that begins and ends with a playback stream: the cushion, the drift control, the
// resampler and the server's last timing report. Knows no server; allocates nothing. Loop thread.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>

#include "cushion.h"
#include "drift.h"
#include "resampler.h"

namespace audio {

class PlayQueue {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr int kMaxFrames = Cushion::kMaxFrames;  // longest block: 10 ms
  static_assert(kMaxFrames <= Resampler::kMaxFrames);

  // Why the queue is empty.
  enum class Start {
    kOpened,  // a new stream: another device, another clock
    kWoken,   // the same device, after the stream was corked and flushed
    kRanDry,  // underrun: sound came too late
  };

  // The server's timing report on the stream.
  struct Timing {
    std::int64_t fill_us = 0;    // in the stream, not yet taken by the device
    std::int64_t device_us = 0;  // taken, not yet heard
    bool playing = false;
  };

  void restart(Start why, Clock::time_point now);
  void report(const Timing& timing, Clock::time_point now);

  // Takes the next block of interleaved stereo, which is changed in place, and calls `write` with
  // what to write to the stream, in order. Returns false when the block was dropped.
  //   following   samples of the same fragment that come right after the block
  template <typename Write>
  bool put(std::span<float> block, std::size_t following, Clock::time_point now, Write write) {
    arrived(now);
    const Plan plan = decide(block, following, now);
    counts_.lost += block.size() - std::min(block.size(), plan.samples.size());
    if (std::exchange(begun_, true)) counts_.inserted += plan.pad_samples;
    if (plan.dropped) return false;
    for (std::size_t left = plan.pad_samples; left > 0;) {
      const std::size_t n = std::min(left, kSilence.size());
      pass(std::span(kSilence).first(n), plan.speed, write);
      left -= n;
    }
    pass(plan.samples, plan.speed, write);
    return true;
  }

  // Samples since the last call.
  struct Counts {
    std::size_t lost = 0;      // of the blocks, not written
    std::size_t inserted = 0;  // of silence, but for what precedes the first sound
  };
  Counts take_counts() { return std::exchange(counts_, {}); }

  // How long the queue is now, in us; Cushion::kUnknown while the server has not reported.
  [[nodiscard]] std::int64_t length_us(Clock::time_point now) const;
  // The same only while the device plays, else 0.
  [[nodiscard]] std::int64_t playing_us(Clock::time_point now) const;

 private:
  static constexpr std::int64_t kNeverSeen = std::numeric_limits<std::int64_t>::max();
  static constexpr std::array<float, std::size_t{2} * kMaxFrames> kSilence{};

  struct Plan {
    bool dropped = false;
    std::size_t pad_samples = 0;  // silence first
    std::span<const float> samples;
    double speed = 0.0;
  };

  void arrived(Clock::time_point now);
  [[nodiscard]] std::int64_t lateness_us(Clock::time_point now) const;
  Plan decide(std::span<float> block, std::size_t following, Clock::time_point now);
  double speed_for(std::int64_t queue_us, std::size_t samples);

  template <typename Write>
  void pass(std::span<const float> samples, double speed, Write write) {
    const std::span<const float> out = resampler_.process(samples, speed);
    if (out.empty()) return;
    write(out);
    timing_.fill_us += duration_us(out.size());
  }
  static std::int64_t duration_us(std::size_t samples);

  Cushion cushion_;
  DriftControl drift_;
  Resampler resampler_;

  Counts counts_;
  bool begun_ = false;  // sound has been written since the stream was opened or woken
  bool woken_ = false;  // nothing has been written since
  bool known_ = false;  // the server has reported since the restart
  Timing timing_;       // as last reported, plus what was written since
  Clock::time_point reported_at_;
  std::int64_t device_least_us_ = kNeverSeen;  // smallest while it played

  Clock::time_point block_at_;  // when the last block came
  std::int64_t late_us_ = 0;    // how long the last late one had been waited for
};

}  // namespace audio
