// The processor against the plain loop, bit by bit, and against the drawn curve, by measurement.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <functional>
#include <limits>
#include <numbers>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "analyzer.h"
#include "eq_dsp.h"
#include "eq_kernel.h"
#include "plain_eq.h"

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr std::size_t kStereo = 2;

// One way to filter a block, and a name for it.
struct Way {
  std::string name;
  std::function<void(eq::Processor&, float*, int)> process;
};

// Every loop that this machine can run on a stereo processor with all bands, and the public way.
std::vector<Way> stereo_ways() {
  std::vector<Way> ways = {
      {"process", [](eq::Processor& p, float* s, int n) { p.process(s, n); }},
      {"plain", eq::process_plain},
  };
  for (const int lanes : eq::kLaneChoices) {
    if (!eq::has_lanes(lanes)) continue;
    ways.push_back({std::to_string(lanes) + " lanes", [lanes](eq::Processor& p, float* s, int n) {
                      eq::process_stereo(p, s, n, lanes);
                    }});
  }
  return ways;
}

void filter_in_blocks(eq::Processor& p, const Way& way, std::span<float> samples, int block) {
  const auto step = static_cast<std::size_t>(block) * static_cast<std::size_t>(p.channels);
  for (std::size_t at = 0; at < samples.size(); at += step) {
    const std::size_t count = std::min(step, samples.size() - at);
    way.process(p, samples.data() + at, static_cast<int>(count) / p.channels);
  }
}

// Samples of every magnitude: music, overloads, whispers, denormals, zeros of both signs, and what
// is no number at all.
std::vector<float> odd_samples(std::mt19937& random, std::size_t count) {
  std::uniform_real_distribution<float> unit(-1.0F, 1.0F);
  std::uniform_int_distribution<int> kind(0, 15);
  std::vector<float> samples(count);
  for (float& sample : samples) {
    const float x = unit(random);
    switch (kind(random)) {
      case 0:
        sample = std::copysign(0.0F, x);
        break;
      case 1:
        sample = x * 1e-40F;
        break;
      case 2:
        sample = x * 1e-20F;
        break;
      case 3:
        sample = x * 100.0F;
        break;
      case 4:
        sample = x > 0.98F ? kNan : x > 0.96F ? kInfinity : x < -0.98F ? -kInfinity : x * 3e38F;
        break;
      default:
        sample = x;
    }
  }
  return samples;
}

eq::Curve random_curve(std::mt19937& random) {
  std::uniform_real_distribution<float> gain(-12.0F, 12.0F);
  eq::Curve curve;
  for (float& g : curve.gain)
    g = gain(random);
  curve.preamp = gain(random);
  return curve;
}

std::vector<std::uint32_t> bits(std::span<const float> samples) {
  std::vector<std::uint32_t> result;
  for (const float sample : samples)
    result.push_back(std::bit_cast<std::uint32_t>(sample));
  return result;
}

std::vector<std::uint64_t> memory_bits(const eq::Processor& p) {
  std::vector<std::uint64_t> result;
  for (const auto* z : {&p.z1, &p.z2}) {
    for (const auto& channel : *z) {
      for (const double word : channel)
        result.push_back(std::bit_cast<std::uint64_t>(word));
    }
  }
  return result;
}

eq::Processor processor(const eq::Curve& curve, float rate = 48000.0F, int channels = 2) {
  eq::Processor p;
  p.set_format(rate, channels);
  p.set_curve(curve);
  return p;
}

TEST(eq_processor, every_loop_gives_the_bits_of_the_plain_loop_in_blocks_of_any_size) {
  std::mt19937 random(7);  // NOLINT(cert-msc51-cpp): the same cases in every run
  for (const float rate : {36000.0F, 44100.0F, 48000.0F, 96000.0F, 192000.0F}) {
    const eq::Curve curve = random_curve(random);
    const std::vector<float> source = odd_samples(random, kStereo * 1301);

    eq::Processor plain = processor(curve, rate);
    std::vector<float> expected = source;
    plain_eq::process(plain, expected.data(), 1301);

    for (const Way& way : stereo_ways()) {
      for (const int block : {1, 2, 3, 7, 8, 9, 10, 19, 64, 480, 511, 512, 513, 1301}) {
        SCOPED_TRACE(way.name + " in blocks of " + std::to_string(block));
        eq::Processor p = processor(curve, rate);
        std::vector<float> samples = source;
        filter_in_blocks(p, way, samples, block);
        ASSERT_EQ(bits(samples), bits(expected));
        ASSERT_EQ(memory_bits(p), memory_bits(plain));
      }
    }
  }
}

