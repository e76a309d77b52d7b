// DESIGN: a band needs its own previous sample and the output of the band before it, so one sample
// passes the bands one after the other. Neighbouring samples need not wait for that: as a
// *wavefront* at step t, band i works on sample t - i, and all bands of a step are independent. The
// two channels stand side by side in the lanes of a vector, and so do as many neighbouring bands as
// it has room for; four lanes hold L and R of band i and L and R of band i + 1.
//
// Every lane does the operations of the plain loop in their order, so the bits are the same however
// many lanes there are. Where the wave enters and leaves a block, some bands have no sample; there
// the memory of their lanes is kept as it was.
//
// A block is widened to doubles before and narrowed after, by loops that the compiler turns into
// vectors by itself. With two lanes the cascade takes two turns of five bands, because the memory
// of more does not fit into the registers of the baseline.
#include "eq_kernel.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>

namespace eq {
namespace {

constexpr int kStereo = 2;
constexpr int kBlockFrames = 512;

// The wave must be all in before it begins to leave.
constexpr int kFewestFrames = kBands - 1;

// Frames that a step may read before the first and after the last frame of a block.
constexpr std::ptrdiff_t kLeadFrames = 3;
constexpr std::ptrdiff_t kTailFrames = 2 * std::ptrdiff_t{kBands - 1};

constexpr std::uint32_t kMagnitudeBits = 0x7fffffffU;
constexpr std::uint32_t kInfinityBits = 0x7f800000U;

double finite_or_silence(float sample) {
  const auto bits = std::bit_cast<std::uint32_t>(sample);
  const std::uint32_t keep = (bits & kInfinityBits) != kInfinityBits ? ~0U : 0U;
  return std::bit_cast<float>(bits & keep);
}

// What a turn of the cascade consists of: groups of bands, one vector each.
template <int Lanes>
struct Shape;

template <>
struct Shape<2> {
  using Vector [[gnu::vector_size(16)]] = double;
  using Mask [[gnu::vector_size(16)]] = std::int64_t;
  static constexpr int kGroups = 5;
  static constexpr int kTurnBands = 5;
};

template <>
struct Shape<4> {
  using Vector [[gnu::vector_size(32)]] = double;
  using Mask [[gnu::vector_size(32)]] = std::int64_t;
  static constexpr int kGroups = 5;
  static constexpr int kTurnBands = 10;
};

// The upper half of the last group has no band to work on.
template <>
struct Shape<8> {
  using Vector [[gnu::vector_size(64)]] = double;
  using Mask [[gnu::vector_size(64)]] = std::int64_t;
  static constexpr int kGroups = 3;
  static constexpr int kTurnBands = 10;
};

// Masks of the lanes that have a sample of the block, as a window that moves by one band per step:
// at first over the border between "inside" and "not yet", at last between "no more" and "inside".
constexpr std::ptrdiff_t kWindowBands = 12;
struct Window {
  std::int64_t lanes[3 * kWindowBands * kStereo] = {};
};
constexpr Window kWindow = [] {
  Window w;
  for (std::ptrdiff_t i = 0; i < kWindowBands * kStereo; ++i) {
    w.lanes[i] = -1;
    w.lanes[2 * kWindowBands * kStereo + i] = -1;
  }
  return w;
}();

// One turn of the cascade through a block. Vectors are passed by reference only: by value, their
// calling convention depends on the instruction set.
template <int Lanes>
struct Turn : Shape<Lanes> {
  using typename Shape<Lanes>::Vector;
  using typename Shape<Lanes>::Mask;
  using Shape<Lanes>::kGroups;
  using Shape<Lanes>::kTurnBands;
  static constexpr int kGroupBands = Lanes / kStereo;
  // The last band's output is that many frames behind the first band's input.
  static constexpr int kDelay = kTurnBands - 1;

  Vector b0[kGroups];
  Vector b1[kGroups];
  Vector b2[kGroups];
  Vector a1[kGroups];
  Vector a2[kGroups];
  Vector z1[kGroups];
  Vector z2[kGroups];
  Vector out[kGroups];  // of the step before

  [[gnu::always_inline]] Turn(const Processor& p, int first_band) {
    fill(out, [](int, int) { return 0.0; });
    fill(z2, [&](int c, int i) { return p.z2[c][first_band + i]; });
    fill(z1, [&](int c, int i) { return p.z1[c][first_band + i]; });
    fill(a2, [&](int, int i) { return p.bands[first_band + i].a2; });
    fill(a1, [&](int, int i) { return p.bands[first_band + i].a1; });
    fill(b2, [&](int, int i) { return p.bands[first_band + i].b2; });
    fill(b1, [&](int, int i) { return p.bands[first_band + i].b1; });
    fill(b0, [&](int, int i) { return p.bands[first_band + i].b0; });
  }

