// The stations of a sample's path, without a server: equalizer, fade, tap and play queue.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "audio/equalizer.h"
#include "audio/fade.h"
#include "audio/play_queue.h"
#include "audio/tap.h"

namespace audio {
namespace {

constexpr std::size_t kBlock = 960;  // samples of 10 ms

std::vector<float> tone(std::size_t frames, double hz = 100) {
  std::vector<float> samples;
  for (std::size_t i = 0; i < frames; ++i) {
    const double phase = 2 * std::numbers::pi * hz * static_cast<double>(i) / 48000;
    samples.insert(samples.end(), 2, static_cast<float>(0.25 * std::sin(phase)));
  }
  return samples;
}

float largest_step(std::span<const float> samples) {
  float step = 0;
  for (std::size_t i = 2; i < samples.size(); ++i)
    step = std::max(step, std::abs(samples[i] - samples[i - 2]));
  return step;
}

TEST(Equalizer, goes_from_curve_to_curve_without_a_step_and_arrives_at_the_newest) {
  Equalizer equalizer;
  equalizer.restart();
  std::vector<float> sound = tone(4800);
  const std::vector<float> source = sound;
  for (std::size_t block = 0; block < 10; ++block) {
    eq::Curve curve;
    if (block == 3) curve.preamp = 12;  // never heard: the next one is newer
    if (block == 3) equalizer.set_curve(curve);
    curve.preamp = -6;
    if (block == 3) equalizer.set_curve(curve);
    equalizer.process(std::span(sound).subspan(block * kBlock, kBlock));
  }
  EXPECT_TRUE(std::equal(sound.begin(), sound.begin() + 3 * kBlock, source.begin()));
  for (std::size_t i = 4 * kBlock; i < sound.size(); ++i)
    ASSERT_NEAR(sound[i], source[i] * 0.501187F, 1e-6F) << i;
  EXPECT_LT(largest_step(sound), largest_step(source) * 1.05F);
}

TEST(Equalizer, counts_as_silent_after_ten_seconds_and_forgets_what_rang) {
  Equalizer equalizer;
  equalizer.restart();
  eq::Curve curve;
  curve.gain[0] = 12;
  equalizer.set_curve(curve);
  std::vector<float> sound = tone(480, 31);
  equalizer.process(sound);
  for (int block = 0; block < 1000; ++block) {
    EXPECT_FALSE(equalizer.silent());
    std::ranges::fill(sound, 0.0F);
    equalizer.process(sound);
  }
  EXPECT_TRUE(equalizer.silent());
  equalizer.restart();
  EXPECT_TRUE(equalizer.silent()) << "a new capture wakes no sleeping device";
  sound[0] = 1e-20F;
  equalizer.process(sound);
  EXPECT_FALSE(equalizer.silent());
  EXPECT_LT(std::abs(sound[2]), 1e-19F);
}

TEST(Fade, fades_in_what_comes_within_two_seconds_and_out_for_good) {
  const auto ones = [] { return std::vector<float>(kBlock, 1.0F); };
  for (const int seconds : {0, 1, 3}) {
    Fade fade;
    fade.restart();
    std::vector<float> silence(kBlock);
    for (int i = 0; i < seconds * 100; ++i)
      fade.apply(silence);
    std::vector<float> sound = ones();
    fade.apply(sound);
    EXPECT_EQ(sound[0] < 0.01F, seconds < 2);
    EXPECT_TRUE(std::ranges::is_sorted(sound));
    EXPECT_EQ(sound[480], 1.0F) << "5 ms";
    EXPECT_EQ(sound[300], sound[301]) << "both channels alike";

    fade.begin_out();
    sound = ones();
    EXPECT_FALSE(fade.gone());
    fade.apply(sound);
    EXPECT_TRUE(fade.gone());
    EXPECT_TRUE(std::ranges::is_sorted(sound, std::greater()));
    EXPECT_GT(sound[1], 0.99F);
    EXPECT_EQ(sound[480], 0.0F);
    sound = ones();
    fade.apply(sound);
    EXPECT_EQ(sound, silence);
    fade.restart();
    EXPECT_FALSE(fade.gone());
  }
}

TEST(Tap, gives_the_newest_frames_oldest_first_and_each_peak_once) {
  Tap tap;
  std::vector<float> left(Tap::kFrames, 7.0F);
  std::vector<float> right(Tap::kFrames, 7.0F);
  std::uint64_t serial = 1;
  EXPECT_FALSE(tap.copy(left.data(), right.data(), 4, &serial));
  EXPECT_EQ(serial, 0U);
  EXPECT_EQ(left[0], 7.0F);
  for (int i = 0; i < 10001; ++i)
    tap.push(std::array{static_cast<float>(i), static_cast<float>(-2 * i)});
  ASSERT_TRUE(tap.copy(left.data(), right.data(), 100000, &serial));
  EXPECT_EQ(serial, 10001U);
  for (int i = 0; i < Tap::kFrames; ++i) {
    const auto at = static_cast<std::size_t>(i);
    ASSERT_EQ(left[at], static_cast<float>(10001 - Tap::kFrames + i));
    ASSERT_EQ(right[at], -2 * left[at]);
  }
  ASSERT_TRUE(tap.copy(left.data(), right.data(), 2, nullptr));
  EXPECT_EQ(left[0], 9999.0F);
  EXPECT_EQ(left[2], static_cast<float>(10001 - Tap::kFrames + 2)) << "no more than asked for";
  float l = 0;
  float r = 0;
  tap.consume_peaks(&l, &r);
  EXPECT_EQ(std::pair(l, r), std::pair(10000.0F, 20000.0F));
  tap.consume_peaks(&l, &r);
  EXPECT_EQ(std::pair(l, r), std::pair(0.0F, 0.0F));
}

}  // namespace
}  // namespace audio
