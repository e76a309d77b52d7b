// DESIGN: the textbook in-place transform: bit reversal, then stages of length 2, 4, ... kFftSize.
// Its input is real, so every part is symmetric at every stage: the upper half has the conjugates
// of the lower one. Only the lower half is computed and stored, by the same butterflies. A part of
// length n has n/2 numbers; its first number and its middle one are real, and the middle one is
// kept as the first one's imaginary part.
//
// Real and imaginary parts are kept apart, so that neighbouring butterflies fit into the lanes of a
// vector. Two stages at a time go over the buffer, because going over it costs as much as the
// arithmetic. The first four stages are done in registers while the samples are windowed and put
// into their bit-reversed places; there, the lanes are parts whose samples are neighbours.
#include "power_spectrum.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>

namespace analyzer {
namespace {

constexpr double kPowerScale = 1572864.0;  // 3 * 2^19

// After four stages: parts of this length, and this many.
constexpr int kShort = 16;
constexpr std::ptrdiff_t kShorts = kFftSize / kShort;
constexpr int kShortsBits = 8;
static_assert(1 << kShortsBits == kShorts);

struct Workspace {
  double window[kFftSize];
  std::int16_t place[kShorts];  // where a short part begins among the kept numbers
  // Factors of the stage with half-length h are at h..2h-1.
  double factor_re[kFftSize];
  double factor_im[kFftSize];

  double re[kBins];
  double im[kBins];

  Workspace();
};

// The number whose `bits` bits are those of i in reverse.
int reversed_bits(int i, int bits) {
  int reversed = 0;
  for (; bits > 0; --bits, i /= 2)
    reversed = reversed * 2 + i % 2;
  return reversed;
}

Workspace::Workspace() {
  std::copy_n(hann(), kFftSize, window);
  for (int i = 0; i < kShorts; ++i)
    place[i] = static_cast<std::int16_t>(reversed_bits(i, kShortsBits) * (kShort / 2));
  factor_re[0] = factor_im[0] = 0.0;
  for (int half = 1; half < kFftSize; half *= 2) {
    for (int k = 0; k < half; ++k) {
      const double angle = -std::numbers::pi * k / half;
      factor_re[half + k] = std::cos(angle);
      factor_im[half + k] = std::sin(angle);
    }
  }
}

using Pair [[gnu::vector_size(2 * sizeof(double))]] = double;
using Quad [[gnu::vector_size(4 * sizeof(double))]] = double;

// Vectors are passed by reference only: by value, the calling convention of wide vectors depends on
// the instruction set.
[[gnu::always_inline]] inline void reverse(Pair& v) {
  v = __builtin_shufflevector(v, v, 1, 0);
}

[[gnu::always_inline]] inline void reverse(Quad& v) {
  v = __builtin_shufflevector(v, v, 3, 2, 1, 0);
}

// Copied with the compiler's own memcpy: the checked one of a hardened build costs Clang half of
// the transform's speed.
template <typename Vector>
[[gnu::always_inline]] inline void load(Vector& v, const double* from) {
  __builtin_memcpy(&v, from, sizeof(v));
}

template <typename Vector>
[[gnu::always_inline]] inline void store(const Vector& v, double* to) {
  __builtin_memcpy(to, &v, sizeof(v));
}

// Complex numbers: one, or as many side by side as a vector has lanes.
template <typename Real>
struct Numbers {
  Real re;
  Real im;

  [[gnu::always_inline]] void multiply(const Numbers& by) {
    const Real product = re * by.re - im * by.im;
    im = re * by.im + im * by.re;
    re = product;
  }

  // this, other = this + other, this - other
  [[gnu::always_inline]] void butterfly(Numbers& other) {
    const Real difference_re = re - other.re;
    const Real difference_im = im - other.im;
    re += other.re;
    im += other.im;
    other.re = difference_re;
    other.im = difference_im;
  }

  // this, other = this + other, conjugate of this - other
  [[gnu::always_inline]] void mirrored_butterfly(Numbers& other) {
    const Real difference_re = re - other.re;
    const Real difference_im = other.im - im;
    re += other.re;
    im += other.im;
    other.re = difference_re;
    other.im = difference_im;
  }

