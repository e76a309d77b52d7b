// DESIGN: windowed samples, one transform, powers of the bins (power_spectrum.cpp), sums over the
// bins of each bar. Everything that does not depend on samples is computed once and kept, so that a
// frame costs only arithmetic.
#include "dsp/analyzer.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

#include "analyzer_kernel.h"
#include "power_spectrum.h"

namespace analyzer {
namespace {

constexpr double kFloorPower = 1e-14;
constexpr float kSilenceDb = -140.0F;
constexpr double kSixthOctave = 1.122462048309373;  // 2^(1/6), half a bar
constexpr double kTiltDbPerOctave = 1.5;

constexpr const char* kLabels[] = {"20",  "", "", "",   "",    "63", "",   "",   "", "",
                                   "200", "", "", "",   "500", "",   "",   "1k", "", "",
                                   "2k",  "", "", "4k", "",    "",   "8k", "",   "", "16k"};

// The bins of a bar: power = weight * (sum of first..last). No bins give no power.
struct Bins {
  int first = 0;
  int last = -1;
  double weight = 1.0;
  bool visible = false;  // false for a bar that reaches the Nyquist frequency
};

Bins bins_of_bar(double center, double rate) {
  Bins bins;
  const double hi = center * kSixthOctave;
  const double lo = center / kSixthOctave;
  bins.visible = hi < rate / 2.0;
  if (!bins.visible) return bins;

  const double bin_width = rate / kFftSize;
  bins.first = static_cast<int>(std::ceil(lo / bin_width));
  bins.last = static_cast<int>(std::floor(hi / bin_width));
  if (bins.first > bins.last) {
    // Narrower than one bin: the nearest one's power density, over the width of the bar.
    const int nearest = static_cast<int>(std::lround(center / bin_width));
    bins.first = bins.last = std::clamp(nearest, 1, kBins - 1);
    bins.weight = (hi - lo) / bin_width;
  } else {
    bins.first = std::max(bins.first, 1);  // DC is no sound
    bins.last = std::min(bins.last, kBins - 1);
  }
  return bins;
}

struct Workspace {
  double tilt_db[kBars];
  double power[kBins];

  float rate = 0.0F;
  Bins bars[kBars];  // for `rate`

  Workspace();
  void set_rate(float new_rate);
};

Workspace::Workspace() {
  for (int b = 0; b < kBars; ++b) {
    tilt_db[b] = kTiltDbPerOctave * std::log2(static_cast<double>(kBarFreq[b]) / 1000.0);
  }
}

void Workspace::set_rate(float new_rate) {
  if (new_rate == rate) return;
  rate = new_rate;
  for (int b = 0; b < kBars; ++b)
    bars[b] = bins_of_bar(kBarFreq[b], rate);
}

// Four separate sums, because each addition waits for the one before.
double sum_of(const double* first, const double* end) {
  double sums[4] = {};
  for (; end - first >= 4; first += 4) {
    for (int i = 0; i < 4; ++i)
      sums[i] += first[i];
  }
  for (; first < end; ++first)
    sums[0] += *first;
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

}  // namespace

const double* hann() {
  struct Window {
    double value[kFftSize] = {};
    Window() {
      for (int i = 1; i < kFftSize; ++i) {
        value[i] = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * i / (kFftSize - 1));
      }
    }
  };
  static const Window window;
  return window.value;
}

#if defined(__x86_64__)
bool has_wide() {
  return __builtin_cpu_supports("avx2") != 0;
}
#else
bool has_wide() {
  return false;
}
#endif

void compute_with(const float* samples, float rate, float* out, bool wide) {
  static Workspace w;
  w.set_rate(rate);
  if (std::all_of(samples, samples + kFftSize, [](float x) { return x == 0.0F; })) {
    std::ranges::fill(w.power, 0.0);
  } else {
    power_spectrum(samples, w.power, wide);
  }
  for (int b = 0; b < kBars; ++b) {
    const Bins& bins = w.bars[b];
    if (!bins.visible) {
      out[b] = kSilenceDb;
      continue;
    }
    const double sum = sum_of(w.power + bins.first, w.power + bins.last + 1);
    const double power = std::max(kFloorPower, bins.weight * sum);
    out[b] = static_cast<float>(10.0 * std::log10(power) + w.tilt_db[b]);
  }
}

void compute(const float* samples, float rate, float* out) {
  compute_with(samples, rate, out, has_wide());
}

const char* bar_label(int bar) {
  return bar >= 0 && bar < static_cast<int>(std::size(kLabels)) ? kLabels[bar] : "";
}

}  // namespace analyzer
