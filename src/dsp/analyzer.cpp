// DESIGN: windowed samples, one in-place radix-2 transform, powers of the bins, sums over the bins
// of each bar. Everything that depends on no sample is worked out once and kept, so that a drawn
// frame costs arithmetic only.
//
// The transform is the textbook one: bit reversal, then stages of length 2, 4, ... kFftSize. Real
// and imaginary parts are kept apart, so that neighbouring butterflies fit into the lanes of a
// vector. Two stages at a time go over the buffer, because going over it costs as much as the
// arithmetic. The first two, whose factors are 1 and -j, are done while the samples are put into
// their bit-reversed places; there, all numbers are still real.
#include "dsp/analyzer.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <numbers>

#include "analyzer_kernel.h"

namespace analyzer {
namespace {

constexpr int kBins = kFftSize / 2;
constexpr int kQuarter = kFftSize / 4;
constexpr int kQuarterBits = 10;
static_assert(1 << kQuarterBits == kQuarter);

// Four neighbours after the bit reversal are four samples this far from the first.
constexpr int kFours[] = {0, 2 * kQuarter, kQuarter, 3 * kQuarter};

constexpr double kPowerScale = 1572864.0;  // 3 * 2^19
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
  // The window in bit-reversed order, and where the first of each four samples is.
  double window[kFftSize];
  std::int16_t place[kQuarter];
  // Factors of the stage with half-length h are at h..2h-1.
  double factor_re[kFftSize];
  double factor_im[kFftSize];
  double tilt_db[kBars];

  double re[kFftSize];
  double im[kFftSize];
  double power[kBins];

  float rate = 0.0F;
  Bins bars[kBars];  // for `rate`

