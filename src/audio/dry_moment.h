// Why the playback queue ran dry, as far as this program can tell. Pure; loop thread.
#pragma once

#include <chrono>
#include <cstdint>

namespace audio {

struct DryMoment {
  enum class Cause {
    kLateRecord,    // no sound has come: it is recorded late
    kLatePlayback,  // sound has just come after a pause: this program, or what serves it, was late
    kServer,        // sound came and went in time: the server lost cycles
  };

  Cause cause = Cause::kServer;
  std::int64_t late_us = 0;  // how long sound was waited for; 0 where it was not
};

// When blocks of sound came.
class Arrivals {
 public:
  using Clock = std::chrono::steady_clock;

  // The next block ends a pause, so it is not late.
  void restart() { resting_ = true; }
  void arrived(Clock::time_point now);
  // The server has reported that the queue ran dry.
  [[nodiscard]] DryMoment explain(Clock::time_point now) const;

 private:
  bool resting_ = true;
  Clock::time_point block_at_;
  Clock::time_point late_at_;  // when the last late block came
  std::int64_t late_us_ = 0;   // how late it was; 0 before the first
};

}  // namespace audio
