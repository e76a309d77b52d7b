// DESIGN: a band needs its own previous sample and the output of the band before it, so one sample
// passes the bands one after the other. Neighbouring samples need not wait for that: as a
// *wavefront* at step t, band i works on sample t - i, and all bands of a step are independent. The
// two channels stand side by side in the lanes of a vector, and so do as many neighbouring bands as
// it has room for; four lanes hold L and R of band i and L and R of band i + 1.
//
// Every lane does the operations of the plain loop in their order, so the bits are the same however
// many lanes there are. Where the wave enters and leaves a block, some bands have no sample; the
// memory of their lanes then stays unchanged.
//
// The steps wait for each other's results, so widening a frame to doubles before the first band and
// narrowing it after the last one costs next to nothing in between. With two lanes the cascade
// takes two turns of five bands, because the memory of more does not fit into the registers of the
// baseline.
#include "eq_kernel.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>

#include "eq_cascade.h"

namespace eq {
namespace {

using namespace cascade;

constexpr int kBlockFrames = 512;

// The wave must be complete before it begins to leave.
constexpr int kFewestFrames = kBands - 1;

constexpr std::uint32_t kMagnitudeBits = 0x7fffffffU;
constexpr std::uint32_t kInfinityBits = 0x7f800000U;

double finite_or_silence(float sample) {
  const auto bits = std::bit_cast<std::uint32_t>(sample);
  const std::uint32_t keep = (bits & kInfinityBits) != kInfinityBits ? ~0U : 0U;
  return std::bit_cast<float>(bits & keep);
}

// Where a turn gets its frames from and where it puts them ------------

using Four [[gnu::vector_size(16)]] = float;  // two frames
using FourBits [[gnu::vector_size(16)]] = std::uint32_t;
using FourWide [[gnu::vector_size(32)]] = double;

// A frame in the last two lanes.
template <int Lanes, int From, typename Vector>
[[gnu::always_inline]] inline void place(const FourWide& frames, Vector& out) {
  constexpr int kTo = From + 1;
  if constexpr (Lanes == 2) {
    out = __builtin_shufflevector(frames, frames, From, kTo);
  } else if constexpr (Lanes == 4) {
    out = __builtin_shufflevector(frames, frames, From, kTo, From, kTo);
  } else {
    out = __builtin_shufflevector(frames, frames, From, kTo, From, kTo, From, kTo, From, kTo);
  }
}

// The caller's samples; what is not finite counts as silence.
template <int Lanes>
struct Samples {
  using Vector = typename Shape<Lanes>::Vector;
  const float* samples;

  [[gnu::always_inline]] void read(std::ptrdiff_t frame, Vector& out) const {
    const float* const at = samples + kStereo * frame;
    place<Lanes, 0>(FourWide{finite_or_silence(at[0]), finite_or_silence(at[1])}, out);
  }
  [[gnu::always_inline]] void read_two(std::ptrdiff_t frame, Vector& first, Vector& second) const {
    FourBits bits;
    std::memcpy(&bits, samples + kStereo * frame, sizeof(bits));
    bits &= ~reinterpret_cast<FourBits>((bits & kInfinityBits) == kInfinityBits);
    const FourWide wide = __builtin_convertvector(reinterpret_cast<Four>(bits), FourWide);
    place<Lanes, 0>(wide, first);
    place<Lanes, 2>(wide, second);
  }
};

// The caller's samples, after the preamp. Most blocks stay below the limiter's knee, so its
// branches wait for one that does not. Infinities and NaNs do not.
struct Output {
  float* samples;
  double factor;
  FourBits within = ~FourBits{};  // all ones where no sample was above the knee

