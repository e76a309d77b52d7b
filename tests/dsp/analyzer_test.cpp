// The bars against a discrete Fourier transform that is written down as defined.

#include <complex>

#include "dsp/analyzer.h"
#include "dsp/analyzer_kernel.h"
#include "test.h"

namespace {

constexpr int kSize = analyzer::kFftSize;
using Bars = std::array<float, analyzer::kBars>;

std::vector<bool> transforms() {
  return analyzer::has_wide() ? std::vector<bool>{false, true} : std::vector<bool>{false};
}

Bars computed(const std::vector<float>& samples, float rate, bool wide) {
  Bars bars;
  analyzer::compute_with(samples.data(), rate, bars.data(), wide);
  return bars;
}

// Powers of the bins by the definition, with a table of the 4096 possible factors.
std::vector<double> powers(const std::vector<float>& samples) {
  std::vector<std::complex<double>> factor(kSize);
  std::vector<double> windowed(kSize);
  for (std::size_t i = 0; i < kSize; ++i) {
    const double angle = 2.0 * std::numbers::pi * static_cast<double>(i);
    factor[i] = std::polar(1.0, -angle / kSize);
    windowed[i] = static_cast<double>(samples[i]) * (0.5 - 0.5 * std::cos(angle / (kSize - 1)));
  }
  std::vector<double> result(kSize / 2);
  for (std::size_t k = 0; k < result.size(); ++k) {
    std::complex<double> sum = 0.0;
    for (std::size_t i = 0; i < kSize; ++i)
      sum += windowed[i] * factor[i * k % kSize];
    result[k] = std::norm(sum) / 1572864.0;
  }
  return result;
}

float expected_bar(const std::vector<double>& power, double rate, double center) {
  const double sixth = std::pow(2.0, 1.0 / 6.0);
  const double width = rate / kSize;
  if (center * sixth >= rate / 2) return -140.0F;
  double sum = 0.0;
  bool any = false;
  for (int k = 0; k <= kSize / 2; ++k) {
    if (k * width < center / sixth || k * width > center * sixth) continue;
    any = true;
    if (k >= 1 && k < kSize / 2) sum += power[static_cast<std::size_t>(k)];
  }
  if (!any) {
    const long k = std::clamp(std::lround(center / width), 1L, kSize / 2 - 1L);
    sum = center * (sixth - 1 / sixth) / width * power[static_cast<std::size_t>(k)];
  }
  return static_cast<float>(10.0 * std::log10(std::max(sum, 1e-14)) +
                            1.5 * std::log2(center / 1000.0));
}

// At full scale and 48 kHz.
std::vector<float> tone(double freq) {
  std::vector<float> samples(kSize);
  for (std::size_t i = 0; i < kSize; ++i) {
    const double turns = freq * static_cast<double>(i) / 48000.0;
    samples[i] = static_cast<float>(std::sin(2.0 * std::numbers::pi * turns));
  }
  return samples;
}

TEST(analyzer_compute, gives_the_bars_of_the_definition) {
  std::mt19937 random(3);  // NOLINT(cert-msc51-cpp): the same noise in every run
  std::uniform_real_distribution<float> sample(-1.0F, 1.0F);
  std::vector<float> noise(kSize);
  std::generate(noise.begin(), noise.end(), [&] { return sample(random); });
  for (const std::vector<float>& samples :
       {noise, tone(55.0), tone(1000.0), std::vector<float>(kSize)}) {
    const std::vector<double> power = powers(samples);
    for (const float rate : {8000.0F, 32000.0F, 44100.0F, 48000.0F, 96000.0F}) {
      for (const bool wide : transforms()) {
        const Bars bars = computed(samples, rate, wide);
        for (std::size_t b = 0; b < bars.size(); ++b) {
          EXPECT_NEAR(bars[b], expected_bar(power, rate, analyzer::kBarFreq[b]), 0.001)
              << analyzer::kBarFreq[b] << " Hz at " << rate << (wide ? ", wide" : "");
        }
      }
    }
  }
}

TEST(analyzer_compute, what_is_no_number_does_not_last) {
  const std::vector<float> samples = tone(1000.0);
  std::vector<float> broken = samples;
  broken[77] = std::numeric_limits<float>::quiet_NaN();
  for (const bool wide : transforms()) {
    const Bars before = computed(samples, 48000.0F, wide);
    for (const float rate : {0.0F, std::numeric_limits<float>::quiet_NaN()}) {
      const Bars silent = computed(samples, rate, wide);
      EXPECT_EQ(std::count(silent.begin(), silent.end(), -140.0F), analyzer::kBars) << rate;
    }
    const Bars during = computed(broken, 48000.0F, wide);
    EXPECT_TRUE(std::none_of(during.begin(), during.end(), [](float b) { return std::isnan(b); }));
    EXPECT_EQ(computed(samples, 48000.0F, wide), before);
  }
}

}  // namespace
