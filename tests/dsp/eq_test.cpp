// The processor against the plain loop, bit by bit; the drawn curve against what a bell of its Q
// is. That the two agree is what the program's self-test measures.

#include "dsp/eq_dsp.h"
#include "dsp/eq_kernel.h"
#include "plain_eq.h"
#include "test.h"

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

using Loop = std::function<void(eq::Processor&, float*, int)>;

// Every loop that this machine can run on a stereo processor with all bands, and the public way.
std::vector<Loop> stereo_loops() {
  std::vector<Loop> loops = {[](eq::Processor& p, float* s, int n) { p.process(s, n); },
                             eq::process_plain};
  for (const int lanes : eq::kLaneChoices) {
    if (!eq::has_lanes(lanes)) continue;
    loops.emplace_back(
        [lanes](eq::Processor& p, float* s, int n) { eq::process_stereo(p, s, n, lanes); });
  }
  return loops;
}

// Samples of every magnitude: music, overloads, whispers, denormals, zeros of both signs, and what
// is no number at all.
std::vector<float> odd_samples(std::mt19937& random, int count) {
  std::uniform_real_distribution<float> unit(-1.0F, 1.0F);
  std::vector<float> samples;
  while (static_cast<int>(samples.size()) < count) {
    const float x = unit(random);
    const float kinds[] = {0.0F * x, x * 1e-40F, x * 1e-20F, x * 100.0F, x * 3e38F,
                           kNan,     kInfinity,  -kInfinity, x,          x};
    samples.push_back(random() % 4 == 0 ? kinds[random() % std::size(kinds)] : x);
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

eq::Curve one_band(int band, float gain_db) {
  eq::Curve curve;
  curve.gain[band] = gain_db;
  return curve;
}

eq::Processor processor(const eq::Curve& curve, float rate = 48000.0F, int channels = 2) {
  eq::Processor p;
  p.set_format(rate, channels);
  p.set_curve(curve);
  return p;
}

// Not only equal numbers: NaNs and the signs of zeros count, too.
template <class Numbers>
bool same_bits(const Numbers& a, const Numbers& b) {
  return std::ranges::equal(std::as_bytes(std::span(a)), std::as_bytes(std::span(b)));
}

bool same_memory(const eq::Processor& a, const eq::Processor& b) {
  return same_bits(a.z1, b.z1) && same_bits(a.z2, b.z2);
}

// The loop gives the same samples and leaves the same memory as the plain one, in blocks of this
// many frames.
void expect_bits_of_the_plain_loop(const eq::Processor& start, const std::vector<float>& source,
                                   const Loop& loop, int block) {
  const int channels = start.channels;
  const int frames = static_cast<int>(source.size()) / channels;
  eq::Processor plain = start;
  std::vector<float> expected = source;
  plain_eq::process(plain, expected.data(), frames);
  eq::Processor p = start;
  std::vector<float> samples = source;
  for (int at = 0; at < frames; at += block)
    loop(p, samples.data() + std::ptrdiff_t{at} * channels, std::min(block, frames - at));
  ASSERT_TRUE(same_bits(samples, expected) && same_memory(p, plain))
      << channels << " channels at " << start.rate << " in blocks of " << block;
}

TEST(eq_processor, every_loop_gives_the_bits_of_the_plain_loop_in_blocks_of_any_size) {
  std::mt19937 random(7);  // NOLINT(cert-msc51-cpp): the same cases in every run
  for (const float rate : {36000.0F, 48000.0F, 192000.0F}) {
    eq::Processor start = processor(random_curve(random), rate);
    const std::vector<float> source = odd_samples(random, 2 * 1301);
    for (const Loop& loop : stereo_loops()) {
      for (const int block : {1, 2, 3, 7, 8, 9, 10, 19, 480, 511, 512, 513, 1301})
        expect_bits_of_the_plain_loop(start, source, loop, block);
    }
    // One loud frame, wherever a loop that takes several at a time looks for it.
    eq::Curve gentle;
    std::ranges::fill(gentle.gain, 0.5F);
    for (std::size_t at = 0; at < 32; ++at) {
      std::vector<float> quiet(200, 0.001F);
      quiet[100 + at] = 2.0F;
      for (const Loop& loop : stereo_loops())
        expect_bits_of_the_plain_loop(processor(gentle, rate), quiet, loop, 100);
    }
    // Memory that fades into denormals.
    std::fill_n(&start.z1[0][0], eq::kMaxChannels * eq::kBands, 1e-307);
    for (const Loop& loop : stereo_loops())
      expect_bits_of_the_plain_loop(start, std::vector<float>(2000, -0.0F), loop, 480);
  }
}

TEST(eq_processor, gives_the_bits_of_the_plain_loop_for_any_format) {
  std::mt19937 random(8);  // NOLINT(cert-msc51-cpp)
  for (int channels = 1; channels <= eq::kMaxChannels; ++channels) {
    // From one active band to ten.
    for (const float rate : {1001.0F, 8000.0F, 32000.0F, 48000.0F}) {
      expect_bits_of_the_plain_loop(processor(random_curve(random), rate, channels),
                                    odd_samples(random, channels * 200), stereo_loops().front(),
                                    37);
    }
  }
  eq::Processor p;
  for (const float rate : {1000.0F, -48000.0F, kNan}) {
    p.set_format(rate, 0);
    EXPECT_EQ(p.rate, 48000.0F) << rate;
    EXPECT_EQ(p.channels, 1);
  }
  p.set_format(44100.0F, 12);
  EXPECT_EQ(p.channels, eq::kMaxChannels);
}

TEST(eq_processor, flat_curve_leaves_samples_unchanged_up_to_the_knee) {
  std::mt19937 random(9);  // NOLINT(cert-msc51-cpp)
  std::uniform_real_distribution<float> sample(-0.891F, 0.891F);
  std::vector<float> source = {0.891F, -0.891F, std::numeric_limits<float>::denorm_min()};
  while (source.size() < 4000)
    source.push_back(sample(random));
  for (const float rate : {8000.0F, 44100.0F, 48000.0F, 96000.0F}) {
    std::vector<float> samples = source;
    processor(eq::Curve{}, rate).process(samples.data(), 2000);
    EXPECT_TRUE(same_bits(samples, source)) << rate;
  }
}

TEST(eq_processor, a_new_curve_keeps_the_filter_memory_and_a_new_format_silences_it) {
  eq::Processor p = processor(eq::preset_curve(2));
  std::vector<float> samples(200, 0.5F);
  p.process(samples.data(), 100);
  const eq::Processor before = p;
  p.set_curve(eq::preset_curve(3));
  EXPECT_TRUE(same_memory(p, before));
  p.set_format(44100.0F, 2);
  EXPECT_TRUE(same_memory(p, eq::Processor{}));
  EXPECT_TRUE(eq::same(p.curve, eq::preset_curve(3)));
}

TEST(eq_response, bells_have_their_gain_at_the_centre_and_are_as_wide_as_their_q_says) {
  constexpr double kQ = 1.41;
  const double octaves = 2.0 / std::numbers::ln2 * std::asinh(1.0 / (2.0 * kQ));
  // Where a bell's gain has fallen to half its decibels, half a bandwidth from its centre.
  const auto edge = static_cast<float>(std::exp2(octaves / 2.0));
  for (int band = 0; band < eq::kBands; ++band) {
    for (const float gain : {-12.0F, -0.5F, 6.0F}) {
      const auto at = [&](float factor) {
        return eq::response_db(one_band(band, gain), 48000.0F, eq::kFreq[band] * factor);
      };
      EXPECT_NEAR(at(1.0F), gain, 0.01) << band;
      if (band > 4) continue;  // close to the end of the spectrum they are narrower
      EXPECT_NEAR(at(edge), gain / 2.0F, 0.02) << band;
      EXPECT_NEAR(at(1.0F / edge), gain / 2.0F, 0.02) << band;
    }
  }
  eq::Curve quieter;
  quieter.preamp = -3.0F;
  EXPECT_EQ(eq::response_db(quieter, 48000.0F, 1000.0F), -3.0F);
  // Too close to the end of the spectrum a band is left out.
  EXPECT_EQ(eq::response_db(one_band(9, 6.0F), 32000.0F, 15000.0F), 0.0F);
  EXPECT_GT(eq::response_db(one_band(9, 6.0F), 48000.0F, 15000.0F), 4.0F);
}

TEST(eq_response, gains_that_are_no_numbers_count_as_a_number_here_and_in_the_processor) {
  const eq::Curve broken{{3.0F, kNan, -2.0F, kInfinity}, -kInfinity};
  const eq::Curve meant{{3.0F, 0.0F, -2.0F, 12.0F}, -12.0F};
  EXPECT_EQ(eq::response_db(broken, 48000.0F, 500.0F), eq::response_db(meant, 48000.0F, 500.0F));
  std::vector<float> heard(200, 0.25F);
  std::vector<float> expected = heard;
  processor(broken).process(heard.data(), 100);
  processor(meant).process(expected.data(), 100);
  EXPECT_EQ(heard, expected);
}

TEST(eq_presets, are_told_apart) {
  for (int i = 0; i < eq::kPresetCount; ++i) {
    const eq::PresetDef& preset = eq::kPresets[i];
    EXPECT_EQ(eq::find_preset(preset.key), i);
    EXPECT_EQ(eq::match_preset(eq::preset_curve(i)), i) << preset.key;
  }
  EXPECT_EQ(eq::match_preset(eq::standard_curve()), 0);
  EXPECT_EQ(eq::find_preset("rock"), -1);
  EXPECT_TRUE(eq::same(eq::preset_curve(-1), eq::preset_curve(eq::kPresetCount)));
}

TEST(eq_same, tells_curves_apart_from_a_twentieth_of_a_decibel) {
  for (const auto& [gain, alike] : {std::pair{0.049F, true}, {0.05F, false}, {kNan, false}}) {
    for (int band = 0; band < eq::kBands; ++band)
      EXPECT_EQ(eq::same(one_band(band, -gain), eq::Curve{}), alike) << band;
    EXPECT_EQ(eq::same(eq::Curve{}, {{}, gain}), alike);
  }
}

}  // namespace
