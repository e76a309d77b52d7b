// Internal: the powers of the analyzer's bins.
#pragma once

#include "dsp/analyzer.h"

namespace analyzer {

inline constexpr int kBins = kFftSize / 2;

// Windows kFftSize samples, transforms them and gives the power of bins 0..kBins-1.
//   wide  needs has_wide()
// The first call computes tables. Never allocates; has static working storage, so it must not run
// on two threads at once.
void power_spectrum(const float* samples, double* power, bool wide);

}  // namespace analyzer
