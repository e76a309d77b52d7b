// The bars against a discrete Fourier transform that is written down as defined.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "analyzer.h"
#include "analyzer_kernel.h"

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
  std::vector<double> cosine(kSize);
  std::vector<double> sine(kSize);
  std::vector<double> windowed(kSize);
  for (std::size_t i = 0; i < kSize; ++i) {
    const double angle = 2.0 * std::numbers::pi * static_cast<double>(i) / kSize;
    cosine[i] = std::cos(angle);
    sine[i] = std::sin(angle);
    const double window =
        0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(i) / (kSize - 1));
    windowed[i] = static_cast<double>(samples[i]) * window;
  }
  std::vector<double> result(kSize / 2);
  for (std::size_t k = 0; k < result.size(); ++k) {
    double re = 0.0;
    double im = 0.0;
    for (std::size_t i = 0; i < kSize; ++i) {
      re += windowed[i] * cosine[i * k % kSize];
      im -= windowed[i] * sine[i * k % kSize];
    }
    result[k] = (re * re + im * im) / 1572864.0;
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

void expect_bars_of_the_definition(const std::vector<float>& samples) {
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

std::vector<float> tone(double freq, double rate) {
  std::vector<float> samples(kSize);
  for (std::size_t i = 0; i < kSize; ++i) {
    samples[i] =
        static_cast<float>(std::sin(2.0 * std::numbers::pi * freq * static_cast<double>(i) / rate));
  }
  return samples;
}

TEST(analyzer_compute, noise_gives_the_bars_of_the_definition) {
  std::mt19937 random(3);  // NOLINT(cert-msc51-cpp): the same noise in every run
  std::uniform_real_distribution<float> sample(-1.0F, 1.0F);
  std::vector<float> samples(kSize);
  std::generate(samples.begin(), samples.end(), [&] { return sample(random); });
  expect_bars_of_the_definition(samples);
}

TEST(analyzer_compute, tones_give_the_bars_of_the_definition) {
  expect_bars_of_the_definition(tone(55.0, 48000.0));
  expect_bars_of_the_definition(tone(1000.0, 48000.0));
  expect_bars_of_the_definition(tone(15000.0, 48000.0));
}

TEST(analyzer_compute, a_constant_is_no_sound) {
  const Bars bars = computed(std::vector<float>(kSize, 1.0F), 48000.0F, analyzer::has_wide());
  for (std::size_t b = 10; b < bars.size(); ++b)
    EXPECT_LT(bars[b], -100.0F) << b;
}

TEST(analyzer_compute, silence_lies_on_the_tilted_floor) {
  for (const bool wide : transforms()) {
    const Bars bars = computed(std::vector<float>(kSize), 48000.0F, wide);
    EXPECT_EQ(bars[17], -140.0F);
    for (std::size_t b = 0; b < bars.size(); ++b) {
      EXPECT_NEAR(bars[b], -140.0 + 1.5 * std::log2(analyzer::kBarFreq[b] / 1000.0), 1e-4) << b;
    }
  }
}

TEST(analyzer_compute, bars_that_reach_the_nyquist_frequency_are_silent) {
  std::vector<float> click(kSize);
  click[kSize / 2] = 1.0F;
  Bars bars;
  analyzer::compute(click.data(), 32000.0F, bars.data());
  EXPECT_EQ(bars[30], -140.0F);
  EXPECT_EQ(bars[29], -140.0F);
  EXPECT_GT(bars[28], -80.0F);
  // Another rate at the next call.
  analyzer::compute(click.data(), 48000.0F, bars.data());
  EXPECT_GT(bars[30], -80.0F);
  for (const float rate : {0.0F, -1.0F, std::numeric_limits<float>::quiet_NaN()}) {
    analyzer::compute(click.data(), rate, bars.data());
    EXPECT_TRUE(std::all_of(bars.begin(), bars.end(), [](float b) { return b == -140.0F; }));
  }
}

TEST(analyzer_compute, samples_that_are_no_numbers_do_not_last) {
  std::vector<float> samples = tone(1000.0, 48000.0);
  const Bars before = computed(samples, 48000.0F, analyzer::has_wide());
  std::vector<float> broken = samples;
  broken[77] = std::numeric_limits<float>::quiet_NaN();
  const Bars during = computed(broken, 48000.0F, analyzer::has_wide());
  EXPECT_TRUE(std::none_of(during.begin(), during.end(), [](float b) { return std::isnan(b); }));
  EXPECT_EQ(computed(samples, 48000.0F, analyzer::has_wide()), before);
}

TEST(analyzer_hann, is_symmetric_with_zeros_at_both_ends) {
  const double* window = analyzer::hann();
  EXPECT_EQ(window[0], 0.0);
  for (int i = 0; i < kSize / 2; ++i)
    EXPECT_NEAR(window[i], window[kSize - 1 - i], 1e-12);
  EXPECT_NEAR(window[kSize / 2], 1.0, 1e-6);
}

TEST(analyzer_bars, stand_a_tenth_of_a_decade_apart) {
  for (int b = 0; b < analyzer::kBars; ++b) {
    EXPECT_NEAR(analyzer::kBarFreq[b] / (1000.0 * std::pow(10.0, (b - 17) / 10.0)), 1.0, 0.02) << b;
  }
}

TEST(analyzer_labels, stand_below_nine_bars) {
  std::string all;
  for (int bar = -1; bar <= analyzer::kBars; ++bar) {
    const std::string label = analyzer::bar_label(bar);
    if (!label.empty()) all += std::to_string(bar) + "=" + label + " ";
  }
  EXPECT_EQ(all, "0=20 5=63 10=200 14=500 17=1k 20=2k 23=4k 26=8k 29=16k ");
}

}  // namespace
