// DESIGN: the formats define their filters by the formulas of the audio equalizer cookbook, so the
// file's response is computed with these, on the unit circle. Our own ten filters are independent
// of them: the fit uses eq::response_db.
#include "shape.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace curves {
namespace {

// Values beyond these are implausible in a correction.
constexpr double kMostGainDb = 100.0;
constexpr double kLeastQ = 0.01;
constexpr double kMostQ = 1000.0;
constexpr double kSilence = 1e-9;  // of a magnitude, -180 dB

double omega(double hz) {
  return 2.0 * std::numbers::pi * hz / kRate;
}

double amplitude(double gain_db) {
  return std::pow(10.0, gain_db / 40.0);
}

struct Biquad {
  double b0, b1, b2, a0, a1, a2;
};

Biquad shelf(double amp, double cosine, double alpha, bool high) {
  // The high shelf is the low one seen from the other end of the frequencies.
  const double c = high ? -cosine : cosine;
  const double turn = high ? -1.0 : 1.0;
  const double skew = 2.0 * std::sqrt(amp) * alpha;
  return {amp * ((amp + 1.0) - (amp - 1.0) * c + skew),
          turn * 2.0 * amp * ((amp - 1.0) - (amp + 1.0) * c),
          amp * ((amp + 1.0) - (amp - 1.0) * c - skew),
          (amp + 1.0) + (amp - 1.0) * c + skew,
          turn * -2.0 * ((amp - 1.0) + (amp + 1.0) * c),
          (amp + 1.0) + (amp - 1.0) * c - skew};
}

Biquad design(const Filter& f) {
  const double amp = amplitude(f.gain_db);
  const double c = std::cos(omega(f.hz));
  const double alpha = std::sin(omega(f.hz)) / (2.0 * f.q);
  switch (f.kind) {
    case Kind::kPeak:
      return {1.0 + alpha * amp, -2.0 * c, 1.0 - alpha * amp,
              1.0 + alpha / amp, -2.0 * c, 1.0 - alpha / amp};
    case Kind::kLowShelf:
      return shelf(amp, c, alpha, false);
    case Kind::kHighShelf:
      return shelf(amp, c, alpha, true);
    case Kind::kLowPass:
      return {(1.0 - c) / 2.0, 1.0 - c, (1.0 - c) / 2.0, 1.0 + alpha, -2.0 * c, 1.0 - alpha};
    case Kind::kHighPass:
      return {(1.0 + c) / 2.0, -1.0 - c, (1.0 + c) / 2.0, 1.0 + alpha, -2.0 * c, 1.0 - alpha};
    case Kind::kBandPass:
      return {alpha, 0.0, -alpha, 1.0 + alpha, -2.0 * c, 1.0 - alpha};
  }
  return {1.0, 0.0, 0.0, 1.0, 0.0, 0.0};
}

double response_db(const Biquad& q, double hz) {
  const std::complex<double> z1 = std::polar(1.0, -omega(hz));
  const std::complex<double> z2 = z1 * z1;
  const double magnitude =
      std::abs((q.b0 + q.b1 * z1 + q.b2 * z2) / (q.a0 + q.a1 * z1 + q.a2 * z2));
  return 20.0 * std::log10(std::max(magnitude, kSilence));
}

// A straight line over log frequency between the points, level outside of them.
double response_db(const Graph& graph, double hz) {
  const auto right = std::upper_bound(graph.begin(), graph.end(), hz,
                                      [](double at, const Point& p) { return at < p.hz; });
  if (right == graph.begin()) return graph.front().gain_db;
  const Point& a = *(right - 1);
  if (right == graph.end()) return a.gain_db;
  const double share = std::log(hz / a.hz) / std::log(right->hz / a.hz);
  return a.gain_db + (right->gain_db - a.gain_db) * share;
}

}  // namespace

double q_of_bandwidth(double octaves, double hz) {
  const double w = omega(hz);
  return 0.5 / std::sinh(std::numbers::ln2 / 2.0 * octaves * w / std::sin(w));
}

double q_of_slope(double slope, double gain_db) {
  const double amp = amplitude(gain_db);
  return 1.0 / std::sqrt((amp + 1.0 / amp) * (1.0 / slope - 1.0) + 2.0);
}

double response_db(const Shape& shape, double hz) {
  double sum_db = 0.0;
  for (const Filter& filter : shape.filters)
    sum_db += response_db(design(filter), hz);
  for (const Graph& graph : shape.graphs)
    sum_db += response_db(graph, hz);
  return sum_db;
}

bool sane_gain(double db) {
  return std::fabs(db) <= kMostGainDb;
}

bool sane_hz(double hz) {
  return hz >= 1.0 && hz < kRate / 2.0;
}

bool sane_q(double q) {
  return q >= kLeastQ && q <= kMostQ;
}

}  // namespace curves
