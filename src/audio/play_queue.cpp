#include "play_queue.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace audio {

namespace {

constexpr std::int64_t kLateUs = 15000;    // between two blocks: half a block too much
constexpr std::int64_t kHiccupUs = 40000;  // after such a pause a server may have lost sound
constexpr std::int64_t kAlignUs = 1500;    // less is not worth a splice

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
      break;
    case Start::kWoken:
      cushion_.restart();
      drift_.restart();
      break;
    case Start::kRanDry:
      cushion_.ran_dry(lateness_us(now));
      drift_.restart();
      break;
  }
  begun_ = why == Start::kRanDry;
  fresh_ = true;
  aligned_ = false;
  resampler_.restart();
  meter_.restart(why == Start::kRanDry);
}

std::int64_t PlayQueue::length_us(Clock::time_point now) const {
  return meter_.length_us(now).value_or(Cushion::kUnknown);
}

std::int64_t PlayQueue::playing_us(Clock::time_point now) const {
  return meter_.playing() ? length_us(now) : 0;
}

std::int64_t PlayQueue::held_us(Clock::time_point now) const {
  return std::min(meter_.length_us(now).value_or(meter_.written_us()), meter_.written_us());
}

// How late the current block is, or else how late the last late one was.
std::int64_t PlayQueue::lateness_us(Clock::time_point now) const {
  const std::int64_t since = us_between(block_at_, now);
  return since > kLateUs ? since : late_us_;
}

void PlayQueue::arrived(std::size_t samples, std::size_t following, Clock::time_point now) {
  if (us_between(block_at_, now) > kHiccupUs) {
    meter_.look_again();
    aligned_ = false;
  }
  late_us_ = lateness_us(now);
  block_at_ = now;
  meter_.recorded(samples / 2, following / 2, now);
}

PlayQueue::Plan PlayQueue::decide(std::span<float> block, std::size_t following,
                                  Clock::time_point now) {
  const std::size_t samples = block.size();
  // Sound that has already arrived fills the queue as well as silence would.
  const std::int64_t queue = std::exchange(fresh_, false) ? duration_us(following) : length_us(now);
  std::optional<std::int64_t> excess = meter_.settled_us();
  if (excess) *excess += duration_us(samples) - cushion_.target_us();
  align(excess);
  const Cushion::Output out = cushion_.shape(block, queue);
  if (out.samples.empty()) {
    // Whole blocks of a burst are being left out; the rest of the excess is known after the last.
    aligned_ = false;
    cushion_.align(0);
  }
  if (out.dropped) return {.dropped = true, .pad_samples = 0, .samples = {}, .speed = 0.0};
  return {.dropped = false,
          .pad_samples = static_cast<std::size_t>(out.pad_frames) * 2,
          .samples = out.samples,
          .speed = speed_for(excess, samples)};
}

// Corrects the first fill level once, as soon as it has been measured. Later only the clocks change
// the length, and they are followed.
void PlayQueue::align(std::optional<std::int64_t> excess_us) {
  if (aligned_ || !excess_us) return;
  aligned_ = true;
  if (std::abs(*excess_us) > kAlignUs) cushion_.align(*excess_us);
}

double PlayQueue::speed_for(std::optional<std::int64_t> excess_us, std::size_t samples) {
  if (!excess_us) return drift_.speed();
  if (!cushion_.steady()) {
    drift_.restart();
    return drift_.speed();
  }
  return drift_.update(static_cast<double>(*excess_us),
                       static_cast<double>(duration_us(samples)) * 1e-6);
}

}  // namespace audio