  // this, other = this - j * other, conjugate of this + j * other
  [[gnu::always_inline]] void turned_butterfly(Numbers& other) {
    const Real sum_re = re - other.im;
    const Real sum_im = -(im + other.re);
    re += other.im;
    im -= other.re;
    other.re = sum_re;
    other.im = sum_im;
  }
};

// The numbers of four parts at one place. Members, not an array, so that they stay in registers.
template <typename Real>
struct Four {
  Numbers<Real> x0;
  Numbers<Real> x1;
  Numbers<Real> x2;
  Numbers<Real> x3;
};

// Two stages, of half-length h and 2h, join four parts of length h to one of length 4h. The first
// pairs parts 0 with 1 and 2 with 3, the second one 0 with 2 and 1 with 3; there, the factor of
// parts 1 and 3 is -j times that of parts 0 and 2.
//
// From the numbers k of the parts, 0 < k < h/2, come number k of the whole in x0, h + k in x1,
// 2h - k in x2 and h - k in x3.
template <typename Real>
[[gnu::always_inline]] inline void join(Four<Real>& f, const Numbers<Real>& first,
                                        const Numbers<Real>& second) {
  f.x1.multiply(first);
  f.x3.multiply(first);
  f.x0.butterfly(f.x1);
  f.x2.butterfly(f.x3);
  f.x2.multiply(second);
  f.x3.multiply(second);
  f.x0.mirrored_butterfly(f.x2);
  f.x1.turned_butterfly(f.x3);
}

// From the parts' numbers 0, that is their first and middle ones, come number 0 of the whole in x0,
// h in x1, 2h - h/2 in x2 and h/2 in x3.
template <typename Real>
[[gnu::always_inline]] inline void join_real(Four<Real>& f, const Numbers<Real>& eighth_turn) {
  Numbers<Real> low{f.x0.im, -f.x1.im};
  Numbers<Real> high{f.x2.im, -f.x3.im};
  const Real even = f.x0.re + f.x1.re;
  const Real odd = f.x2.re + f.x3.re;
  const Real turned_re = f.x0.re - f.x1.re;
  const Real turned_im = f.x3.re - f.x2.re;
  high.multiply(eighth_turn);
  low.mirrored_butterfly(high);
  f.x0.re = even + odd;
  f.x0.im = even - odd;
  f.x1.re = turned_re;
  f.x1.im = turned_im;
  f.x2 = high;
  f.x3 = low;
}

// As many samples as a vector has lanes, windowed.
template <typename Vector>
[[gnu::always_inline]] inline void load_windowed(Vector& v, const float* sample,
                                                 const double* window) {
  for (std::size_t i = 0; i < sizeof(v) / sizeof(double); ++i)
    v[i] = static_cast<double>(sample[i]);
  Vector factor;
  load(factor, window);
  v *= factor;
}

// Numbers 0 and 1 of parts of length 4.
template <typename Vector>
[[gnu::always_inline]] inline void join_samples(Numbers<Vector>& real, Numbers<Vector>& rest,
                                                const float* samples, const double* window) {
  constexpr std::ptrdiff_t kApart = kFftSize / 4;
  Vector x0;
  Vector x1;
  Vector x2;
  Vector x3;
  load_windowed(x0, samples, window);
  load_windowed(x1, samples + 2 * kApart, window + 2 * kApart);
  load_windowed(x2, samples + kApart, window + kApart);
  load_windowed(x3, samples + 3 * kApart, window + 3 * kApart);
  const Vector even = x0 + x1;
  const Vector odd = x2 + x3;
  real.re = even + odd;
  real.im = even - odd;
  rest.re = x0 - x1;
  rest.im = x3 - x2;
}

// Stores eight vectors, whose lanes belong to parts that begin at place[0], place[1] ...
[[gnu::always_inline]] inline void scatter(const Pair (&v)[8], double* to,
                                           const std::int16_t* place) {
  for (std::ptrdiff_t n = 0; n < 8; n += 2) {
    store(__builtin_shufflevector(v[n], v[n + 1], 0, 2), to + place[0] + n);
    store(__builtin_shufflevector(v[n], v[n + 1], 1, 3), to + place[1] + n);
  }
}

[[gnu::always_inline]] inline void scatter(const Quad (&v)[8], double* to,
                                           const std::int16_t* place) {
  for (std::ptrdiff_t n = 0; n < 8; n += 4) {
    const Quad a = __builtin_shufflevector(v[n], v[n + 1], 0, 4, 2, 6);
    const Quad b = __builtin_shufflevector(v[n], v[n + 1], 1, 5, 3, 7);
    const Quad c = __builtin_shufflevector(v[n + 2], v[n + 3], 0, 4, 2, 6);
    const Quad d = __builtin_shufflevector(v[n + 2], v[n + 3], 1, 5, 3, 7);
    store(__builtin_shufflevector(a, c, 0, 1, 4, 5), to + place[0] + n);
    store(__builtin_shufflevector(b, d, 0, 1, 4, 5), to + place[1] + n);
    store(__builtin_shufflevector(a, c, 2, 3, 6, 7), to + place[2] + n);
    store(__builtin_shufflevector(b, d, 2, 3, 6, 7), to + place[3] + n);
  }
}

// Windows the samples and does the stages of length 2, 4, 8 and 16.
template <typename Vector>
[[gnu::always_inline]] inline void enter(const float* samples, Workspace& w) {
  constexpr std::ptrdiff_t kLanes = sizeof(Vector) / sizeof(double);
  const Numbers<Vector> eighth_turn{w.factor_re[10] + Vector{}, w.factor_im[10] + Vector{}};
  const Numbers<Vector> first{w.factor_re[5] + Vector{}, w.factor_im[5] + Vector{}};
  const Numbers<Vector> second{w.factor_re[9] + Vector{}, w.factor_im[9] + Vector{}};
  for (std::ptrdiff_t i = 0; i < kShorts; i += kLanes) {
    const float* at = samples + i;
    const double* window = w.window + i;
    Four<Vector> real;
    Four<Vector> rest;
    join_samples(real.x0, rest.x0, at, window);
    join_samples(real.x1, rest.x1, at + 2 * kShorts, window + 2 * kShorts);
    join_samples(real.x2, rest.x2, at + kShorts, window + kShorts);
    join_samples(real.x3, rest.x3, at + 3 * kShorts, window + 3 * kShorts);
    join_real(real, eighth_turn);
    join(rest, first, second);
    scatter({real.x0.re, rest.x0.re, real.x3.re, rest.x3.re, real.x1.re, rest.x1.re, real.x2.re,
             rest.x2.re},
            w.re, w.place + i);
    scatter({real.x0.im, rest.x0.im, real.x3.im, rest.x3.im, real.x1.im, rest.x1.im, real.x2.im,
             rest.x2.im},
            w.im, w.place + i);
  }
}

// Where the results of a join go: into the parts, or, from the last stages, out as powers.
struct Inside {
  double* re;
  double* im;

