// DESIGN: the server's messages are handled in order. If sound was recorded late, the report of the
// dry queue comes before the sound; if this program ran late, it finds the sound first and the
// report after it. If the server's thread for its clients, which has no real-time priority, ran
// late, that looks the same from here.
#include "dry_moment.h"

#include <utility>

namespace audio {

namespace {

// A server may record 20 ms at once; the queue lasts longer than this.
constexpr std::int64_t kLateUs = 35000;
constexpr std::int64_t kRecentUs = 100000;

std::int64_t us_between(Arrivals::Clock::time_point from, Arrivals::Clock::time_point to) {
  return std::chrono::duration_cast<std::chrono::microseconds>(to - from).count();
}

}  // namespace

void Arrivals::arrived(Clock::time_point now) {
  const std::int64_t since = us_between(std::exchange(block_at_, now), now);
  if (std::exchange(resting_, false)) {
    late_us_ = 0;
  } else if (since > kLateUs) {
    late_us_ = since;
    late_at_ = now;
  }
}

DryMoment Arrivals::explain(Clock::time_point now) const {
  using enum DryMoment::Cause;
  if (resting_) return {};
  if (const auto since = us_between(block_at_, now); since > kLateUs) return {kLateRecord, since};
  if (late_us_ > 0 && us_between(late_at_, now) < kRecentUs) return {kLatePlayback, late_us_};
  return {kServer, 0};
}

}  // namespace audio