  Workspace();
  void set_rate(float new_rate);
};

Workspace::Workspace() {
  for (int i = 0; i < kQuarter; ++i) {
    int reversed = 0;
    for (int bit = 0; bit < kQuarterBits; ++bit)
      reversed = reversed * 2 + (i >> bit) % 2;
    place[i] = static_cast<std::int16_t>(reversed);
    for (int k = 0; k < 4; ++k)
      window[4 * i + k] = hann()[reversed + kFours[k]];
  }
  factor_re[0] = factor_im[0] = 0.0;
  for (int half = 1; half < kFftSize; half *= 2) {
    for (int k = 0; k < half; ++k) {
      const double angle = -std::numbers::pi * k / half;
      factor_re[half + k] = std::cos(angle);
      factor_im[half + k] = std::sin(angle);
    }
  }
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

// Windows the samples and does the stages of length 2 and 4.
void enter(const float* samples, Workspace& w) {
  for (std::ptrdiff_t i = 0; i < kQuarter; ++i) {
    const float* x = samples + w.place[i];
    const double* window = w.window + 4 * i;
    const double x0 = static_cast<double>(x[kFours[0]]) * window[0];
    const double x1 = static_cast<double>(x[kFours[1]]) * window[1];
    const double x2 = static_cast<double>(x[kFours[2]]) * window[2];
    const double x3 = static_cast<double>(x[kFours[3]]) * window[3];
    double* re = w.re + 4 * i;
    double* im = w.im + 4 * i;
    re[0] = (x0 + x1) + (x2 + x3);
    re[1] = x0 - x1;
    re[2] = (x0 + x1) - (x2 + x3);
    re[3] = x0 - x1;
    im[0] = 0.0;
    im[1] = x3 - x2;
    im[2] = 0.0;
    im[3] = x2 - x3;
  }
}

using Pair [[gnu::vector_size(2 * sizeof(double))]] = double;
using Quad [[gnu::vector_size(4 * sizeof(double))]] = double;

// Complex numbers side by side. Passed by reference only: by value, the calling convention of wide
// vectors depends on the instruction set.
//
// They are copied with the compiler's own memcpy: the checked one of a hardened build costs Clang
// half of the transform's speed.
template <typename Vector>
struct Numbers {
  Vector re;
  Vector im;

  [[gnu::always_inline]] Numbers(const double* from_re, const double* from_im) {
    __builtin_memcpy(&re, from_re, sizeof(re));
    __builtin_memcpy(&im, from_im, sizeof(im));
  }

  [[gnu::always_inline]] void store(double* to_re, double* to_im) const {
    __builtin_memcpy(to_re, &re, sizeof(re));
    __builtin_memcpy(to_im, &im, sizeof(im));
  }

  [[gnu::always_inline]] void store_power(double* to) const {
    const Vector power = (re * re + im * im) / kPowerScale;
    __builtin_memcpy(to, &power, sizeof(power));
  }

  [[gnu::always_inline]] void multiply(const Numbers& by) {
    const Vector product = re * by.re - im * by.im;
    im = re * by.im + im * by.re;
    re = product;
  }

  // this, other = this + other, this - other
  [[gnu::always_inline]] void butterfly(Numbers& other) {
    const Vector difference_re = re - other.re;
    const Vector difference_im = im - other.im;
    re += other.re;
    im += other.im;
    other.re = difference_re;
    other.im = difference_im;
  }

  // this, other = this - j * other, this + j * other
  [[gnu::always_inline]] void turned_butterfly(Numbers& other) {
    const Vector sum_re = re - other.im;
    const Vector sum_im = im + other.re;
    re += other.im;
    im -= other.re;
    other.re = sum_re;
    other.im = sum_im;
  }
};

// The stages of half-length h and 2h. A group of 4h points has four parts of h points; the first
// stage pairs parts 0 with 1 and 2 with 3, the second one 0 with 2 and 1 with 3. In the latter, the
// factor of parts 1 and 3 is -j times that of parts 0 and 2. The last two stages put out powers,
// and only those of the lower half: the upper half mirrors it.
template <typename Vector, bool Last>
[[gnu::always_inline]] inline void two_stages(Workspace& w, std::ptrdiff_t h) {
  constexpr std::ptrdiff_t kLanes = sizeof(Vector) / sizeof(double);
  for (std::ptrdiff_t start = 0; start < kFftSize; start += 4 * h) {
    for (std::ptrdiff_t k = 0; k < h; k += kLanes) {
      double* re = w.re + start + k;
      double* im = w.im + start + k;
      const Numbers<Vector> first(w.factor_re + h + k, w.factor_im + h + k);
      const Numbers<Vector> second(w.factor_re + 2 * h + k, w.factor_im + 2 * h + k);
      Numbers<Vector> x0(re, im);
      Numbers<Vector> x1(re + h, im + h);
      Numbers<Vector> x2(re + 2 * h, im + 2 * h);
      Numbers<Vector> x3(re + 3 * h, im + 3 * h);
      x1.multiply(first);
      x3.multiply(first);
      x0.butterfly(x1);
      x2.butterfly(x3);
      x2.multiply(second);
      x3.multiply(second);
      x0.butterfly(x2);
      x1.turned_butterfly(x3);
      if constexpr (Last) {
        x0.store_power(w.power + k);
        x1.store_power(w.power + h + k);
      } else {
        x0.store(re, im);
        x1.store(re + h, im + h);
        x2.store(re + 2 * h, im + 2 * h);
        x3.store(re + 3 * h, im + 3 * h);
      }
    }
  }
}

template <typename Vector>
[[gnu::always_inline]] inline void transform(const float* samples, Workspace& w) {
  enter(samples, w);
  for (std::ptrdiff_t h = 4; h < kQuarter; h *= 4)
    two_stages<Vector, false>(w, h);
  two_stages<Vector, true>(w, kQuarter);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]]
#endif
void transform_wide(const float* samples, Workspace& w) {
  transform<Quad>(samples, w);
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
  } else if (wide) {
    transform_wide(samples, w);
  } else {
    transform<Pair>(samples, w);
  }
  for (int b = 0; b < kBars; ++b) {
    const Bins& bins = w.bars[b];
    if (!bins.visible) {
      out[b] = kSilenceDb;
      continue;
    }
    double sum = 0.0;
    for (int k = bins.first; k <= bins.last; ++k)
      sum += w.power[k];
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