  // Sets every lane to value(channel, band of this turn).
  template <typename Value>
  [[gnu::always_inline]] static void fill(Vector (&vectors)[kGroups], Value value) {
    for (int g = 0; g < kGroups; ++g) {
      double lanes[Lanes];
      for (int lane = 0; lane < Lanes; ++lane) {
        const int i = g * kGroupBands + lane / kStereo;
        lanes[lane] = i < kTurnBands ? value(lane % kStereo, i) : 0.0;
      }
      std::memcpy(&vectors[g], lanes, sizeof(lanes));
    }
  }

  [[gnu::always_inline]] void store_memory(Processor& p, int first_band) const {
    for (int i = 0; i < kTurnBands; ++i) {
      for (int c = 0; c < kStereo; ++c) {
        const int lane = i % kGroupBands * kStereo + c;
        p.z2[c][first_band + i] = z2[i / kGroupBands][lane];
        p.z1[c][first_band + i] = z1[i / kGroupBands][lane];
      }
    }
  }

  // Every band gets the output of the band before it: all pairs of lanes move up by one band.
  [[gnu::always_inline]] static void advance(const Vector& before, const Vector& own, Vector& x) {
    if constexpr (Lanes == 2) {
      x = before;
    } else if constexpr (Lanes == 4) {
      x = __builtin_shufflevector(before, own, 2, 3, 4, 5);
    } else {
      x = __builtin_shufflevector(before, own, 6, 7, 8, 9, 10, 11, 12, 13);
    }
  }

  [[gnu::always_inline]] static void replace(const Mask& inside, const Vector& fresh,
                                             Vector& kept) {
    kept = reinterpret_cast<Vector>((reinterpret_cast<Mask>(fresh) & inside) |
                                    (reinterpret_cast<Mask>(kept) & ~inside));
  }

  // Takes one frame in and puts one out. With Ramp, only the lanes inside change their memory.
  template <bool Ramp>
  [[gnu::always_inline]] void step(const double* in_frame, double* out_frame,
                                   const std::int64_t* inside) {
    // From the last group down, because a group's input is what its predecessor put out before.
#pragma GCC unroll 5
    for (int g = kGroups - 1; g >= 0; --g) {
      Vector before;
      if (g > 0) {
        before = out[g - 1];
      } else {
        // Only the last two lanes count, and they are the frame.
        std::memcpy(&before, in_frame + kStereo - Lanes, sizeof(before));
      }
      Vector x;
      advance(before, out[g], x);

      // Written in an order for which compilers find enough registers.
      const Vector y = b0[g] * x + z1[g];
      const Vector from_x1 = b1[g] * x;
      const Vector from_x2 = b2[g] * x;
      const Vector from_y1 = a1[g] * y;
      const Vector from_y2 = a2[g] * y;
      const Vector new_z1 = from_x1 - from_y1 + z2[g];
      const Vector new_z2 = from_x2 - from_y2;
      if constexpr (Ramp) {
        Mask mask;
        std::memcpy(&mask, inside + static_cast<std::ptrdiff_t>(g) * Lanes, sizeof(mask));
        replace(mask, new_z1, z1[g]);
        replace(mask, new_z2, z2[g]);
      } else {
        z1[g] = new_z1;
        z2[g] = new_z2;
      }
      out[g] = y;
    }
    constexpr int kLast = kDelay % kGroupBands * kStereo;
    const Vector& last = out[kGroups - 1];
    const Shape<2>::Vector frame = __builtin_shufflevector(last, last, kLast, kLast + 1);
    std::memcpy(out_frame, &frame, sizeof(frame));
  }

