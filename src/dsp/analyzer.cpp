// DESIGN: windowed samples, one in-place transform, powers, sums over the bins of each bar. Window,
// twiddles and buffers are made on the first call and kept, so that a drawn frame costs arithmetic
// only.
#include "analyzer.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <utility>
#include <vector>

namespace analyzer {
namespace {

constexpr int kBins = kFftSize / 2;
constexpr double kPowerScale = 1572864.0;  // 3 * 2^19
constexpr double kFloorPower = 1e-14;
constexpr float kSilenceDb = -140.0F;
constexpr double kSixthOctave = 1.122462048309373;
constexpr double kTiltDbPerOctave = 1.5;

constexpr const char* kLabels[] = {"20",  "", "", "",   "",    "63", "",   "",   "", "",
                                   "200", "", "", "",   "500", "",   "",   "1k", "", "",
                                   "2k",  "", "", "4k", "",    "",   "8k", "",   "", "16k"};

using Buffer = std::vector<std::complex<double>>;

void bit_reverse(Buffer& a) {
  for (int i = 1, j = 0; i < kFftSize; ++i) {
    int bit = kFftSize >> 1;
    for (; (j & bit) != 0; bit >>= 1)
      j ^= bit;
    j ^= bit;
    if (i < j) std::swap(a[static_cast<std::size_t>(i)], a[static_cast<std::size_t>(j)]);
  }
}

void transform(Buffer& a) {
  bit_reverse(a);
  for (std::size_t len = 2; len <= kFftSize; len *= 2) {
    const std::complex<double> step =
        std::polar(1.0, -2.0 * std::numbers::pi / static_cast<double>(len));
    for (std::size_t start = 0; start < kFftSize; start += len) {
      std::complex<double> twiddle = 1.0;
      for (std::size_t k = start; k < start + len / 2; ++k) {
        const std::complex<double> u = a[k];
        const std::complex<double> v = a[k + len / 2] * twiddle;
        a[k] = u + v;
        a[k + len / 2] = u - v;
        twiddle *= step;
      }
    }
  }
}

double band_power(const std::vector<double>& power, double lo, double hi, double center,
                  double bin_width) {
  int first = static_cast<int>(std::ceil(lo / bin_width));
  int last = static_cast<int>(std::floor(hi / bin_width));
  if (first > last) {
    const int nearest = std::clamp(static_cast<int>(std::lround(center / bin_width)), 1, kBins - 1);
    return (hi - lo) / bin_width * power[static_cast<std::size_t>(nearest)];
  }
  first = std::max(first, 1);
  last = std::min(last, kBins - 1);
  double sum = 0.0;
  for (int k = first; k <= last; ++k)
    sum += power[static_cast<std::size_t>(k)];
  return sum;
}

}  // namespace

const double* hann() {
  static const std::vector<double> window = [] {
    std::vector<double> w(kFftSize);
    for (std::size_t i = 1; i < w.size(); ++i) {
      w[i] = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(i) / (kFftSize - 1));
    }
    return w;
  }();
  return window.data();
}

void compute(const float* samples, float rate, float* out) {
  static Buffer buffer(kFftSize);
  static std::vector<double> power(kBins);

  const double* window = hann();
  for (std::size_t i = 0; i < kFftSize; ++i)
    buffer[i] = static_cast<double>(samples[i]) * window[i];
  transform(buffer);
  for (std::size_t k = 0; k < kBins; ++k)
    power[k] = std::norm(buffer[k]) / kPowerScale;

  const double bin_width = static_cast<double>(rate) / kFftSize;
  for (int b = 0; b < kBars; ++b) {
    const double center = kBarFreq[b];
    const double hi = center * kSixthOctave;
    const double lo = center / kSixthOctave;
    if (!(hi < static_cast<double>(rate) / 2.0)) {
      out[b] = kSilenceDb;
      continue;
    }
    const double sum = band_power(power, lo, hi, center, bin_width);
    out[b] = static_cast<float>(10.0 * std::log10(std::max(kFloorPower, sum)) +
                                kTiltDbPerOctave * std::log2(center / 1000.0));
  }
}

const char* bar_label(int bar) {
  return bar >= 0 && bar < static_cast<int>(std::size(kLabels)) ? kLabels[bar] : "";
}

}  // namespace analyzer
