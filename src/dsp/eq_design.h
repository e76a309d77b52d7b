// The design of one band, shared by what filters samples and what draws the curve, so that the
// picture cannot drift from the sound.
#pragma once

#include "dsp/eq_dsp.h"

namespace eq {

// A gain in dB that can be computed with: a NaN is 0 dB, an infinity the end of the sliders.
float usable_gain_db(float gain_db);

// Designs band 0..9 for a gain in dB and a sample rate in Hz into `out`. When the band's centre is
// too close to the Nyquist frequency, `out` only becomes inactive and keeps its coefficients.
void design_band(int band, float gain_db, float rate, Band* out);

}  // namespace eq
