// DESIGN: the queue is a poor clock: blocks come in bursts, devices play in periods, and the server
// reports only every second and a half. Averaged over many seconds it still shows a drift of a few
// parts per million. A proportional and an integral term find the speed at which the queue stands
// still; they are slow enough not to follow jitter and fast enough to hold 200 parts per million
// within a few milliseconds. A larger deviation is not drift: a late server dropped audio. It is
// corrected faster, before the next one follows, and nothing is learnt from it.
#include "drift.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace audio {

namespace {

constexpr double kMeanSeconds = 8.0;     // of the running mean that the speed follows
constexpr double kSlowSeconds = 16.0;    // of the one that tells whether there is a drift at all
constexpr double kFirstSeconds = 3.0;    // from then on there is something to compare with
constexpr double kDecideEvery = 1.0;     // s
constexpr double kEngageUs = 5000.0;     // less is jitter, and the sound stays untouched
constexpr double kMostOverUs = 15000.0;  // a single look says no more than this
constexpr double kMostUnderUs =
    30000.0;                             // and no less: a device period only makes it look too long
constexpr double kMostKeptUs = 25000.0;  // of an excess that the queue settled at
constexpr double kLeastKeptUs = 0.0;     // less would run dry too easily
constexpr double kProportional = 0.03;   // 1/s
constexpr double kIntegral = kProportional * kProportional / 4;  // 1/s^2: no overshoot
constexpr double kNearUs = 8000.0;   // a drift alone leads no further from the place
constexpr double kFarUrgency = 0.1;  // 1/s, for what is beyond: sound was lost, or came twice
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
  shift_us_ = 0.0;
}

// Not early ones: the place was found while there were such, and they come after every restart.
void DriftControl::shift(double longer_us) {
  if (keeps_ && settled_ >= kSlowSeconds) shift_us_ += longer_us;
}

double DriftControl::place_us() const {
  return std::clamp(kept_us_ + shift_us_, kLeastKeptUs, kMostKeptUs);
}

double DriftControl::update(double excess_us, double seconds) {
  settled_ = std::min(settled_ + seconds, kSlowSeconds);
  if (settled_ >= kFirstSeconds) {
    const double middle = keeps_ ? place_us() : slow_us_;
    excess_us = std::clamp(excess_us, middle - kMostUnderUs, middle + kMostOverUs);
  }
  // In the beginning plain means, so that the first value weighs no more than others.
  mean_us_ += (excess_us - mean_us_) * seconds / std::min(settled_, kMeanSeconds);
  slow_us_ += (excess_us - slow_us_) * seconds / settled_;
  since_ += seconds;
  if (since_ < kDecideEvery) return speed_;
  const bool known = settled_ >= kSlowSeconds;
  if (known && !std::exchange(keeps_, true))
    kept_us_ = std::clamp(slow_us_, kLeastKeptUs, kMostKeptUs);
  engaged_ = engaged_ || (known && std::abs(slow_us_ - place_us()) > kEngageUs);
  if (engaged_ && settled_ >= kMeanSeconds) {
    const double away_us = mean_us_ - place_us();
    const double near_us = std::clamp(away_us, -kNearUs, kNearUs);
    integral_ = std::clamp(integral_ + kIntegral * near_us * 1e-6 * since_, -kMaxSpeed, kMaxSpeed);
    const double back = (kProportional * near_us + kFarUrgency * (away_us - near_us)) * 1e-6;
    const double wanted = std::clamp(back + integral_, -kMaxSpeed, kMaxSpeed);
    speed_ += std::clamp(wanted - speed_, -kMaxStep, kMaxStep);
  }
  since_ = 0.0;
  return speed_;
}

}  // namespace audio
