// The speed of the signal processing, as ratios to yardsticks that run in turn with it, so that the
// machine's speed and load matter little. Every counter is that of the best round.
//
//   equalizer/...  ratio = frames per second over those of the plain loop; more is better.
//                  Two lanes are the baseline of every machine, `process` is what it chooses
//                  itself.
//   spectrum/...   ratio = time over that of FFTW's bare transform; less is better
#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "dsp/analyzer.h"
#include "dsp/analyzer_kernel.h"
#include "dsp/eq_dsp.h"
#include "dsp/eq_kernel.h"
#include "plain_eq.h"

namespace {

constexpr int kBlockFrames = 480;
constexpr int kBlocks = 40;
constexpr float kRate = 48000.0F;

std::vector<float> noise(std::size_t count, float level) {
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same noise in every run
  std::uniform_real_distribution<float> sample(-level, level);
  std::vector<float> samples(count);
  std::generate(samples.begin(), samples.end(), [&] { return sample(random); });
  return samples;
}

template <typename Work>
double seconds(const Work& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  benchmark::ClobberMemory();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

eq::Processor rock() {
  eq::Processor p;
  p.set_format(kRate, 2);
  p.set_curve(eq::preset_curve(eq::find_preset("preset_rock")));
  return p;
}

// Runs `process` over a stretch of noise, block by block. The plain loop is a candidate itself, so
// it must not be worked into the timing loop.
template <typename Process>
[[gnu::noinline]] double seconds_of_stretch(const std::vector<float>& source,
                                            std::vector<float>& samples, const Process& process) {
  samples = source;
  eq::Processor p = rock();
  return seconds([&] {
    for (int block = 0; block < kBlocks; ++block) {
      process(p, samples.data() + static_cast<std::ptrdiff_t>(block) * 2 * kBlockFrames);
    }
  });
}

[[gnu::noinline]] void yardstick(eq::Processor& p, float* samples) {
  plain_eq::process(p, samples, kBlockFrames);
}

// lanes == 0: whatever Processor::process chooses.
void equalizer(benchmark::State& state, int lanes, float level) {
  if (lanes != 0 && !eq::has_lanes(lanes)) {
    state.SkipWithError("this machine has no instructions for that many lanes");
    return;
  }
  const std::vector<float> source = noise(std::size_t{2} * kBlockFrames * kBlocks, level);
  std::vector<float> samples;
  double best = std::numeric_limits<double>::max();
  double best_plain = best;
  while (state.KeepRunning()) {
    best_plain = std::min(best_plain, seconds_of_stretch(source, samples, yardstick));
    const double taken = seconds_of_stretch(source, samples, [&](eq::Processor& p, float* block) {
      if (lanes == 0) {
        p.process(block, kBlockFrames);
      } else {
        eq::process_stereo(p, block, kBlockFrames, lanes);
      }
    });
    state.SetIterationTime(taken);
    best = std::min(best, taken);
  }
  const double frames = static_cast<double>(kBlockFrames) * kBlocks;
  state.counters["frames/s"] = frames / best;
  state.counters["plain frames/s"] = frames / best_plain;
  state.counters["ratio"] = best_plain / best;
}

void spectrum(benchmark::State& state, bool wide) {
  if (wide && !analyzer::has_wide()) {
    state.SkipWithError("this machine has no instructions for the wide transform");
    return;
  }
  constexpr int kSize = analyzer::kFftSize;
  const std::vector<float> samples = noise(kSize, 1.0F);
  const std::unique_ptr<double, decltype(&fftw_free)> in(fftw_alloc_real(kSize), fftw_free);
  const std::unique_ptr<fftw_complex, decltype(&fftw_free)> out(fftw_alloc_complex(kSize / 2 + 1),
                                                                fftw_free);
  const auto destroy = [](fftw_plan plan) { fftw_destroy_plan(plan); };
  const std::unique_ptr<fftw_plan_s, decltype(destroy)> plan(
      fftw_plan_dft_r2c_1d(kSize, in.get(), out.get(), FFTW_MEASURE), destroy);
  std::copy(samples.begin(), samples.end(), in.get());

  float bars[analyzer::kBars];
  double best = std::numeric_limits<double>::max();
  double best_fftw = best;
  while (state.KeepRunning()) {
    best_fftw = std::min(best_fftw, seconds([&] { fftw_execute(plan.get()); }));
    const double taken =
        seconds([&] { analyzer::compute_with(samples.data(), kRate, bars, wide); });
    benchmark::DoNotOptimize(bars);
    state.SetIterationTime(taken);
    best = std::min(best, taken);
  }
  state.counters["us"] = best * 1e6;
  state.counters["FFTW us"] = best_fftw * 1e6;
  state.counters["ratio"] = best / best_fftw;
}

BENCHMARK_CAPTURE(equalizer, two_lanes, 2, 0.25F)->UseManualTime();
BENCHMARK_CAPTURE(equalizer, four_lanes, 4, 0.25F)->UseManualTime();
BENCHMARK_CAPTURE(equalizer, eight_lanes, 8, 0.25F)->UseManualTime();
BENCHMARK_CAPTURE(equalizer, process, 0, 0.25F)->UseManualTime();
BENCHMARK_CAPTURE(equalizer, process_into_the_limiter, 0, 1.0F)->UseManualTime();
BENCHMARK_CAPTURE(spectrum, baseline, false)->UseManualTime();
BENCHMARK_CAPTURE(spectrum, wide, true)->UseManualTime();

}  // namespace

BENCHMARK_MAIN();
