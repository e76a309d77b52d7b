// DESIGN: the library's own interpolation of the latency is of no use here: after a start it stays
// at zero for seconds, just when the queue must be got right. What is in the stream, and what the
// device has taken from it, will have been heard at a point in time that no report changes as long
// as nothing is written: sound only gets there. A report can make that point too late, where the
// server looked some time ago, but not too early. So the earliest of the last reports counts, and
// the queue at any time follows from what has been written since. In the same way a fragment can
// come late but not early. Between the two points in time lies the delay, without any jitter.
//
// A device that takes its periods from the stream and tells what is left of them is counted in
// full, so that the delay is the same on every device. Only what it delays beyond a period is its
// own, as with a wireless headset, and cannot be shortened.
//
// A starved pipewire-pulse loses count of what it has played, and from then on reports that much
// too much. Where that is more than the queue may hold, nothing would be written until the stream
// has run dry, again and again. A dry stream is known to be empty, so it shows there.
#include "queue_meter.h"

#include <utility>

#include "block.h"

namespace audio {

namespace {

constexpr std::int64_t kPeriodUs = 20000;  // that a device takes from the stream at once, at most
// What an empty stream holds at most: less than a period, and what was written meanwhile.
constexpr std::int64_t kUnderWayUs = 2 * kPeriodUs;
constexpr int kMiscounts = 3;  // a burst may have been under way, but not each time
// After which the first ones, from while playback began, no longer count.
constexpr int kEnoughLooks = 12;
constexpr int kFirstFragments = 50;  // with a report each
constexpr int kReportEvery = 37;     // fragments: in step with no device's period

// What a device has taken that never reports any of it, as PipeWire's without hardware.
constexpr std::int64_t kCycleUs = std::int64_t{kCycleFrames} * 1000000 / 48000;

std::int64_t us_of(QueueMeter::Clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
}

std::int64_t duration_us(std::int64_t frames) {
  return frames * 1000000 / 48000;
}

}  // namespace

void QueueMeter::restart(bool same_device) {
  known_ = false;
  looks_ = 0;
  device_us_before_ = same_device ? device_us_ : -kCycleUs;
  device_us_ = device_us_before_;
  device_most_us_ = 0;
  written_before_ = written_;
  dry_at_ = same_device ? written_ : kNeverDry;
  if (!same_device) miscounts_ = 0;
  look_again();
}

void QueueMeter::look_again() {
  came_us_ = kNeverSeen;
  new_looks_ = 0;
  fragments_ = 0;
  until_report_ = 0;
}

void QueueMeter::recorded(std::size_t frames, std::size_t following, Clock::time_point now) {
  recorded_ += static_cast<std::int64_t>(frames);
  const std::int64_t all = recorded_ + static_cast<std::int64_t>(following);
  came_us_ = std::min(came_us_, us_of(now) - duration_us(all));
}

void QueueMeter::report(const Timing& timing, Clock::time_point at) {
  known_ = true;
  if (!timing.playing) {
    // A suspended or unstarted device reports no delay.
    idle_us_ = timing.fill_us - duration_us(written_);
    looks_ = 0;
    new_looks_ = 0;
    return;
  }
  if (looks_ == 0 || came_us_ != kNeverSeen) {
    came_.add(std::exchange(came_us_, kNeverSeen), looks_);
    runs_out_.add(kNeverSeen, looks_);
    device_.add(kNeverSeen, looks_);
    ++looks_;
    ++new_looks_;
  }
  runs_out_.lower(us_of(at) + timing.fill_us + timing.device_us - duration_us(written_),
                  looks_ - 1);
  device_.lower(timing.device_us, looks_ - 1);
  if (looks_ > kEnoughLooks) return;
  // Until then the estimate follows the reports.
  const std::int64_t least_us = device_.least(looks_);
  device_most_us_ = std::max(device_most_us_, timing.device_us);
  const std::int64_t own_us = device_most_us_ == 0   ? -kCycleUs
                              : least_us > kPeriodUs ? least_us
                                                     : 0;
  device_us_ = std::max(device_us_before_, own_us);
}

bool QueueMeter::miscounted(const Timing& timing) {
  if (dry_at_ == kNeverDry || timing.playing) return false;
  const std::int64_t written_us = duration_us(written_ - std::exchange(dry_at_, kNeverDry));
  miscounts_ = timing.fill_us - written_us > kUnderWayUs ? miscounts_ + 1 : 0;
  return miscounts_ >= kMiscounts;
}

bool QueueMeter::wants_report() {
  ++fragments_;
  if (--until_report_ > 0) return false;
  until_report_ = fragments_ < kFirstFragments ? 1 : kReportEvery;
  return true;
}

std::optional<std::int64_t> QueueMeter::length_us(Clock::time_point now) const {
  if (!known_) return {};
  const std::int64_t left_us =
      playing() ? runs_out_.least(looks_) - device_us_ - us_of(now) : idle_us_;
  return std::max<std::int64_t>(0, left_us + duration_us(written_));
}

std::int64_t QueueMeter::written_us() const {
  return duration_us(written_ - written_before_);
}

std::optional<std::int64_t> QueueMeter::settled_us() const {
  if (new_looks_ < kEnoughLooks) return {};
  return runs_out_.least(looks_) - came_.least(looks_) - device_us_ + duration_us(written_) -
         duration_us(recorded_);
}

}  // namespace audio
