// Two clocks that disagree, and sound that is played a little faster or slower.
#include "audio/drift.h"

#include "audio/cushion.h"
#include "audio/resampler.h"
#include "test.h"

namespace {

using audio::DriftControl;
using audio::Resampler;

constexpr double kBlock = 0.01;  // s

// Stereo, the right channel half as loud and a quarter of a period behind.
std::vector<float> tone(double hz, int frames) {
  std::vector<float> samples;
  for (int i = 0; i < frames; ++i) {
    const double phase = 2 * std::numbers::pi * hz * i / 48000;
    samples.push_back(static_cast<float>(0.5 * std::sin(phase)));
    samples.push_back(static_cast<float>(-0.25 * std::cos(phase)));
  }
  return samples;
}

std::vector<float> resampled(const std::vector<float>& samples, double speed, std::size_t block) {
  Resampler resampler;
  std::vector<float> result;
  for (std::size_t at = 0; at < samples.size(); at += block) {
    const auto part = resampler.process(
        std::span(samples).subspan(at, std::min(block, samples.size() - at)), speed);
    result.insert(result.end(), part.begin(), part.end());
  }
  return result;
}

// What is not a tone of this frequency in a channel, in dB below the tone.
double impurity_db(const std::vector<float>& samples, double hz, std::size_t channel) {
  double sine = 0;
  double cosine = 0;
  const std::size_t frames = samples.size() / 2;
  const auto phase = [hz](std::size_t i) {
    return 2 * std::numbers::pi * hz * static_cast<double>(i) / 48000;
  };
  for (std::size_t i = 0; i < frames; ++i) {
    const double x = static_cast<double>(samples[2 * i + channel]);
    sine += 2 * x * std::sin(phase(i)) / static_cast<double>(frames);
    cosine += 2 * x * std::cos(phase(i)) / static_cast<double>(frames);
  }
  double rest = 0;
  for (std::size_t i = 0; i < frames; ++i) {
    const double x = static_cast<double>(samples[2 * i + channel]);
    const double error = x - sine * std::sin(phase(i)) - cosine * std::cos(phase(i));
    rest += 2 * error * error / static_cast<double>(frames);
  }
  return 10 * std::log10(rest / (sine * sine + cosine * cosine));
}

TEST(Resampler, keeps_tones_pure_at_any_speed) {
  for (const double speed : {-DriftControl::kMaxSpeed, -0.0002, 0.0001, DriftControl::kMaxSpeed}) {
    for (const double hz : {60.0, 1000.0, 10000.0, 18000.0}) {
      // A whole number of periods in what is left after the beginning is cut off.
      std::vector<float> result = resampled(tone(hz / (1 + speed), 98000), speed, 960);
      result.erase(result.begin(), result.begin() + 2 * 1000);
      result.resize(std::size_t{2} * 96000);
      for (const std::size_t channel : {0U, 1U})
        EXPECT_LT(impurity_db(result, hz, channel), -90) << hz << " Hz at " << speed;
      EXPECT_NEAR(std::ranges::max(result), 0.5F, 0.01F);
      double energy[2]{};
      for (std::size_t i = 0; i < result.size(); ++i)
        energy[i % 2] += static_cast<double>(result[i]) * static_cast<double>(result[i]);
      EXPECT_NEAR(energy[0] / energy[1], 4, 0.01);
    }
  }
}

TEST(Resampler, blocks_leave_no_seams_lengths_follow_the_speed_and_speed_0_changes_no_sample) {
  const std::vector<float> source = tone(440, 48000);
  for (const double speed : {-0.001, 0.0, 0.001}) {
    const std::vector<float> whole = resampled(source, speed, 960);
    EXPECT_NEAR(static_cast<double>(whole.size()) / 2, 48000 / (1 + speed), 2);
    if (speed == 0) {
      EXPECT_TRUE(std::equal(whole.begin() + 2 * Resampler::kDelay, whole.end(), source.begin()));
    }
    for (const std::size_t block : {std::size_t{2}, std::size_t{74}}) {
      const std::vector<float> pieces = resampled(source, speed, block);
      ASSERT_NEAR(static_cast<double>(pieces.size()), static_cast<double>(whole.size()), 2);
      for (std::size_t i = 0; i < std::min(pieces.size(), whole.size()); ++i)
        ASSERT_NEAR(pieces[i], whole[i], 1e-6F) << i;
    }
  }
}

struct Course {
  double least_ms = 1e9;
  double most_ms = -1e9;
  double last_ms = 0;
  double fastest = 0;
};

// Where the queue's excess goes in so many seconds, when the device takes more or less than it is
// given and what is known of the queue is an answer every now and then, which may be too long.
Course follow(DriftControl* control, double drift, double seconds, double start_ms = 0,
              double error_ms = 2, double rare_ms = 0) {
  std::mt19937 random(11);  // NOLINT(cert-msc51-cpp): the same course in every run
  std::uniform_real_distribution<double> error(0, error_ms * 1000);
  std::uniform_int_distribution<int> rare(0, 19);
  double excess_us = start_ms * 1000;
  Course course;
  double error_us = 0;
  for (int block = 0; block * kBlock < seconds; ++block) {
    if (block % 37 == 0) error_us = error(random) + (rare(random) == 0 ? rare_ms * 1000 : 0);
    const double speed = control->update(excess_us + error_us, kBlock);
    excess_us += (drift - speed) * kBlock * 1e6;
    course.least_ms = std::min(course.least_ms, excess_us / 1000);
    course.most_ms = std::max(course.most_ms, excess_us / 1000);
    course.fastest = std::max(course.fastest, std::abs(speed));
  }
  course.last_ms = excess_us / 1000;
  return course;
}

TEST(DriftControl, holds_the_queue_for_two_hours_whatever_the_clocks_do) {
  for (const double ppm : {-200, -20, 20, 200}) {
    DriftControl control;
    const Course course = follow(&control, ppm * 1e-6, 7200);
    EXPECT_GT(course.least_ms, -6) << ppm;
    EXPECT_LT(course.most_ms, 6) << ppm;
    EXPECT_LE(course.fastest, 0.0004) << ppm;
    // Once the drift is known there is little left to do.
    const Course later = follow(&control, ppm * 1e-6, 1800, course.last_ms);
    EXPECT_LT(later.most_ms - later.least_ms, 3) << ppm;
    EXPECT_NEAR(control.speed(), ppm * 1e-6, 0.0001);
    // On a busy machine some answers are far off.
    DriftControl shaken;
    const Course rough = follow(&shaken, ppm * 1e-6, 7200, 0, 4, 50);
    EXPECT_GT(rough.least_ms, -15) << ppm;
    EXPECT_LT(rough.most_ms, 15) << ppm;
  }
}

TEST(DriftControl, makes_good_what_a_late_server_loses_before_the_next_piece) {
  for (const double ppm : {-200, 0, 200}) {
    DriftControl control;
    Course course = follow(&control, ppm * 1e-6, 600);
    double least_ms = 0;
    for (int piece = 0; piece < 60; ++piece) {
      course = follow(&control, ppm * 1e-6, 20, course.last_ms - 10.667);
      least_ms = std::min(least_ms, course.least_ms);
    }
    EXPECT_GT(least_ms, -30) << ppm;
    // The calm that follows is not spent on going back from the other side.
    EXPECT_LT(follow(&control, ppm * 1e-6, 600, course.last_ms).most_ms, 20) << ppm;
  }
}

TEST(DriftControl, leaves_equal_clocks_alone) {
  DriftControl control;
  EXPECT_EQ(follow(&control, 0, 7200).fastest, 0);
}

TEST(DriftControl, leads_the_queue_back_and_keeps_what_it_knows_of_the_clock) {
  DriftControl control;
  follow(&control, 0.0002, 3600);
  control.restart();
  EXPECT_NEAR(control.speed(), 0.0002, 0.0001);
  const Course again = follow(&control, 0.0002, 600, 9);
  EXPECT_LT(again.most_ms, 15);
  EXPECT_NEAR(again.last_ms, 0, 8);
  control.forget();
  EXPECT_EQ(control.speed(), 0);
  // A hopeless case stays within what no ear notices.
  EXPECT_LE(follow(&control, 0.01, 600).fastest, DriftControl::kMaxSpeed);
}

// Together with what takes pieces out of a queue that is too long: where that came first, the drift
// would stay unknown, and a piece go every minute.
TEST(DriftControl, follows_a_slow_device_before_anything_is_taken_out_of_the_sound) {
  for (const double excess_ms : {0, 10, 20, 25}) {
    audio::Cushion cushion;
    DriftControl control;
    std::mt19937 random(11);  // NOLINT(cert-msc51-cpp): the same course in every run
    std::uniform_real_distribution<double> gulp_us(0, 10667);
    std::array<float, std::size_t{2} * audio::kBlockFrames> block{};
    double queue_us = audio::Cushion::kTargetUs - 10000 + excess_ms * 1000;
    double error_us = 0;
    for (int i = 0; i < 60000; ++i) {
      block.fill(0.25F);
      if (i % 150 == 0) error_us = gulp_us(random);
      const double told_us = queue_us + error_us;
      const auto out = cushion.shape(block, static_cast<std::int64_t>(told_us));
      ASSERT_EQ(out.samples.size(), block.size()) << excess_ms << " ms, block " << i;
      const double speed =
          cushion.steady() ? control.update(told_us + 10000 - cushion.target_us(), kBlock) : 0.0;
      queue_us += (0.0002 - speed) * kBlock * 1e6;
    }
    EXPECT_NEAR(control.speed(), 0.0002, 0.0001) << excess_ms;
  }
}

}  // namespace
