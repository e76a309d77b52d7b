// The playback queue, played through a model of the server: what is written waits, what is due is
// taken.

#include "audio/cushion.h"
#include "test.h"

namespace audio {
namespace {

constexpr int kBlock = kBlockFrames;
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
    const auto out = cushion_.shape(block, static_cast<std::int64_t>(queue_us_));
    drops_ += out.dropped ? 1 : 0;
    queue_us_ += kUsPerFrame * (out.pad_frames + static_cast<double>(out.samples.size()) / 2);
    written_.insert(written_.end(), static_cast<std::size_t>(out.pad_frames), 0.0F);
    for (std::size_t i = 0; i < out.samples.size(); i += 2)
      written_.push_back(out.samples[i]);
    queue_us_ = std::max(0.0, queue_us_ - elapsed_ms * 1000);
  }

  void run(int blocks, double elapsed_ms = 10, bool silent = false) {
    for (int i = 0; i < blocks; ++i)
      feed(elapsed_ms, silent);
  }

  // The gap cuts off what was written before.
  void underrun() {
    queue_us_ = 0;
    written_.clear();
    cushion_.ran_dry(60000);
  }

  // The largest step between neighbouring samples; the tone's own is 0.029.
  float largest_step() const {
    float step = 0;
    for (std::size_t i = 1; i < written_.size(); ++i)
      step = std::max(step, std::abs(written_[i] - written_[i - 1]));
    return step;
  }

  Cushion cushion_;
  double queue_us_ = 0;
  std::vector<float> written_;
  int drops_ = 0;
  std::int64_t time_ = 0;
};

constexpr float kToneStep = 0.03F;

TEST(Cushion, the_start_fills_the_queue_to_its_target_and_nothing_changes_the_sound_after_that) {
  Path path;
  path.run(300);
  EXPECT_NEAR(path.queue_us_, Cushion::kTargetUs - 10000, 1000);
  for (int i = 0; i < 50; ++i) {  // pieces come in fits and starts
    path.feed(40);
    path.run(3, 0);
  }
  const std::size_t pad = path.written_.size() - std::size_t{500} * kBlock;
  EXPECT_EQ(pad, Cushion::kTargetUs * 48 / 1000 - kBlock);
  EXPECT_LT(path.largest_step(), kToneStep);
}

TEST(Cushion, a_burst_after_a_gap_is_cut_short_without_a_click) {
  Path path;
  path.run(103);  // in the middle of a period
  path.underrun();
  path.run(25, 0);  // what piled up during the gap arrives at once
  path.run(100);
  EXPECT_LT(path.queue_us_, Cushion::kTargetUs + 15000);
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
  cushion.restart();
  for (int i = 0; i < 4; ++i)
    cushion.ran_dry(kLateUs);
  EXPECT_EQ(cushion.target_us(), Cushion::kTargetUs) << "a busy start";
  pass(1);
  cushion.ran_dry(kLateUs);
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
  for (int i = 0; i < 9; ++i) {
    pass(1);
    cushion.ran_dry(kLateUs);
  }
  EXPECT_EQ(cushion.target_us(), Cushion::kMostTargetUs);
  pass(91);
  EXPECT_EQ(cushion.target_us(), Cushion::kTargetUs);
}

TEST(Cushion, an_excess_is_trimmed_in_seconds_within_sound_and_left_out_at_once_in_silence) {
  for (const bool silent : {false, true}) {
    Path path;
    path.run(200, 10, silent);
    path.run(20, 0, silent);  // 200 ms too much
    path.run(silent ? 5 : 500, 10, silent);
    EXPECT_NEAR(path.queue_us_, Cushion::kTargetUs, 25000) << silent;
    EXPECT_EQ(path.drops_, 0) << silent;
    EXPECT_LT(path.largest_step(), kToneStep * 1.2F);
  }
}

TEST(Cushion, a_queue_is_aligned_to_the_frame_without_a_click) {
  for (const int frames : {-700, -100, 100, 700}) {
    Path path;
    path.run(100);
    const std::size_t before = path.written_.size();
    path.cushion_.align(frames * 1000000LL / 48000);
    path.run(10);
    EXPECT_NEAR(static_cast<double>(path.written_.size() - before), 10 * kBlock - frames, 1);
    EXPECT_TRUE(path.cushion_.steady());
    EXPECT_LT(path.largest_step(), kToneStep * 1.2F);
  }
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
  EXPECT_NEAR(path.drops_, 3, 1);
  EXPECT_LT(path.largest_step(), kToneStep * 1.2F);
}

TEST(Cushion, blocks_of_any_length_are_taken_and_written_while_the_queue_is_unknown) {
  std::vector<float> block(std::size_t{2} * kBlock, 0.25F);
  for (const std::size_t frames : {0U, 1U, 2U, 191U, 192U, 193U, 479U, 480U}) {
    Cushion cushion;
    for (const std::int64_t queue :
         {Cushion::kUnknown, std::int64_t{0}, std::int64_t{90000}, std::int64_t{299999}}) {
      for (int i = 0; i < 300; ++i) {
        const auto out = cushion.shape(std::span(block).first(frames * 2), queue);
        const std::size_t least = queue == Cushion::kUnknown ? frames * 2 : 0;
        ASSERT_TRUE(out.samples.size() >= least && out.samples.size() <= frames * 2);
        ASSERT_TRUE(std::ranges::all_of(out.samples, [](float x) { return std::isfinite(x); }));
      }
    }
  }
}

}  // namespace
}  // namespace audio
