// Measures the signal processing on this processor, with the code that plays: distortion, noise,
// limiter, response, denormal numbers, and changes of the curve. Prints the tables of
// docs/figures-2026-11.md.
//
// Every signal has a whole number of periods in the second that is measured, so no window is needed
// and a tone is known to the last bit by its correlation. Levels are dB of full scale; a tone's is
// that of its peak, a residue's that of a tone with the same power.
#include <fftw3.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <limits>
#include <memory>
#include <numbers>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "audio/equalizer.h"
#include "dsp/eq_dsp.h"

namespace {

using Signal = std::vector<double>;
using Spectrum = std::vector<std::complex<double>>;  // of one second: bin n is n Hz; peak values

constexpr int kRate = 48000;
constexpr int kSettle = 2 * kRate;

struct Tone {
  double hz;
  double db;
  double phase = 0.0;
};

double db(double amplitude) {
  return 20.0 * std::log10(std::max(amplitude, 1e-15));
}

double factor(double decibels) {
  return std::pow(10.0, decibels / 20.0);
}

eq::Curve preset(const char* key) {
  return eq::preset_curve(eq::find_preset(key));
}

eq::Curve all_bands(float gain_db) {
  eq::Curve curve;
  std::ranges::fill(curve.gain, gain_db);
  return curve;
}

// Two seconds for the filters to settle, and the one that is measured.
std::vector<float> tones(std::span<const Tone> parts) {
  std::vector<float> samples;
  for (int i = 0; i < kSettle + kRate; ++i) {
    double sum = 0.0;
    for (const Tone& t : parts)
      sum += factor(t.db) * std::sin(2 * std::numbers::pi * t.hz * i / kRate + t.phase);
    samples.insert(samples.end(), 2, static_cast<float>(sum));
  }
  return samples;
}

// The left channel of the last second of what the equalizer makes of it.
Signal through(const eq::Curve& curve, std::vector<float> samples) {
  eq::Processor p;
  p.set_format(kRate, 2);
  p.set_curve(curve);
  for (std::size_t at = 0; at < samples.size(); at += 960)
    p.process(samples.data() + at, 480);
  Signal left;
  for (std::size_t i = std::size_t{2} * kSettle; i < samples.size(); i += 2)
    left.push_back(static_cast<double>(samples[i]));
  return left;
}

Spectrum spectrum(const Signal& second) {
  const auto n = static_cast<int>(second.size());
  const std::unique_ptr<double, decltype(&fftw_free)> in(fftw_alloc_real(second.size()), fftw_free);
  const std::unique_ptr<fftw_complex, decltype(&fftw_free)> out(
      fftw_alloc_complex(second.size() / 2 + 1), fftw_free);
  fftw_plan plan = fftw_plan_dft_r2c_1d(n, in.get(), out.get(), FFTW_ESTIMATE);
  std::ranges::copy(second, in.get());
  fftw_execute(plan);
  fftw_destroy_plan(plan);
  Spectrum result;
  for (int i = 0; i <= n / 2; ++i) {
    const fftw_complex& bin = out.get()[i];
    result.emplace_back(bin[0] * 2 / n, bin[1] * 2 / n);
  }
  return result;
}

// The amplitude of all bins from 20 Hz to 20 kHz together, but for those named.
double residue(const Spectrum& s, std::span<const double> without) {
  double power = 0.0;
  for (std::size_t hz = 20; hz <= 20000; ++hz) {
    if (std::ranges::find(without, static_cast<double>(hz)) == without.end())
      power += std::norm(s[hz]);
  }
  return std::sqrt(power);
}

void distortion_and_noise() {
  std::printf("\n| Curve | THD+N, 997 Hz at -20 dBFS | Noise floor beside it, 20 Hz to 20 kHz |\n");
  std::printf("|---|---|---|\n");
  const std::pair<const char*, eq::Curve> curves[] = {{"flat", eq::Curve{}},
                                                      {"rock", preset("preset_rock")},
                                                      {"all bands +12 dB", all_bands(12.0F)},
                                                      {"all bands -12 dB", all_bands(-12.0F)}};
  for (const auto& [name, curve] : curves) {
    // Whatever the curve, the tone leaves at -20 dBFS, so that only the arithmetic is measured.
    const Tone tone{997, -20.0 - static_cast<double>(eq::response_db(curve, kRate, 997.0F))};
    const Spectrum s = spectrum(through(curve, tones(std::span(&tone, 1))));
    const double rest = residue(s, std::array{997.0});
    double harmonics = 0.0;
    for (int n = 2; n <= 20; ++n)
      harmonics += std::norm(s[static_cast<std::size_t>(997 * n)]);
    const double noise = std::sqrt(std::max(0.0, rest * rest - harmonics));
    std::printf("| %s | %.1f dB | %.1f dBFS |\n", name, db(rest / std::abs(s[997])), db(noise));
  }
}

void intermodulation() {
  std::printf(
      "\n| Peak of the two tones | SMPTE, 60 Hz and 7 kHz, 4:1 | CCIF, 19 and 20 kHz, 1:1 |\n");
  std::printf("|---|---|---|\n");
  for (const double level : {-1.0, 0.0, 3.0}) {
    const Tone smpte[] = {{60, level + db(0.8)}, {7000, level + db(0.2)}};
    const Tone ccif[] = {{19000, level + db(0.5)}, {20000, level + db(0.5)}};
    const Spectrum a = spectrum(through({}, tones(smpte)));
    const Spectrum b = spectrum(through({}, tones(ccif)));
    double beside = 0.0;
    for (const int hz : {60, 120, 180, 240, 300})
      beside += std::norm(std::abs(a[static_cast<std::size_t>(7000 - hz)]) +
                          std::abs(a[static_cast<std::size_t>(7000 + hz)]));
    const double difference =
        std::sqrt(std::norm(b[1000]) + std::norm(b[18000]) + std::norm(b[21000]));
    std::printf("| %+.0f dBFS | %.3f %% | %.3f %% |\n", level,
                100 * std::sqrt(beside) / std::abs(a[7000]),
                100 * difference / (std::abs(b[19000]) + std::abs(b[20000])));
  }
}

void limiter() {
  std::printf("\n| 997 Hz at | THD | Largest sample |\n|---|---|---|\n");
  for (const double level : {-1.1, -1.0, -0.5, 0.0, 1.0, 3.0, 6.0, 12.0}) {
    const Tone tone{997, level};
    const Signal out = through({}, tones(std::span(&tone, 1)));
    const Spectrum s = spectrum(out);
    double harmonics = 0.0;
    for (int n = 2; n <= 24; ++n)
      harmonics += std::norm(s[static_cast<std::size_t>(997 * n)]);
    const double most = *std::ranges::max_element(out, {}, [](double x) { return std::abs(x); });
    std::printf("| %+.1f dBFS | %.2f %% | %.2f dBFS |\n", level,
                100 * std::sqrt(harmonics) / std::abs(s[997]), db(std::abs(most)));
  }
}

// Four times the samples, by the spectrum: exact, for the second is periodic.
double true_peak_db(const Signal& second) {
  const Spectrum s = spectrum(second);
  const auto n = static_cast<int>(second.size()) * 4;
  const auto bins = static_cast<std::size_t>(n) / 2 + 1;
  const std::unique_ptr<fftw_complex, decltype(&fftw_free)> in(fftw_alloc_complex(bins), fftw_free);
  const std::unique_ptr<double, decltype(&fftw_free)> out(
      fftw_alloc_real(static_cast<std::size_t>(n)), fftw_free);
  fftw_plan plan = fftw_plan_dft_c2r_1d(n, in.get(), out.get(), FFTW_ESTIMATE);
  for (std::size_t i = 0; i < bins; ++i) {
    const std::complex<double> bin = i < s.size() ? s[i] / 2.0 : 0.0;
    in.get()[i][0] = bin.real();
    in.get()[i][1] = bin.imag();
  }
  fftw_execute(plan);
  fftw_destroy_plan(plan);
  double most = 0.0;
  for (const double x : std::span(out.get(), static_cast<std::size_t>(n)))
    most = std::max(most, std::abs(x));
  return db(most);
}

void true_peaks() {
  std::printf("\n| Signal | Level going in | True peak, 4 times oversampled |\n|---|---|---|\n");
  for (const double level : {-1.0, 0.0, 3.0, 6.0}) {
    const Tone low{997, level};
    // Every sample is 3 dB below the wave's own peak.
    const Tone high{12000, level, std::numbers::pi / 4};
    std::printf("| 997 Hz | %+.0f dBFS | %+.2f dBTP |\n", level,
                true_peak_db(through({}, tones(std::span(&low, 1)))));
    std::printf("| 12 kHz, between the samples | %+.0f dBFS | %+.2f dBTP |\n", level,
                true_peak_db(through({}, tones(std::span(&high, 1)))));
  }
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same noise in every run
  std::uniform_real_distribution<float> sample(-2.0F, 2.0F);
  std::vector<float> noise(std::size_t{2} * (kSettle + kRate));
  std::ranges::generate(noise, [&] { return sample(random); });
  std::printf("| white noise | +6 dBFS | %+.2f dBTP |\n", true_peak_db(through({}, noise)));
}

void response() {
  std::printf("\n| Curve | Largest difference from `response_db`, 20 Hz to 20 kHz |\n|---|---|\n");
  const auto largest_error = [](const eq::Curve& curve) {
    double worst = 0.0;
    for (int third = 0; third <= 30; ++third) {
      const double hz = std::round(20.0 * std::pow(1000.0, third / 30.0));
      const Tone tone{hz, -60.0 - static_cast<double>(eq::response_db(curve, kRate, 1000.0F))};
      const Spectrum s = spectrum(through(curve, tones(std::span(&tone, 1))));
      const double measured = db(std::abs(s[static_cast<std::size_t>(hz)])) - tone.db;
      const double drawn =
          static_cast<double>(eq::response_db(curve, kRate, static_cast<float>(hz)));
      worst = std::max(worst, std::abs(measured - drawn));
    }
    return worst;
  };
  double worst = 0.0;
  for (const eq::PresetDef& def : eq::kPresets)
    worst = std::max(worst, largest_error(def.curve));
  std::printf("| the eleven presets | %.6f dB |\n", worst);
  std::printf("| all bands +12 dB | %.6f dB |\n", largest_error(all_bands(12.0F)));
  std::printf("| all bands -12 dB | %.6f dB |\n", largest_error(all_bands(-12.0F)));
}

// The slowest 10 ms, of the best of several runs each, so that what else the machine does hardly
// counts.
template <typename Fill>
double slowest_us(Fill fill) {
  constexpr int kBlocks = 3000;
  std::vector<double> best(kBlocks, std::numeric_limits<double>::max());
  for (int round = 0; round < 7; ++round) {
    audio::Equalizer equalizer;
    equalizer.set_curve(preset("preset_rock"));
    equalizer.restart();
    std::array<float, 960> block{};
    block[0] = 0.25F;
    equalizer.process(block);  // the change to this curve takes one block
    for (int b = 0; b < kBlocks; ++b) {
      fill(b, std::span(block));
      const auto start = std::chrono::steady_clock::now();
      equalizer.process(block);
      const std::chrono::duration<double, std::micro> taken =
          std::chrono::steady_clock::now() - start;
      best[static_cast<std::size_t>(b)] =
          std::min(best[static_cast<std::size_t>(b)], taken.count());
    }
  }
  return *std::ranges::max_element(best);
}

void denormals() {
  std::printf("\n| 10 ms of | Slowest block, \"rock\" |\n|---|---|\n");
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp)
  std::uniform_real_distribution<float> sample(-0.25F, 0.25F);
  const auto noise = [&](int /*b*/, std::span<float> block) {
    std::ranges::generate(block, [&] { return sample(random); });
  };
  std::printf("| noise | %.1f us |\n", slowest_us(noise));
  std::printf("| a pulse, then 30 s of silence | %.1f us |\n",
              slowest_us([](int b, std::span<float> block) {
                std::ranges::fill(block, 0.0F);
                if (b == 0) block[0] = block[1] = 0.25F;
              }));
  std::printf("| noise at 1e-40 | %.1f us |\n", slowest_us([&](int b, std::span<float> block) {
                noise(b, block);
                for (float& x : block)
                  x *= 4e-40F;
              }));
}