TEST(eq_processor, gives_the_bits_of_the_plain_loop_for_any_format) {
  std::mt19937 random(8);  // NOLINT(cert-msc51-cpp)
  for (int channels = 1; channels <= eq::kMaxChannels; ++channels) {
    // From one active band to ten.
    for (const float rate : {1001.0F, 8000.0F, 32000.0F, 48000.0F}) {
      const eq::Curve curve = random_curve(random);
      const std::vector<float> source =
          odd_samples(random, static_cast<std::size_t>(channels) * 200);
      eq::Processor plain = processor(curve, rate, channels);
      std::vector<float> expected = source;
      plain_eq::process(plain, expected.data(), 200);

      eq::Processor p = processor(curve, rate, channels);
      std::vector<float> samples = source;
      filter_in_blocks(p, stereo_ways().front(), samples, 37);
      ASSERT_EQ(bits(samples), bits(expected)) << channels << " channels at " << rate;
      ASSERT_EQ(memory_bits(p), memory_bits(plain));
    }
  }
}

TEST(eq_processor, memory_that_fades_into_denormals_keeps_the_bits_of_the_plain_loop) {
  eq::Processor plain = processor(eq::preset_curve(5));
  for (auto& channel : plain.z1)
    std::fill(std::begin(channel), std::end(channel), 1e-307);
  for (auto& channel : plain.z2)
    std::fill(std::begin(channel), std::end(channel), -1e-307);
  const eq::Processor start = plain;
  std::vector<float> expected(kStereo * 1000, -0.0F);
  plain_eq::process(plain, expected.data(), 1000);

  for (const Way& way : stereo_ways()) {
    eq::Processor p = start;
    std::vector<float> samples(kStereo * 1000, -0.0F);
    filter_in_blocks(p, way, samples, 480);
    EXPECT_EQ(bits(samples), bits(expected)) << way.name;
    EXPECT_EQ(memory_bits(p), memory_bits(plain)) << way.name;
  }
}

TEST(eq_processor, flat_curve_leaves_samples_unchanged_up_to_the_knee) {
  std::mt19937 random(9);  // NOLINT(cert-msc51-cpp)
  std::uniform_real_distribution<float> sample(-0.891F, 0.891F);
  std::vector<float> source(kStereo * 2000);
  std::generate(source.begin(), source.end(), [&] { return sample(random); });
  source[0] = 0.891F;
  source[1] = -0.891F;
  source[2] = std::numeric_limits<float>::denorm_min();
  for (const float rate : {8000.0F, 44100.0F, 48000.0F, 96000.0F}) {
    eq::Processor p = processor(eq::Curve{}, rate);
    std::vector<float> samples = source;
    p.process(samples.data(), 2000);
    EXPECT_EQ(bits(samples), bits(source)) << rate;
  }
}

TEST(eq_processor, a_new_one_only_limits) {
  eq::Processor p;
  std::vector<float> samples = {-0.0F, 0.5F, 3.0F, -3.0F};
  p.process(samples.data(), 2);
  EXPECT_EQ(bits(samples), bits(std::vector<float>{-0.0F, 0.5F, 1.0F, -1.0F}));
}

TEST(eq_processor, no_frames_leave_the_buffer_alone) {
  eq::Processor p = processor(eq::preset_curve(2));
  std::vector<float> samples = {0.25F, -0.25F};
  p.process(samples.data(), 0);
  p.process(samples.data(), -1);
  p.channels = 0;
  p.process(samples.data(), 1);
  EXPECT_THAT(samples, testing::ElementsAre(0.25F, -0.25F));
}