  // Reads `frames` frames and kDelay more of no meaning; writes kDelay frames of no meaning and
  // then `frames` frames.
  [[gnu::always_inline]] void run(const double* in, double* out_frames, int frames) {
    const std::int64_t* const entering = kWindow.lanes + kStereo * (kWindowBands - 1);
    const std::int64_t* const leaving = kWindow.lanes + kStereo * (2 * kWindowBands - 1);
    const std::ptrdiff_t count = frames;
    for (std::ptrdiff_t t = 0; t < kDelay; ++t) {
      step<true>(in + kStereo * t, out_frames + kStereo * t, entering - kStereo * t);
    }
    for (std::ptrdiff_t t = kDelay; t < count; ++t) {
      step<false>(in + kStereo * t, out_frames + kStereo * t, nullptr);
    }
    for (std::ptrdiff_t t = count; t < count + kDelay; ++t) {
      step<true>(in + kStereo * t, out_frames + kStereo * t, leaving - kStereo * (t - count));
    }
  }
};

[[gnu::always_inline]] inline void widen(const float* samples, double* out, int count) {
  for (int i = 0; i < count; ++i)
    out[i] = finite_or_silence(samples[i]);
}

[[gnu::always_inline]] inline void narrow(const double* in, double factor, float* samples,
                                          int count) {
  // Most blocks stay below the knee, so the limiter's branches wait for one that does not. In this
  // order of bits, infinities and NaNs are above the knee.
  bool above = false;
  for (int i = 0; i < count; ++i) {
    samples[i] = static_cast<float>(factor * in[i]);
    above |= (std::bit_cast<std::uint32_t>(samples[i]) & kMagnitudeBits) >
             std::bit_cast<std::uint32_t>(kLimiterKnee);
  }
  if (!above) return;
  for (int i = 0; i < count; ++i)
    samples[i] = soft_limit(samples[i]);
}

template <int Lanes>
[[gnu::always_inline]] inline void process_block(Processor& p, float* samples, int frames) {
  constexpr std::ptrdiff_t kRoom = kStereo * (kLeadFrames + kBlockFrames + kTailFrames);
  constexpr std::ptrdiff_t kDelaySamples = kStereo * Turn<Lanes>::kDelay;
  double first[kRoom];
  double second[kRoom];
  const int count = kStereo * frames;

  double* from = first + kStereo * kLeadFrames;
  double* to = second;
  std::fill_n(first, kStereo * kLeadFrames, 0.0);
  widen(samples, from, count);
  // What the steps read after the last frame, here and, if there is another turn, there.
  std::fill_n(from + count, kDelaySamples, 0.0);
  std::fill_n(to + kDelaySamples + count, kDelaySamples, 0.0);

  for (int band = 0; band < kBands; band += Turn<Lanes>::kTurnBands) {
    Turn<Lanes> turn(p, band);
    turn.run(from, to, frames);
    turn.store_memory(p, band);
    from = std::exchange(to, from) + kDelaySamples;
  }
  narrow(from, p.pre_gain, samples, count);
}

template <int Lanes>
[[gnu::always_inline]] inline void process_blocks(Processor& p, float* samples, int frames) {
  while (frames > 0) {
    const int block = std::min(frames, kBlockFrames);
    if (block < kFewestFrames) {
      process_plain(p, samples, block);
    } else {
      process_block<Lanes>(p, samples, block);
    }
    samples += static_cast<std::ptrdiff_t>(block) * kStereo;
    frames -= block;
  }
}

#if defined(__x86_64__)

[[gnu::target("avx2")]] void process_four_lanes(Processor& p, float* samples, int frames) {
  process_blocks<4>(p, samples, frames);
}

[[gnu::target("avx512f")]] void process_eight_lanes(Processor& p, float* samples, int frames) {
  process_blocks<8>(p, samples, frames);
}

#endif

}  // namespace

void process_plain(Processor& p, float* samples, int frames) {
  float* sample = samples;
  for (int frame = 0; frame < frames; ++frame) {
    for (int c = 0; c < p.channels; ++c, ++sample) {
      double y = finite_or_silence(*sample);
      for (int i = 0; i < kBands; ++i) {
        const Band& band = p.bands[i];
        if (!band.active) continue;
        const double x = y;
        y = band.b0 * x + p.z1[c][i];
        p.z1[c][i] = band.b1 * x - band.a1 * y + p.z2[c][i];
        p.z2[c][i] = band.b2 * x - band.a2 * y;
      }
      *sample = soft_limit(static_cast<float>(static_cast<double>(p.pre_gain) * y));
    }
  }
}

bool fits_stereo(const Processor& p) {
  return p.channels == kStereo && std::all_of(std::begin(p.bands), std::end(p.bands),
                                              [](const Band& band) { return band.active; });
}

#if defined(__x86_64__)

bool has_lanes(int lanes) {
  switch (lanes) {
    case 2:
      return true;
    case 4:
      return __builtin_cpu_supports("avx2") != 0;
    case 8:
      // The second one is not used. It tells the chips that run at full speed with vectors of this
      // width from the first ones, which lower their clock.
      return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512vbmi") != 0;
    default:
      return false;
  }
}

void process_stereo(Processor& p, float* samples, int frames, int lanes) {
  switch (lanes) {
    case 8:
      return process_eight_lanes(p, samples, frames);
    case 4:
      return process_four_lanes(p, samples, frames);
    default:
      return process_blocks<2>(p, samples, frames);
  }
}

#else

bool has_lanes(int lanes) {
  return lanes == 2;
}

void process_stereo(Processor& p, float* samples, int frames, int) {
  process_blocks<2>(p, samples, frames);
}

#endif

void process_best(Processor& p, float* samples, int frames) {
  if (!fits_stereo(p)) return process_plain(p, samples, frames);
  const auto* const best =
      std::find_if(std::rbegin(kLaneChoices), std::rend(kLaneChoices), has_lanes).base() - 1;
  process_stereo(p, samples, frames, *best);
}

}  // namespace eq
