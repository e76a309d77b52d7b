// DESIGN: the processor keeps the coefficients and the filter memory; the arithmetic on samples is
// in eq_kernel, which has a plain loop for everything and a fast path with the same bits for
// stereo.
#include <algorithm>
#include <cmath>

#include "dsp/eq_dsp.h"
#include "eq_design.h"
#include "eq_kernel.h"

namespace eq {
namespace {

constexpr float kLowestRate = 1000.0F;
constexpr float kDefaultRate = 48000.0F;

}  // namespace

void Processor::set_format(float new_rate, int new_channels) {
  rate = new_rate > kLowestRate ? new_rate : kDefaultRate;
  channels = std::clamp(new_channels, 1, kMaxChannels);
  reset();
  recompute();
  fastest_lanes();  // measured here, not with the first sound
}

void Processor::set_curve(const Curve& c) {
  curve = c;
  recompute();
}

void Processor::reset() {
  std::fill_n(&z1[0][0], kMaxChannels * kBands, 0.0);
  std::fill_n(&z2[0][0], kMaxChannels * kBands, 0.0);
}

void Processor::recompute() {
  for (int i = 0; i < kBands; ++i)
    design_band(i, curve.gain[i], rate, &bands[i]);
  pre_gain = std::pow(10.0F, usable_gain_db(curve.preamp) / 20.0F);
}

void Processor::process(float* samples, int frames) {
  if (frames < 1 || channels < 1) return;
  process_best(*this, samples, frames);
}

}  // namespace eq
