// DESIGN: a curve is eleven numbers, and everything here is a pure function of them. The response
// is evaluated on the unit circle, from the same coefficients that the processor filters with.
#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "dsp/eq_dsp.h"
#include "eq_design.h"

namespace eq {
namespace {

constexpr const char* kLabels[kBands] = {"31", "62", "125", "250", "500",
                                         "1k", "2k", "4k",  "8k",  "16k"};

constexpr float kSameDb = 0.05F;
constexpr float kAudibleDb = 0.01F;
constexpr double kNyquistShare = 0.45;
// Twice the filters' Q of 1.41.
constexpr double kTwoQ = 2.82F;

bool close(float a_db, float b_db) {
  return std::fabs(a_db - b_db) < kSameDb;
}

double magnitude_db(const Band& band, double omega) {
  const std::complex<double> z1 = std::polar(1.0, -omega);
  const std::complex<double> z2 = std::polar(1.0, -2.0 * omega);
  const double magnitude =
      std::abs((band.b0 + band.b1 * z1 + band.b2 * z2) / (1.0 + band.a1 * z1 + band.a2 * z2));
  return 20.0 * std::log10(std::max(magnitude, 1e-9));
}

}  // namespace

float usable_gain_db(float gain_db) {
  if (std::isnan(gain_db)) return 0.0F;
  if (std::isinf(gain_db)) return std::copysign(kMaxGainDb, gain_db);
  return gain_db;
}

void design_band(int band, float gain_db, float rate, Band* out) {
  const double center = kFreq[band];
  out->active = center < kNyquistShare * static_cast<double>(rate);
  if (!out->active) return;

  const double amplitude = std::pow(10.0, static_cast<double>(usable_gain_db(gain_db)) / 40.0);
  const double w0 = 2.0 * std::numbers::pi * center / static_cast<double>(rate);
  const double alpha = std::sin(w0) / kTwoQ;
  const double a0 = 1.0 + alpha / amplitude;
  out->b0 = (1.0 + alpha * amplitude) / a0;
  out->b1 = (-2.0 * std::cos(w0)) / a0;
  out->b2 = (1.0 - alpha * amplitude) / a0;
  out->a1 = (-2.0 * std::cos(w0)) / a0;
  out->a2 = (1.0 - alpha / amplitude) / a0;
}

Curve standard_curve() {
  return {{3.0F, 2.5F, 1.5F, 0.5F, 0.0F, 0.0F, 0.5F, 1.5F, 2.0F, 2.5F}, -2.0F};
}

const char* band_label(int band) {
  return band >= 0 && band < kBands ? kLabels[band] : "";
}

const PresetDef* presets(int* count) {
  if (count != nullptr) *count = kPresetCount;
  return kPresets;
}

Curve preset_curve(int index) {
  return index >= 0 && index < kPresetCount ? kPresets[index].curve : Curve{};
}

int find_preset(const std::string& key) {
  for (int i = 0; i < kPresetCount; ++i) {
    if (key == kPresets[i].key) return i;
  }
  return -1;
}

bool same(const Curve& a, const Curve& b) {
  if (!close(a.preamp, b.preamp)) return false;
  return std::equal(std::begin(a.gain), std::end(a.gain), std::begin(b.gain), close);
}

int match_preset(const Curve& c) {
  for (int i = 0; i < kPresetCount; ++i) {
    if (same(kPresets[i].curve, c)) return i;
  }
  return -1;
}

float response_db(const Curve& c, float rate, float freq) {
  const double omega =
      2.0 * std::numbers::pi * static_cast<double>(freq) / static_cast<double>(rate);
  double sum_db = usable_gain_db(c.preamp);
  for (int i = 0; i < kBands; ++i) {
    const float gain_db = usable_gain_db(c.gain[i]);
    if (std::fabs(gain_db) < kAudibleDb) continue;
    Band band;
    design_band(i, gain_db, rate, &band);
    if (band.active) sum_db += magnitude_db(band, omega);
  }
  return static_cast<float>(sum_db);
}

}  // namespace eq
