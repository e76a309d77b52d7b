// DESIGN: measurements of the queue are accurate to some tenths of a millisecond, less on a busy
// machine. Averaged over some seconds they show a drift of a few parts per million. A proportional
// and an integral term find the speed at which the length stays constant; they are slow enough not
// to follow jitter and fast enough to keep the effect of 200 parts per million within three
// milliseconds. A larger deviation is not drift: a late server dropped audio. It is corrected
// faster, before the next one, and not learnt from.
#include "drift.h"

#include <algorithm>
#include <cmath>

namespace audio {

namespace {

constexpr double kMeanSeconds = 4.0;     // of the running mean that the speed follows
constexpr double kSlowSeconds = 8.0;     // of the one that tells whether there is a drift at all
constexpr double kDecideEvery = 1.0;     // s
constexpr double kEngageUs = 1500.0;     // less is jitter, and the sound stays untouched
constexpr double kMostAwayUs = 20000.0;  // limit for a single measurement
constexpr double kProportional = 0.08;   // 1/s
constexpr double kIntegral = kProportional * kProportional / 4;  // 1/s^2: no overshoot
constexpr double kNearUs = 5000.0;                               // drift alone does not exceed this
constexpr double kFarUrgency = 0.1;  // 1/s, beyond that: sound was lost or repeated
constexpr double kMaxStep = 0.0001;  // of the speed, in one decision

}  // namespace

void DriftControl::forget() {
  *this = {};
}

void DriftControl::restart() {
  mean_us_ = 0.0;
  slow_us_ = 0.0;
  settled_ = 0.0;
  since_ = 0.0;
  speed_ = integral_;
}

double DriftControl::update(double excess_us, double seconds) {
  settled_ = std::min(settled_ + seconds, kSlowSeconds);
  excess_us = std::clamp(excess_us, -kMostAwayUs, kMostAwayUs);
  // Plain means at first, so that the first value has no more weight than others.
  mean_us_ += (excess_us - mean_us_) * seconds / std::min(settled_, kMeanSeconds);
  slow_us_ += (excess_us - slow_us_) * seconds / settled_;
  since_ += seconds;
  if (since_ < kDecideEvery) return speed_;
  engaged_ = engaged_ || (settled_ >= kSlowSeconds && std::abs(slow_us_) > kEngageUs);
  if (engaged_ && settled_ >= kMeanSeconds) {
    const double near_us = std::clamp(mean_us_, -kNearUs, kNearUs);
    integral_ = std::clamp(integral_ + kIntegral * near_us * 1e-6 * since_, -kMaxSpeed, kMaxSpeed);
    const double back = (kProportional * near_us + kFarUrgency * (mean_us_ - near_us)) * 1e-6;
    const double wanted = std::clamp(back + integral_, -kMaxSpeed, kMaxSpeed);
    speed_ += std::clamp(wanted - speed_, -kMaxStep, kMaxStep);
  }
  since_ = 0.0;
  return speed_;
}

}  // namespace audio
