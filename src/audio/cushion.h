// The cushion: how much sound waits in the playback stream.
//
// Sound arrives and leaves at the same rate, so the queue keeps the length that it has when
// playback begins: if that is too short, every late block is a gap; if too long, the sound lags
// behind the picture. The cushion fills the queue to its target when playback begins or has run
// dry, and removes an excess where that is not heard. Pure arithmetic on samples; allocates
// nothing. Loop thread.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "block.h"

namespace audio {

// Interleaved stereo at 48 kHz throughout.
class Cushion {
 public:
  static constexpr int kTargetUs = 60000;       // normal target
  static constexpr int kMostTargetUs = 120000;  // target while sound often comes late
  static constexpr int kLimitUs = 300000;       // a queue longer than this is never made longer
  static constexpr std::int64_t kUnknown = -1;

  struct Output {
    int pad_frames = 0;              // silence to be written first
    std::span<const float> samples;  // then these: part of the block, or the block drawn out
    bool dropped = false;            // the block was thrown away for the limit's sake
  };

  // The queue is empty because the stream was opened or restarts.
  void restart();
  // The same after an underrun: sound came `late_us` after the block before. The target is raised
  // if that happens repeatedly, but not for one busy moment or a busy start.
  void ran_dry(std::int64_t late_us);

  // The queue is too long by this much, or, negative, too short: the next blocks correct it
  // exactly.
  void align(std::int64_t excess_us);

  // Shapes the next block, of at most kBlockFrames frames, in place. The result is valid until the
  // next call.
  //   queue_us   the length of the queue now, without the device's own delay, or kUnknown
  Output shape(std::span<float> block, std::int64_t queue_us);

  // The current target, in us.
  [[nodiscard]] int target_us() const { return target_us_; }
  // Whether the queue has settled since playback began, and no correction is under way.
  [[nodiscard]] bool steady() const {
    return mode_ == Mode::kSteady && trim_us_ <= 0 && align_frames_ == 0;
  }

 private:
  enum class Mode { kFresh, kSettling, kSteady };

  // 4 ms: longer than a tone's period, too short to be heard as a change.
  static constexpr int kFadeFrames = 192;
  static constexpr int kMaxLag = kBlockFrames - kFadeFrames;

  int lack_frames(std::int64_t queue_us, std::span<const float> block) const;
  bool cutting(std::int64_t queue_us, bool silent);
  void relax();
  void watch(std::int64_t queue_us);
  void start_watching();
  void remember_cut(std::span<const float> block);
  void join_cut(std::span<float> block);
  std::span<const float> splice(std::span<float> block);
  std::span<const float> cut(std::span<float> block, int frames);
  std::span<const float> draw_out(std::span<const float> block, int frames);
  std::span<const float> align_block(std::span<float> block);

  Mode mode_ = Mode::kFresh;
  int target_us_ = kTargetUs;
  int wary_blocks_ = 0;    // blocks for which another dry moment raises the target
  int calm_blocks_ = 0;    // blocks since the target last changed
  int new_blocks_ = 0;     // blocks in which a dry moment still counts as the earlier one
  int settle_blocks_ = 0;  // blocks since playback began
  int short_blocks_ = 0;   // blocks in a row before which the queue was much too short
  int window_blocks_ = 0;  // blocks in the current window of observation
  std::int64_t window_least_us_ = 0;
  int windows_ = 0;  // in the long window
  std::int64_t long_least_us_ = 0;
  std::int64_t trim_us_ = 0;  // an excess that is still to be taken away in small pieces
  int until_splice_ = 0;      // blocks until the next piece may be taken
  bool cut_open_ = false;     // blocks have been thrown away since the last one written
  int align_frames_ = 0;      // still to be cut, or inserted when negative
  std::array<float, std::size_t{2} * (kBlockFrames + kMaxLag)> drawn_out_{};
  // The sound right after the point where the cut began.
  std::array<float, std::size_t{2} * kFadeFrames> cut_start_{};
};

}  // namespace audio
