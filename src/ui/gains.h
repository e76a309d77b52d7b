// The eleven gains of a curve by number: the ten bands and, as number 10, the preamp.
#pragma once

#include "dsp/eq_dsp.h"

namespace ui {

inline constexpr int kGains = eq::kBands + 1;
inline constexpr int kPreamp = eq::kBands;

inline float& gain_at(eq::Curve* curve, int i) {
  return i == kPreamp ? curve->preamp : curve->gain[i];
}

inline float gain_at(const eq::Curve& curve, int i) {
  return i == kPreamp ? curve.preamp : curve.gain[i];
}

}  // namespace ui
