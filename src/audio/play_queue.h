// The playback queue: keeps it at its target length, and follows the device's clock.
//
// Owns all state with the lifetime of a playback stream: meter, cushion, drift control and
// resampler. Knows no server; allocates nothing. Loop thread.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "cushion.h"
#include "drift.h"
#include "queue_meter.h"
#include "resampler.h"

namespace audio {

class PlayQueue {
 public:
  using Clock = std::chrono::steady_clock;

  // Why the queue is empty.
  enum class Start {
    kOpened,  // a new stream: another device, another clock
    kWoken,   // the same device, after the stream was flushed
    kRanDry,  // underrun: sound came too late
  };

  using Timing = QueueMeter::Timing;

  void restart(Start why, Clock::time_point now);
  // The server's report, made at the time `at`.
  void report(const Timing& timing, Clock::time_point at) { meter_.report(timing, at); }
  // Whether the reports show that the server has lost count of the stream, which only a flush
  // repairs. Call it with each report.
  [[nodiscard]] bool miscounted(const Timing& timing) { return meter_.miscounted(timing); }
  // Whether to ask the server for a report now. Call once after each fragment.
  bool wants_report() { return meter_.wants_report(); }

  // Takes the next block of interleaved stereo, which is changed in place, and calls `write` with
  // what to write to the stream, in order. Returns false when the block was dropped.
  //   following   samples of the same fragment that come right after the block
  template <typename Write>
  bool put(std::span<float> block, std::size_t following, Clock::time_point now, Write write) {
    arrived(block.size(), following, now);
    const Plan plan = decide(block, following, now);
    counts_.lost += block.size() - std::min(block.size(), plan.samples.size());
    if (std::exchange(begun_, true)) counts_.inserted += plan.pad_samples;
    if (plan.dropped) return false;
    for (std::size_t left = plan.pad_samples; left > 0;) {
      const std::size_t n = std::min(left, kSilence.size());
      pass(std::span(kSilence).first(n), plan.speed, write);
      left -= n;
    }
    // In pieces: the cushion may have drawn the block out.
    for (std::span<const float> rest = plan.samples; !rest.empty();) {
      const std::size_t n = std::min(rest.size(), kSilence.size());
      pass(rest.first(n), plan.speed, write);
      rest = rest.subspan(n);
    }
    return true;
  }

  // Samples since the last call.
  struct Counts {
    std::size_t lost = 0;      // of the blocks, not written
    std::size_t inserted = 0;  // of silence, but for what precedes the first sound
  };
  Counts take_counts() { return std::exchange(counts_, {}); }

  // The length of the queue now, in us; Cushion::kUnknown until the server has reported.
  [[nodiscard]] std::int64_t length_us(Clock::time_point now) const;
  // The same only while the device plays, else 0.
  [[nodiscard]] std::int64_t playing_us(Clock::time_point now) const;
  // What would be lost now with the stream, in us: never more than has been written since the
  // restart, whatever the server reports, and all of that while it has not.
  [[nodiscard]] std::int64_t held_us(Clock::time_point now) const;

 private:
  static constexpr std::array<float, std::size_t{2} * kBlockFrames> kSilence{};

  struct Plan {
    bool dropped = false;
    std::size_t pad_samples = 0;  // silence first
    std::span<const float> samples;
    double speed = 0.0;
  };

  void arrived(std::size_t samples, std::size_t following, Clock::time_point now);
  [[nodiscard]] std::int64_t lateness_us(Clock::time_point now) const;
  Plan decide(std::span<float> block, std::size_t following, Clock::time_point now);
  void align(std::optional<std::int64_t> excess_us);
  double speed_for(std::optional<std::int64_t> excess_us, std::size_t samples);

  template <typename Write>
  void pass(std::span<const float> samples, double speed, Write write) {
    const std::span<const float> out = resampler_.process(samples, speed);
    if (out.empty()) return;
    write(out);
    meter_.wrote(out.size() / 2);
  }
  static std::int64_t duration_us(std::size_t samples);

  QueueMeter meter_;
  Cushion cushion_;
  DriftControl drift_;
  Resampler resampler_;

  Counts counts_;
  bool begun_ = false;    // sound has been written since the stream was opened or woken
  bool fresh_ = true;     // nothing has been written since the restart
  bool aligned_ = false;  // the queue has been measured and brought to its target

  Clock::time_point block_at_;  // when the last block came
  std::int64_t late_us_ = 0;    // how long the last late one had been waited for
};

}  // namespace audio
