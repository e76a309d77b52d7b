// Internal: the cascade of bands as a wavefront, for eq_kernel.cpp alone, whose DESIGN paragraph
// explains it. Everything here is inlined into functions that are compiled for one instruction set
// each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "dsp/eq_dsp.h"

namespace eq::cascade {

inline constexpr int kStereo = 2;

using Frame [[gnu::vector_size(16)]] = double;  // left and right

// The parts of a turn of the cascade: groups of bands, one vector each.
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
inline constexpr std::ptrdiff_t kWindowBands = 12;
struct Window {
  std::int64_t lanes[3 * kWindowBands * kStereo] = {};
};
inline constexpr Window kWindow = [] {
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

  // Takes one frame in, as the last two lanes of `frame`, and puts one out into it. With Ramp, only
  // the lanes inside change their memory.
  template <bool Ramp>
  [[gnu::always_inline]] void step(Vector& in_frame, Frame& out_frame, const std::int64_t* inside) {
    // From the last group down, because a group's input is what its predecessor put out before.
#pragma GCC unroll 5
    for (int g = kGroups - 1; g >= 0; --g) {
      Vector before;
      if (g > 0) {
        before = out[g - 1];
      } else {
        before = in_frame;
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
    out_frame = __builtin_shufflevector(last, last, kLast, kLast + 1);
  }

  // Passes `frames` frames from `source` to `sink`, in order. A source gives each frame in the last
  // two lanes of a vector.
  template <typename Source, typename Sink>
  [[gnu::always_inline]] void run(Source& source, Sink& sink, int frames) {
    const std::int64_t* const entering = kWindow.lanes + kStereo * (kWindowBands - 1);
    const std::int64_t* const leaving = kWindow.lanes + kStereo * (2 * kWindowBands - 1);
    const std::ptrdiff_t count = frames;
    Vector in = {};
    Frame frame = {};
    for (std::ptrdiff_t t = 0; t < kDelay; ++t) {
      source.read(t, in);
      step<true>(in, frame, entering - kStereo * t);
    }
    std::ptrdiff_t t = kDelay;
    for (; t + 1 < count; t += 2) {
      Vector in_next = {};
      Frame frame_next = {};
      source.read_two(t, in, in_next);
      step<false>(in, frame, nullptr);
      step<false>(in_next, frame_next, nullptr);
      sink.write_two(t - kDelay, frame, frame_next);
    }
    if (t < count) {
      source.read(t, in);
      step<false>(in, frame, nullptr);
      sink.write(t - kDelay, frame);
    }
    for (t = count; t < count + kDelay; ++t) {
      step<true>(in, frame, leaving - kStereo * (t - count));
      sink.write(t - kDelay, frame);
    }
  }
};

}  // namespace eq::cascade
