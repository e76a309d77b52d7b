// DESIGN: one step per drawn frame, scaled by the time since the last one. A level that is not
// finite counts as silence, because otherwise the display would never fall again.
#include <algorithm>
#include <cmath>

#include "dsp/analyzer.h"

namespace analyzer {
namespace {

constexpr float kBarRisePerSecond = 30.0F;  // share of the gap
constexpr float kBarFallDbPerSecond = 36.0F;
constexpr float kBarHoldSeconds = 0.8F;
constexpr float kBarPeakFallDbPerSecond = 18.0F;

constexpr float kMeterFallDbPerSecond = 30.0F;
constexpr float kMeterHoldSeconds = 1.2F;
constexpr float kMeterPeakFallDbPerSecond = 15.0F;

constexpr float kSilenceDb = -140.0F;
constexpr float kSilence = 1e-7F;

float above_floor(float db) {
  return std::isfinite(db) ? std::max(kFloorDb, db) : kFloorDb;
}

}  // namespace

float to_db(float x) {
  return x > kSilence ? 20.0F * std::log10(x) : kSilenceDb;
}

Ballistics::Ballistics() {
  std::fill_n(level, kBars, kFloorDb);
  std::fill_n(peak, kBars, kFloorDb);
}

void Ballistics::update(const float* bars, float dt) {
  for (int i = 0; i < kBars; ++i) {
    const float target = above_floor(bars[i]);
    if (target > level[i]) {
      const float share = kBarRisePerSecond * dt;
      level[i] = share < 1.0F ? level[i] + (target - level[i]) * share : target;
    } else {
      level[i] = std::max(level[i] - kBarFallDbPerSecond * dt, target);
    }

    if (level[i] >= peak[i]) {
      peak[i] = level[i];
      hold[i] = kBarHoldSeconds;
    } else if (hold[i] > 0.0F) {
      hold[i] -= dt;
    } else {
      peak[i] = above_floor(peak[i] - kBarPeakFallDbPerSecond * dt);
    }
  }
}

void Ballistics::decay(float dt) {
  float silence[kBars];
  std::fill_n(silence, kBars, kFloorDb);
  update(silence, dt);
}

void PeakMeter::update(float db, float dt) {
  const float target = above_floor(db);
  level = target > level ? target : std::max(level - kMeterFallDbPerSecond * dt, target);

  if (level >= peak) {
    peak = level;
    hold = kMeterHoldSeconds;
  } else if (hold > 0.0F) {
    hold -= dt;
  } else {
    peak = above_floor(peak - kMeterPeakFallDbPerSecond * dt);
  }
}

}  // namespace analyzer
