// The playback queue, played through a model of the server: what is written waits, what is due is
// taken.

#include "cushion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

namespace audio {
namespace {

constexpr int kBlock = Cushion::kMaxFrames;
constexpr double kUsPerFrame = 1e6 / 48000.0;

// A tone goes in block by block, and what comes out is kept. The queue drains in real time.
class Path {
 public:
  // Feeds one block of 10 ms and lets `elapsed_ms` pass.
  void feed(double elapsed_ms = 10, bool silent = false) {
    std::array<float, std::size_t{2} * kBlock> block{};
    for (std::size_t i = 0; i < kBlock; ++i, ++time_) {
      const double phase = 2.0 * std::numbers::pi * 440.0 * static_cast<double>(time_) / 48000.0;
      const float x = silent ? 0.0F : static_cast<float>(0.5 * std::sin(phase));
      block[2 * i] = block[2 * i + 1] = x;
    }
    const auto out =
        cushion_.shape(block, known_ ? static_cast<std::int64_t>(queue_us_) : Cushion::kUnknown);
    drops_ += out.dropped ? 1 : 0;
    queue_us_ += kUsPerFrame * (out.pad_frames + static_cast<double>(out.samples.size()) / 2);
    written_.insert(written_.end(), static_cast<std::size_t>(out.pad_frames), 0.0F);
    for (std::size_t i = 0; i < out.samples.size(); i += 2)
      written_.push_back(out.samples[i]);
    queue_us_ = std::max(0.0, queue_us_ - elapsed_ms * 1000);
  }

  void run(int blocks) {
    for (int i = 0; i < blocks; ++i)
      feed();
  }

  void underrun(int late_ms = 60) {
    queue_us_ = 0;
    cushion_.ran_dry(late_ms * 1000);
  }

  // The largest step between neighbouring samples; the tone's own is 0.029.
  float largest_step() const {
    float step = 0;
    for (std::size_t i = 1; i < written_.size(); ++i)
      step = std::max(step, std::abs(written_[i] - written_[i - 1]));
    return step;
  }