  template <typename Real>
  [[gnu::always_inline]] void put(const Numbers<Real>& x, std::ptrdiff_t at) const {
    store(x.re, re + at);
    store(x.im, im + at);
  }
};

struct Powers {
  double* power;

  template <typename Real>
  [[gnu::always_inline]] void put(const Numbers<Real>& x, std::ptrdiff_t at) const {
    const Real value = (x.re * x.re + x.im * x.im) / kPowerScale;
    store(value, power + at);
  }
};

// The stages of half-length h and 2h, for four parts whose numbers begin at re and im.
template <typename Vector, typename Out>
struct Joiner {
  static constexpr std::ptrdiff_t kLanes = sizeof(Vector) / sizeof(double);

  const Workspace& w;
  const double* re;
  const double* im;
  std::ptrdiff_t h;
  Out out;

  template <typename Real>
  [[gnu::always_inline]] void load_four(Four<Real>& f, std::ptrdiff_t k) const {
    load_one(f.x0, k);
    load_one(f.x1, k + h / 2);
    load_one(f.x2, k + h);
    load_one(f.x3, k + h + h / 2);
  }

  template <typename Real>
  [[gnu::always_inline]] void load_one(Numbers<Real>& x, std::ptrdiff_t k) const {
    load(x.re, re + k);
    load(x.im, im + k);
  }

  [[gnu::always_inline]] void factor(Numbers<Vector>& x, std::ptrdiff_t at) const {
    load(x.re, w.factor_re + at);
    load(x.im, w.factor_im + at);
  }

  [[gnu::always_inline]] void put_reversed(Numbers<Vector>& x, std::ptrdiff_t last) const {
    reverse(x.re);
    reverse(x.im);
    out.put(x, last - (kLanes - 1));
  }

  [[gnu::always_inline]] void finish(Four<Vector>& f, std::ptrdiff_t k) const {
    Numbers<Vector> first;
    Numbers<Vector> second;
    factor(first, h + k);
    factor(second, 2 * h + k);
    join(f, first, second);
    out.put(f.x0, k);
    out.put(f.x1, h + k);
    put_reversed(f.x2, 2 * h - k);
    put_reversed(f.x3, h - k);
  }

  [[gnu::always_inline]] void run() const {
    Four<double> real;
    load_four(real, 0);
    join_real(real, {w.factor_re[2 * h + h / 2], w.factor_im[2 * h + h / 2]});
    out.put(real.x0, 0);
    out.put(real.x1, h);
    out.put(real.x2, 2 * h - h / 2);
    out.put(real.x3, h / 2);

    // What comes from the numbers k and h/2 - k goes into their places, so both are loaded first.
    for (std::ptrdiff_t k = 1; k <= h / 4; k += kLanes) {
      const std::ptrdiff_t opposite = h / 2 - k - (kLanes - 1);
      Four<Vector> low;
      Four<Vector> high;
      load_four(low, k);
      load_four(high, opposite);
      finish(low, k);
      finish(high, opposite);
    }
  }
};

template <typename Vector>
[[gnu::always_inline]] inline void transform(const float* samples, double* power, Workspace& w) {
  enter<Vector>(samples, w);
  constexpr std::ptrdiff_t kLast = kFftSize / 4;
  for (std::ptrdiff_t h = kShort; h < kLast; h *= 4) {
    for (std::ptrdiff_t start = 0; start < kBins; start += 2 * h) {
      double* re = w.re + start;
      double* im = w.im + start;
      Joiner<Vector, Inside>{w, re, im, h, {re, im}}.run();
    }
  }
  Joiner<Vector, Powers>{w, w.re, w.im, kLast, {power}}.run();
  power[0] = 0.0;
}

#if defined(__x86_64__)
[[gnu::target("avx2")]]
#endif
void transform_wide(const float* samples, double* power, Workspace& w) {
  transform<Quad>(samples, power, w);
}

}  // namespace

void power_spectrum(const float* samples, double* power, bool wide) {
  static Workspace w;
  if (wide) {
    transform_wide(samples, power, w);
  } else {
    transform<Pair>(samples, power, w);
  }
}

}  // namespace analyzer
