#include "eq_kernel.h"

#include <cmath>

namespace eq {

void process_plain(Processor& p, float* samples, int frames) {
  float* s = samples;
  for (int frame = 0; frame < frames; ++frame) {
    for (int c = 0; c < p.channels; ++c, ++s) {
      double y = std::isfinite(*s) ? static_cast<double>(*s) : 0.0;
      for (int i = 0; i < kBands; ++i) {
        const Band& band = p.bands[i];
        if (!band.active) continue;
        const double x = y;
        y = band.b0 * x + p.z1[c][i];
        p.z1[c][i] = band.b1 * x - band.a1 * y + p.z2[c][i];
        p.z2[c][i] = band.b2 * x - band.a2 * y;
      }
      *s = soft_limit(static_cast<float>(static_cast<double>(p.pre_gain) * y));
    }
  }
}

}  // namespace eq