  Cushion cushion_;
  bool known_ = true;
  double queue_us_ = 0;
  std::vector<float> written_;
  int drops_ = 0;
  std::int64_t time_ = 0;
};

constexpr float kToneStep = 0.03F;

TEST(Cushion, fills_the_queue_to_its_target_at_the_start_and_keeps_every_sample_after_that) {
  Path path;
  path.run(300);
  EXPECT_NEAR(path.queue_us_, Cushion::kTargetUs - 10000, 1000);
  const std::size_t pad = path.written_.size() - std::size_t{300} * kBlock;
  EXPECT_EQ(pad, Cushion::kTargetUs * 48 / 1000 - kBlock);
  EXPECT_LT(path.largest_step(), kToneStep);
}

TEST(Cushion, a_burst_after_a_gap_is_cut_short_without_a_click) {
  Path path;
  path.run(100);
  path.underrun();
  for (int i = 0; i < 25; ++i)
    path.feed(0);  // what piled up during the gap arrives at once
  path.run(100);
  EXPECT_LT(path.queue_us_, Cushion::kTargetUs + 15000);
  // The gap itself cut the tone off; the model leaves it to the server and only looks at what was
  // written.
  EXPECT_LT(path.largest_step(), 0.5F);
  path.written_.erase(path.written_.begin(),
                      path.written_.begin() + std::ptrdiff_t{100} * kBlock + 3000);
  EXPECT_LT(path.largest_step(), kToneStep);
}

TEST(Cushion, sound_that_comes_late_again_and_again_gets_a_longer_queue_until_it_is_calm) {
  Cushion cushion;
  std::array<float, 2> frame{0.25F, 0.25F};
  const auto pass = [&](int minutes) {
    for (int block = 0; block < minutes * 6000; ++block)
      cushion.shape(frame, cushion.target_us());
  };
  constexpr int kLateUs = 60000;
  cushion.ran_dry(kLateUs);
  pass(11);
  cushion.ran_dry(kLateUs);
  EXPECT_EQ(cushion.target_us(), Cushion::kTargetUs) << "may be anything";
  cushion.ran_dry(Cushion::kMostTargetUs);
  EXPECT_EQ(cushion.target_us(), Cushion::kTargetUs) << "no queue lasts for that long";
  pass(1);
  cushion.ran_dry(kLateUs);
  EXPECT_EQ(cushion.target_us(), Cushion::kTargetUs + 20000);
  EXPECT_EQ(cushion.shape(frame, 0).pad_frames, cushion.target_us() * 48 / 1000 - 1);
  for (int i = 0; i < 9; ++i)
    cushion.ran_dry(kLateUs);
  EXPECT_EQ(cushion.target_us(), Cushion::kMostTargetUs);
  pass(91);
  EXPECT_EQ(cushion.target_us(), Cushion::kTargetUs);
}

TEST(Cushion, an_excess_within_sound_is_trimmed_in_seconds_without_a_click) {
  Path path;
  path.run(200);
  for (int i = 0; i < 20; ++i)
    path.feed(0);  // 200 ms too much
  EXPECT_GT(path.queue_us_, 240000);
  path.run(500);
  EXPECT_LT(path.queue_us_, Cushion::kTargetUs + 25000);
  EXPECT_GT(path.queue_us_, Cushion::kTargetUs - 25000);
  EXPECT_EQ(path.drops_, 0);
  EXPECT_LT(path.largest_step(), kToneStep * 1.2F);
}

TEST(Cushion, an_excess_of_silence_is_left_out_at_once) {
  Path path;
  for (int i = 0; i < 100; ++i)
    path.feed(10, true);
  for (int i = 0; i < 20; ++i)
    path.feed(0, true);
  for (int i = 0; i < 5; ++i)
    path.feed(10, true);
  EXPECT_LE(path.queue_us_, Cushion::kTargetUs + 25000);
  EXPECT_EQ(path.drops_, 0);
}

// The server tells the queue seldom, and as it was at the device's last gulp.
TEST(Cushion, a_queue_that_is_told_too_long_is_left_alone) {
  Cushion cushion;
  constexpr int kAnswerEvery = 150;  // blocks
  std::int64_t error_us = 0;
  std::size_t written = 0;
  for (int i = 0; i < 3000; ++i) {
    std::array<float, std::size_t{2} * kBlock> block{};
    block.fill(0.25F);
    if (i % kAnswerEvery == 0) error_us = i / kAnswerEvery % 4 * 7000;
    const auto out = cushion.shape(block, Cushion::kTargetUs - 10000 + error_us);
    written += out.samples.size() / 2;
  }
  EXPECT_EQ(written, std::size_t{3000} * kBlock);
}

TEST(Cushion, a_queue_that_has_become_short_is_filled_up_in_silence) {
  Path path;
  path.run(100);
  path.queue_us_ = 15000;
  path.run(50);
  EXPECT_LT(path.queue_us_, 20000) << "sound is not torn apart for it";
  path.feed(10, true);
  EXPECT_NEAR(path.queue_us_, Cushion::kTargetUs - 10000, 1000);
}

TEST(Cushion, beyond_the_limit_blocks_are_thrown_away_and_the_joint_does_not_click) {
  Path path;
  path.run(200);
  path.queue_us_ = Cushion::kLimitUs + 25000;
  path.run(20);
  EXPECT_GE(path.drops_, 2);
  EXPECT_LE(path.drops_, 4);
  EXPECT_LT(path.largest_step(), kToneStep * 1.2F);
}

TEST(Cushion, jitter_changes_no_sample) {
  Path path;
  path.run(100);
  const std::size_t before = path.written_.size();
  for (int i = 0; i < 200; ++i)
    path.feed(i % 4 == 0 ? 40 : 0);
  EXPECT_EQ(path.written_.size() - before, std::size_t{200} * kBlock);
  EXPECT_LT(path.largest_step(), kToneStep);
}

TEST(Cushion, without_knowledge_of_the_queue_everything_is_written) {
  Path path;
  path.known_ = false;
  path.run(100);
  EXPECT_GE(path.written_.size(), std::size_t{100} * kBlock);
  EXPECT_EQ(path.drops_, 0);
}

TEST(Cushion, blocks_of_any_length_are_taken) {
  Cushion cushion;
  std::vector<float> block(std::size_t{2} * kBlock, 0.25F);
  EXPECT_TRUE(cushion.shape({}, 0).samples.empty());
  for (const std::size_t frames : {1U, 2U, 191U, 192U, 193U, 479U, 480U}) {
    for (const std::int64_t queue :
         {std::int64_t{-1}, std::int64_t{0}, std::int64_t{90000}, std::int64_t{299999}}) {
      for (int i = 0; i < 300; ++i) {
        const auto out = cushion.shape(std::span(block).first(frames * 2), queue);
        ASSERT_LE(out.samples.size(), frames * 2);
        for (const float x : out.samples)
          ASSERT_TRUE(std::isfinite(x));
      }
    }
  }
}

}  // namespace
}  // namespace audio