// How much further one sample goes from the last than it ever does in either steady sound.
void curve_changes() {
  std::printf(
      "\n| Change | Tone at -20 dBFS | Largest step, as a multiple of the louder tone's own |\n");
  std::printf("|---|---|---|\n");
  const std::pair<const char*, std::array<eq::Curve, 2>> changes[] = {
      {"flat to rock", {eq::Curve{}, preset("preset_rock")}},
      {"all bands -12 to +12 dB, preamp -6", {all_bands(-12.0F), all_bands(12.0F)}}};
  for (const auto& [name, curves] : changes) {
    for (const double hz : {60.0, 997.0, 7000.0}) {
      double worst = 0.0;
      double own = 0.0;
      // The change falls on another phase of the tone each time.
      for (int phase = 0; phase < 32; ++phase) {
        const Tone tone{hz, -20.0, 2 * std::numbers::pi * phase / 32};
        const std::vector<float> source = tones(std::span(&tone, 1));
        audio::Equalizer equalizer;
        equalizer.restart();
        double last = 0.0;
        for (std::size_t at = 0; at < source.size(); at += 960) {
          const bool first_half = at < source.size() / 2;
          eq::Curve curve = curves[first_half ? 0 : 1];
          if (&curves != &changes[0].second) curve.preamp = -6.0F;
          equalizer.set_curve(curve);
          std::array<float, 960> block{};
          std::copy_n(source.begin() + static_cast<std::ptrdiff_t>(at), 960, block.begin());
          equalizer.process(block);
          // Not the start, which is a step of its own.
          const bool steady = at > source.size() / 4 && (first_half || at > 3 * source.size() / 4);
          for (std::size_t i = 0; i < block.size(); i += 2) {
            const double step = std::abs(static_cast<double>(block[i]) - last);
            last = static_cast<double>(block[i]);
            if (at > source.size() / 4) worst = std::max(worst, step);
            if (steady) own = std::max(own, step);
          }
        }
      }
      std::printf("| %s | %.0f Hz | %.3f |\n", name, hz, worst / own);
    }
  }
}

}  // namespace

int main() {
  distortion_and_noise();
  intermodulation();
  limiter();
  true_peaks();
  response();
  denormals();
  curve_changes();
  return 0;
}