TEST(eq_processor, formats_out_of_range_are_brought_into_it) {
  eq::Processor p;
  for (const float rate : {500.0F, 1000.0F, 0.0F, -48000.0F, kNan}) {
    p.set_format(rate, 2);
    EXPECT_EQ(p.rate, 48000.0F) << rate;
  }
  p.set_format(44100.0F, 0);
  EXPECT_EQ(p.rate, 44100.0F);
  EXPECT_EQ(p.channels, 1);
  p.set_format(96000.0F, 12);
  EXPECT_EQ(p.channels, 8);
}

TEST(eq_processor, the_highest_band_sleeps_where_the_rate_is_too_low_for_it) {
  eq::Curve curve;
  curve.gain[9] = 12.0F;
  eq::Processor p = processor(curve, 32000.0F);
  EXPECT_FALSE(p.bands[9].active);
  EXPECT_TRUE(p.bands[8].active);
  std::vector<float> samples = {0.5F, -0.5F, -0.5F, 0.5F};
  p.process(samples.data(), 2);
  EXPECT_THAT(samples, testing::ElementsAre(0.5F, -0.5F, -0.5F, 0.5F));

  // 16000 Hz is 0.45 of a little more than 35555 Hz.
  p.set_format(35555.0F, 2);
  EXPECT_FALSE(p.bands[9].active);
  p.set_format(35556.0F, 2);
  EXPECT_TRUE(std::all_of(std::begin(p.bands), std::end(p.bands),
                          [](const eq::Band& band) { return band.active; }));
}

// The spectrum of the impulse response is the response, as long as the limiter stays out of it and
// the impulse has faded away.
float measured_db(const std::vector<float>& left, float rate, float freq, float height) {
  const double omega =
      2.0 * std::numbers::pi * static_cast<double>(freq) / static_cast<double>(rate);
  const std::complex<double> turn = std::polar(1.0, -omega);
  std::complex<double> factor = 1.0;
  std::complex<double> sum = 0.0;
  for (const float sample : left) {
    sum += static_cast<double>(sample) * factor;
    factor *= turn;
  }
  return static_cast<float>(20.0 * std::log10(std::abs(sum) / static_cast<double>(height)));
}

TEST(eq_processor, measured_response_is_the_drawn_one_for_every_preset) {
  constexpr float kHeight = 0.25F;
  for (const float rate : {44100.0F, 48000.0F, 96000.0F}) {
    for (const eq::PresetDef& preset : eq::kPresets) {
      SCOPED_TRACE(preset.key);
      eq::Processor p = processor(preset.curve, rate);
      std::vector<float> samples(kStereo * 32768);
      samples[0] = kHeight;
      p.process(samples.data(), 32768);
      std::vector<float> left;
      for (std::size_t i = 0; i < samples.size(); i += 2)
        left.push_back(samples[i]);

      for (const float freq : analyzer::kBarFreq) {
        ASSERT_NEAR(measured_db(left, rate, freq, kHeight),
                    eq::response_db(preset.curve, rate, freq), 0.05)
            << freq << " Hz at " << rate;
      }
    }
  }
}

TEST(eq_processor, a_new_curve_keeps_the_filter_memory_and_reset_silences_it) {
  eq::Processor p = processor(eq::preset_curve(2));
  std::vector<float> samples(kStereo * 100, 0.5F);
  p.process(samples.data(), 100);
  const std::vector<std::uint64_t> memory = memory_bits(p);
  p.set_curve(eq::preset_curve(3));
  EXPECT_EQ(memory_bits(p), memory);
  EXPECT_TRUE(eq::same(p.curve, eq::preset_curve(3)));

  p.reset();
  EXPECT_EQ(memory_bits(p), memory_bits(eq::Processor{}));
  EXPECT_TRUE(eq::same(p.curve, eq::preset_curve(3)));
  p.process(samples.data(), 100);
  p.set_format(44100.0F, 2);
  EXPECT_EQ(memory_bits(p), memory_bits(eq::Processor{}));
}