  [[gnu::always_inline]] void write(std::ptrdiff_t frame, const Frame& in) {
    Four narrow = {static_cast<float>(factor * in[0]), static_cast<float>(factor * in[1])};
    check(narrow);
    std::memcpy(samples + kStereo * frame, &narrow, sizeof(float) * kStereo);
  }
  [[gnu::always_inline]] void write_two(std::ptrdiff_t frame, const Frame& first,
                                        const Frame& second) {
    const FourWide wide = __builtin_shufflevector(first, second, 0, 1, 2, 3);
    Four narrow = __builtin_convertvector(factor * wide, Four);
    check(narrow);
    std::memcpy(samples + kStereo * frame, &narrow, sizeof(narrow));
  }
  [[gnu::always_inline]] void check(const Four& narrow) {
    const Four size = reinterpret_cast<Four>(reinterpret_cast<FourBits>(narrow) & kMagnitudeBits);
    within &= reinterpret_cast<FourBits>(size <= kLimiterKnee);
  }
  [[gnu::always_inline]] void limit(int count) {
    if ((within[0] & within[1] & within[2] & within[3]) != 0) return;
    for (int i = 0; i < count; ++i)
      samples[i] = soft_limit(samples[i]);
  }
};

// Between two turns.
struct Between {
  double* frames;

  [[gnu::always_inline]] void read(std::ptrdiff_t frame, Frame& out) const {
    std::memcpy(&out, frames + kStereo * frame, sizeof(out));
  }
  [[gnu::always_inline]] void write(std::ptrdiff_t frame, const Frame& in) const {
    std::memcpy(frames + kStereo * frame, &in, sizeof(in));
  }
  [[gnu::always_inline]] void read_two(std::ptrdiff_t frame, Frame& first, Frame& second) const {
    read(frame, first);
    read(frame + 1, second);
  }
  [[gnu::always_inline]] void write_two(std::ptrdiff_t frame, const Frame& first,
                                        const Frame& second) const {
    write(frame, first);
    write(frame + 1, second);
  }
};

template <int Lanes>
[[gnu::always_inline]] inline void process_block(Processor& p, float* samples, int frames) {
  Samples<Lanes> source{samples};
  Output output{samples, p.pre_gain};
  if constexpr (Turn<Lanes>::kTurnBands == kBands) {
    Turn<Lanes> turn(p, 0);
    turn.run(source, output, frames);
    turn.store_memory(p, 0);
  } else {
    double room[kStereo * kBlockFrames];
    Between between{room};
    Turn<Lanes> first(p, 0);
    first.run(source, between, frames);
    first.store_memory(p, 0);
    Turn<Lanes> second(p, Turn<Lanes>::kTurnBands);
    second.run(between, output, frames);
    second.store_memory(p, Turn<Lanes>::kTurnBands);
  }
  output.limit(kStereo * frames);
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

[[gnu::target("avx512f,avx512vl,avx512dq,avx512bw")]] void process_eight_lanes(Processor& p,
                                                                               float* samples,
                                                                               int frames) {
  process_blocks<8>(p, samples, frames);
}

#endif

}  // namespace

namespace {

// Some processors are slower with the widest vectors, because they halve them or lower their clock.
// Their features do not reveal which, so all widths are tried, for a fifth of a millisecond.
int measured_lanes() {
  using Clock = std::chrono::steady_clock;
  constexpr int kRounds = 20;
  Processor p;
  for (Band& band : p.bands) {
    // A gentle filter, whose output is about as large as its input.
    band = {.b0 = 1.0, .b1 = -1.8, .b2 = 0.81, .a1 = -1.8, .a2 = 0.81, .active = true};
  }
  float samples[kStereo * kBlockFrames];
  int best = kLaneChoices[0];
  auto shortest = Clock::duration::max();
  for (const int lanes : kLaneChoices) {
    if (!has_lanes(lanes)) continue;
    for (int round = 0; round < kRounds; ++round) {
      std::fill_n(samples, std::size(samples), 0.25F);
      const auto began = Clock::now();
      process_stereo(p, samples, kBlockFrames, lanes);
      const auto taken = Clock::now() - began;
      if (taken < shortest) {
        shortest = taken;
        best = lanes;
      }
    }
  }
  return best;
}

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
      return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512vl") != 0 &&
             __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512bw") != 0;
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

int fastest_lanes() {
  static const int lanes = measured_lanes();
  return lanes;
}

void process_best(Processor& p, float* samples, int frames) {
  if (!fits_stereo(p)) return process_plain(p, samples, frames);
  process_stereo(p, samples, frames, fastest_lanes());
}

}  // namespace eq
