// The processor's arithmetic as one would write it down: sample by sample, band by band. The
// yardstick of the benchmarks, and what the tests compare every bit with.
#pragma once

#include <cmath>

#include "dsp/eq_dsp.h"

namespace plain_eq {

// As p.process(samples, frames).
inline void process(eq::Processor& p, float* samples, int frames) {
  for (int frame = 0; frame < frames; ++frame) {
    for (int c = 0; c < p.channels; ++c, ++samples) {
      double y = std::isfinite(*samples) ? static_cast<double>(*samples) : 0.0;
      for (int i = 0; i < eq::kBands; ++i) {
        const eq::Band& band = p.bands[i];
        if (!band.active) continue;
        const double x = y;
        y = band.b0 * x + p.z1[c][i];
        p.z1[c][i] = band.b1 * x - band.a1 * y + p.z2[c][i];
        p.z2[c][i] = band.b2 * x - band.a2 * y;
      }
      const auto v = static_cast<float>(static_cast<double>(p.pre_gain) * y);
      const float size = std::fabs(v);
      if (size <= 0.891F) {
        *samples = v;
      } else {
        constexpr float kWidth = 1.0F - 0.891F;
        const float bent = 0.891F + kWidth * std::tanh((size - 0.891F) / kWidth);
        *samples = std::signbit(v) ? -bent : bent;
      }
    }
  }
}

}  // namespace plain_eq