TEST(eq_processor, channels_do_not_hear_each_other) {
  eq::Processor p = processor(eq::preset_curve(5));
  std::vector<float> samples(kStereo * 1000, 0.0F);
  for (std::size_t i = 0; i < samples.size(); i += 2)
    samples[i] = 0.7F;
  p.process(samples.data(), 1000);
  for (std::size_t i = 1; i < samples.size(); i += 2)
    ASSERT_EQ(samples[i], 0.0F);
}

TEST(eq_processor, samples_that_are_no_numbers_count_as_silence) {
  std::vector<float> broken(kStereo * 600, 0.25F);
  std::vector<float> silenced = broken;
  for (const std::size_t at : {std::size_t{3}, std::size_t{500}, std::size_t{501}}) {
    broken[at] = at == 3 ? kNan : at == 500 ? kInfinity : -kInfinity;
    silenced[at] = 0.0F;
  }
  for (const Way& way : stereo_ways()) {
    eq::Processor p = processor(eq::preset_curve(5));
    eq::Processor q = p;
    std::vector<float> samples = broken;
    std::vector<float> expected = silenced;
    filter_in_blocks(p, way, samples, 600);
    q.process(expected.data(), 600);
    EXPECT_EQ(bits(samples), bits(expected)) << way.name;
  }
}

TEST(eq_processor, gains_that_are_no_numbers_count_as_a_number) {
  eq::Curve broken;
  broken.gain[0] = kNan;
  broken.gain[1] = kInfinity;
  broken.gain[2] = -kInfinity;
  broken.preamp = kNan;
  const eq::Processor p = processor(broken);
  eq::Curve meant;
  meant.gain[1] = 12.0F;
  meant.gain[2] = -12.0F;
  const eq::Processor q = processor(meant);
  for (int i = 0; i < eq::kBands; ++i) {
    EXPECT_EQ(p.bands[i].b0, q.bands[i].b0) << i;
    EXPECT_EQ(p.bands[i].a2, q.bands[i].a2) << i;
  }
  EXPECT_EQ(p.pre_gain, 1.0F);
}

TEST(soft_limit, bends_smoothly_towards_full_scale) {
  EXPECT_EQ(eq::soft_limit(0.5F), 0.5F);
  EXPECT_EQ(eq::soft_limit(0.891F), 0.891F);
  EXPECT_NEAR(eq::soft_limit(1.0F), 0.97401, 1e-5);
  EXPECT_EQ(eq::soft_limit(3.0F), 1.0F);
  EXPECT_EQ(eq::soft_limit(-3.0F), -1.0F);
  EXPECT_EQ(eq::soft_limit(kInfinity), 1.0F);

  float before = 0.0F;
  for (int i = 0; i < 2000; ++i) {
    const float x = 0.001F * static_cast<float>(i);
    const float y = eq::soft_limit(x);
    EXPECT_GE(y, before);
    EXPECT_LE(y, std::min(x, 1.0F));
    EXPECT_EQ(eq::soft_limit(-x), -y);
    before = y;
  }
  // Slope 1 on both sides of the knee.
  EXPECT_NEAR((eq::soft_limit(0.896F) - eq::soft_limit(0.891F)) / 0.005F, 1.0F, 0.01F);
}

TEST(soft_limit, a_boosted_full_scale_tone_stays_below_full_scale) {
  eq::Curve curve;
  curve.gain[5] = 6.0F;
  eq::Processor p = processor(curve);
  std::vector<float> samples;
  for (int i = 0; i < 4800; ++i) {
    const auto tone = static_cast<float>(std::sin(2.0 * std::numbers::pi * 1000.0 * i / 48000.0));
    samples.insert(samples.end(), {tone, tone});
  }
  p.process(samples.data(), 4800);
  const auto [lowest, highest] = std::minmax_element(samples.begin(), samples.end());
  EXPECT_GT(*highest, 0.99F);
  EXPECT_LE(*highest, 1.0F);
  EXPECT_LT(*lowest, -0.99F);
  EXPECT_GE(*lowest, -1.0F);
}

}  // namespace
