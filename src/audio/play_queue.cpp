#include "play_queue.h"

#include <utility>

namespace audio {

namespace {

constexpr std::int64_t kLateUs = 15000;  // between two blocks: half a block too much

std::int64_t us_between(PlayQueue::Clock::time_point from, PlayQueue::Clock::time_point to) {
  return std::chrono::duration_cast<std::chrono::microseconds>(to - from).count();
}

}  // namespace

std::int64_t PlayQueue::duration_us(std::size_t samples) {
  return static_cast<std::int64_t>(samples / 2) * 1000000 / 48000;
}

void PlayQueue::restart(Start why, Clock::time_point now) {
  switch (why) {
    case Start::kOpened:
      cushion_.restart();
      drift_.forget();
      timing_ = {};
      break;
    case Start::kWoken:
      cushion_.restart();
      drift_.restart();
      break;
    case Start::kRanDry:
      // The drift control restarts with the first report, at the speed of now until then.
      cushion_.ran_dry(lateness_us(now));
      break;
  }
  begun_ = why == Start::kRanDry;
  woken_ = why == Start::kWoken;
  resampler_.restart();
  // What was written while the news of an underrun was on its way already waits in the stream. And
  // the device's own delay may have grown: then the queue looked longer than it was.
  known_ = false;
  device_least_us_ = kNeverSeen;
}

void PlayQueue::report(const Timing& timing, Clock::time_point now) {
  timing_ = timing;
  reported_at_ = now;
  // A suspended or unstarted device reports zero latency.
  if (timing_.playing && timing_.device_us < device_least_us_) {
    const std::int64_t before = std::exchange(device_least_us_, timing_.device_us);
    if (before != kNeverSeen) drift_.shift(static_cast<double>(before - timing_.device_us));
  }
  known_ = true;
}

// The library's own interpolation is of no use here: after a start it stays at zero for seconds,
// just when the queue must be got right. A device takes whole periods from the stream, so what it
// has taken counts too, except for the least it ever had: a wireless headset's own delay cannot be
// shortened. Before anything plays only the stream counts.
std::int64_t PlayQueue::length_us(Clock::time_point now) const {
  if (!known_) return Cushion::kUnknown;
  if (!timing_.playing) return timing_.fill_us;
  const std::int64_t total = timing_.fill_us + timing_.device_us - device_least_us_;
  return std::max<std::int64_t>(0, total - us_between(reported_at_, now));
}

std::int64_t PlayQueue::playing_us(Clock::time_point now) const {
  return known_ && timing_.playing ? length_us(now) : 0;
}

// How long the block that is late now has been waited for, or else the last late one was.
std::int64_t PlayQueue::lateness_us(Clock::time_point now) const {
  const std::int64_t since = us_between(block_at_, now);
  return since > kLateUs ? since : late_us_;
}

void PlayQueue::arrived(Clock::time_point now) {
  late_us_ = lateness_us(now);
  block_at_ = now;
}

PlayQueue::Plan PlayQueue::decide(std::span<float> block, std::size_t following,
                                  Clock::time_point now) {
  // What comes with the first sound fills the queue as well as silence would.
  const std::int64_t queue = std::exchange(woken_, false) ? duration_us(following) : length_us(now);
  const Cushion::Output out = cushion_.shape(block, queue);
  if (out.dropped) return {.dropped = true, .pad_samples = 0, .samples = {}, .speed = 0.0};
  return {.dropped = false,
          .pad_samples = static_cast<std::size_t>(out.pad_frames) * 2,
          .samples = out.samples,
          .speed = speed_for(queue, block.size())};
}

// The queue counts as it is once this block is in it.
double PlayQueue::speed_for(std::int64_t queue_us, std::size_t samples) {
  if (queue_us == Cushion::kUnknown) return drift_.speed();
  if (!cushion_.steady()) {
    drift_.restart();
    return drift_.speed();
  }
  const std::int64_t block_us = duration_us(samples);
  return drift_.update(static_cast<double>(queue_us + block_us - cushion_.target_us()),
                       static_cast<double>(block_us) * 1e-6);
}

}  // namespace audio
