// The design of one band, shared by the filter and the drawing of the curve, so that picture and
// sound always agree.
#pragma once

#include "dsp/eq_dsp.h"

namespace eq {

// Makes a gain in dB finite: a NaN becomes 0 dB, an infinity the end of the sliders.
float usable_gain_db(float gain_db);

// Designs band 0..9 for a gain in dB and a sample rate in Hz into `out`. When the band's centre is
// too close to the Nyquist frequency, `out` only becomes inactive and keeps its coefficients.
void design_band(int band, float gain_db, float rate, Band* out);

}  // namespace eq
