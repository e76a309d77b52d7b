// DESIGN: the queue is a poor clock: blocks come in bursts, devices take gulps, and the server
// tells of it every second and a half. Averaged over many seconds it tells a drift of some parts
// per million all the same. A proportional and an integral term find the speed at which it stands
// still; they are slow enough not to follow jitter and fast enough to hold 200 parts per million
// within a few milliseconds. What leads further away is no drift: a server that came too late has
// lost a piece of the sound. That is made good sooner, before the next one follows, and teaches
// nothing about the clocks.
//
// A frame in between two others is a weighted sum of its neighbours: a sine cardinal under a Kaiser
// window, tabulated for 512 places and interpolated linearly between them, which leaves errors
// below -100 dB up to 19 kHz.
#include "drift.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace audio {

namespace {

constexpr double kMeanSeconds = 8.0;      // of the running mean that the speed follows
constexpr double kSlowSeconds = 16.0;     // of the one that tells whether there is a drift at all
constexpr double kFirstSeconds = 3.0;     // from then on there is something to compare with
constexpr double kDecideEvery = 1.0;      // s
constexpr double kEngageUs = 5000.0;      // less is jitter, and the sound stays untouched
constexpr double kMostOverUs = 15000.0;   // a single look says no more than this
constexpr double kMostUnderUs = 30000.0;  // and no less: a gulp only makes it look too long
constexpr double kMostKeptUs = 25000.0;   // of an excess that the queue settled at
constexpr double kLeastKeptUs = 0.0;      // less would run dry too easily
constexpr double kProportional = 0.03;    // 1/s
constexpr double kIntegral = kProportional * kProportional / 4;  // 1/s^2: no overshoot
constexpr double kNearUs = 8000.0;   // a drift alone leads no further from the place
constexpr double kFarUrgency = 0.1;  // 1/s, for what is beyond: sound was lost, or came twice
constexpr double kMaxStep = 0.0001;  // of the speed, in one decision

constexpr double kKaiserBeta = 10.0;

// The modified Bessel function of order 0.
double bessel_i0(double x) {
  double sum = 1.0;
  double term = 1.0;
  for (int k = 1; term * term > sum * 1e-17; ++k) {
    term *= x / 2 / k;
    sum += term * term;
  }
  return sum;
}

double kaiser(double x, double scale) {
  return std::abs(x) >= 1.0 ? 0.0 : bessel_i0(kKaiserBeta * std::sqrt(1.0 - x * x)) / scale;
}

double sinc(double x) {
  return x == 0.0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}

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

Stretch::Stretch() {
  const double scale = bessel_i0(kKaiserBeta);
  for (int phase = 0; phase <= kPhases; ++phase) {
    auto& row = kernel_[static_cast<std::size_t>(phase)];
    std::array<double, kTaps> exact{};
    double sum = 0.0;
    for (int tap = 0; tap < kTaps; ++tap) {
      const double x = tap - (kDelay - 1) - static_cast<double>(phase) / kPhases;
      exact[static_cast<std::size_t>(tap)] = sinc(x) * kaiser(x / kDelay, scale);
      sum += exact[static_cast<std::size_t>(tap)];
    }
    for (std::size_t tap = 0; tap < kTaps; ++tap)
      row[tap] = static_cast<float>(exact[tap] / sum);
  }
  restart();
}

void Stretch::restart() {
  input_.fill(0.0F);
  frames_ = kTaps - 1;
  position_ = kDelay - 1;
}

void Stretch::interpolate(std::size_t first, double fraction, float* out) const {
  const double place = fraction * kPhases;
  const auto phase = static_cast<std::size_t>(place);
  const auto between = static_cast<float>(place - static_cast<double>(phase));
  const auto& low = kernel_[phase];
  const auto& high = kernel_[phase + 1];
  const float* frame = &input_[first * kChannels];
  // Several sums at once: one alone would wait for each addition to be finished.
  constexpr std::size_t kSums = 8;
  std::array<float, kSums> left{};
  std::array<float, kSums> right{};
  for (std::size_t tap = 0; tap < kTaps; tap += kSums) {
    for (std::size_t i = 0; i < kSums; ++i) {
      const float weight = low[tap + i] + between * (high[tap + i] - low[tap + i]);
      left[i] += weight * frame[2 * (tap + i)];
      right[i] += weight * frame[2 * (tap + i) + 1];
    }
  }
  out[0] = 0.0F;
  out[1] = 0.0F;
  for (std::size_t i = 0; i < kSums; ++i) {
    out[0] += left[i];
    out[1] += right[i];
  }
}

std::span<const float> Stretch::process(std::span<const float> block, double speed) {
  std::ranges::copy(block, input_.begin() + static_cast<std::ptrdiff_t>(frames_) * kChannels);
  frames_ += static_cast<int>(block.size()) / kChannels;
  std::size_t made = 0;
  while (position_ + kDelay < frames_ && made < kMaxOutput) {
    const double whole = std::floor(position_);
    const auto first = static_cast<std::size_t>(whole) - (kDelay - 1);
    float* const out = &output_[made * kChannels];
    if (position_ == whole) {
      out[0] = input_[(first + kDelay - 1) * kChannels];
      out[1] = input_[(first + kDelay - 1) * kChannels + 1];
    } else {
      interpolate(first, position_ - whole, out);
    }
    ++made;
    position_ += 1.0 + speed;
  }
  const int spent = std::min(static_cast<int>(position_) - (kDelay - 1), frames_);
  std::copy(input_.begin() + static_cast<std::ptrdiff_t>(spent) * kChannels,
            input_.begin() + static_cast<std::ptrdiff_t>(frames_) * kChannels, input_.begin());
  frames_ -= spent;
  position_ -= spent;
  return std::span(output_).first(made * kChannels);
}

}  // namespace audio
