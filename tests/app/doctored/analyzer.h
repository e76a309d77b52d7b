// See eq_dsp.h beside this file.
#pragma once

namespace analyzer {

inline constexpr float kBarFreq[] = {
    20.0F,   25.0F,   31.5F,   40.0F,    50.0F,    63.0F,    80.0F,   100.0F,
    125.0F,  160.0F,  200.0F,  250.0F,   315.0F,   400.0F,   500.0F,  630.0F,
    800.0F,  1000.0F, 1250.0F, 1600.0F,  2000.0F,  2500.0F,  3150.0F, 4000.0F,
    5000.0F, 6300.0F, 8000.0F, 10000.0F, 12500.0F, 16000.0F, 20000.0F};

void compute(const float* samples, float rate, float* out);

}  // namespace analyzer
