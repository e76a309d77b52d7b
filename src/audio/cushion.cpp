// DESIGN: an excess is removed in one of three ways, depending on what can be heard. Silence is
// simply left out (or added, if the queue has become short). Right after playback began or ran dry
// there was a gap anyway, so a burst that arrives then, having piled up during the gap, is cut at
// once. In the middle of sound, an excess too large to be removed by playing faster is cut out in
// pieces of a few milliseconds, a few in a row, at places where the sound repeats itself, found by
// correlation and crossfaded. Beyond the limit whole blocks are dropped. The first fill level
// depends on chance, so it is corrected once, to the frame, as soon as it can be measured, when the
// sound has only just begun. Every cut is crossfaded from the sound as it would have continued to
// the sound as it continues, so none clicks.

#include "cushion.h"

#include <algorithm>
#include <cmath>

namespace audio {

namespace {

constexpr int kChannels = 2;
constexpr int kFramesPerMs = 48;
constexpr int kSettleBlocks = 50;  // half a second
constexpr int kWindowBlocks = 50;
constexpr int kLongWindows = 16;          // 8 s
constexpr int kSpliceEvery = 4;           // blocks
constexpr int kMinLag = 48;               // frames; a shorter piece is not worth a splice
constexpr std::int64_t kBurstUs = 40000;  // above the target: a burst, not jitter
// How much too long a queue may look on a busy machine. The smallest of several measurements is
// close to the truth.
constexpr std::int64_t kDoubtUs = 20000;
// Above the target throughout a long window. A smaller excess is removed by playing faster,
// unheard. This must exceed any change that a drift can make before it is known; otherwise no drift
// would ever be learnt, and a piece would be cut out every minute.
constexpr std::int64_t kTrimFromUs = 30000;
constexpr std::int64_t kSilentExcessUs = kDoubtUs + 5000;
constexpr std::int64_t kSilentLackUs = 25000;
constexpr int kShortBlocks = 25;  // one late block is not a lack
constexpr int kTargetStepUs = 20000;
constexpr int kNewBlocks = 500;      // 5 s
constexpr int kWaryBlocks = 60000;   // 10 minutes: a single late block proves nothing
constexpr int kCalmBlocks = 180000;  // 30 minutes

bool is_silent(std::span<const float> block) {
  return std::ranges::all_of(block, [](float x) { return x == 0.0F; });
}

std::size_t sample_at(int frame, int channel) {
  return static_cast<std::size_t>(frame) * kChannels + static_cast<std::size_t>(channel);
}

std::int64_t duration_us(std::size_t samples) {
  return static_cast<std::int64_t>(samples / kChannels) * 1000 / kFramesPerMs;
}

// Linear crossfade weight of the incoming sound at frame i of n.
float weight(int i, int n) {
  return (static_cast<float>(i) + 0.5F) / static_cast<float>(n);
}

}  // namespace

void Cushion::restart() {
  mode_ = Mode::kFresh;
  trim_us_ = 0;
  cut_open_ = false;
  align_frames_ = 0;
  new_blocks_ = kNewBlocks;
}

void Cushion::align(std::int64_t excess_us) {
  align_frames_ = static_cast<int>(excess_us * kFramesPerMs / 1000);
}

// A longer queue helps only if it would have lasted.
void Cushion::ran_dry(std::int64_t late_us) {
  const int new_blocks = new_blocks_;
  restart();
  if (new_blocks > 0) new_blocks_ = new_blocks;
  if (new_blocks > 0 || late_us >= kMostTargetUs) return;
  if (wary_blocks_ > 0) target_us_ = std::min(target_us_ + kTargetStepUs, kMostTargetUs);
  wary_blocks_ = kWaryBlocks;
  calm_blocks_ = 0;
}

// The excess that results is removed like any other.
void Cushion::relax() {
  wary_blocks_ = std::max(0, wary_blocks_ - 1);
  new_blocks_ = std::max(0, new_blocks_ - 1);
  if (target_us_ == kTargetUs || ++calm_blocks_ < kCalmBlocks) return;
  target_us_ -= kTargetStepUs;
  calm_blocks_ = 0;
}

// The frames missing from the target once the block has been written.
int Cushion::lack_frames(std::int64_t queue_us, std::span<const float> block) const {
  const std::int64_t lack_us = target_us_ - std::max<std::int64_t>(queue_us, 0);
  const int frames = static_cast<int>(lack_us * kFramesPerMs / 1000);
  return std::max(0, frames - static_cast<int>(block.size()) / kChannels);
}

Cushion::Output Cushion::shape(std::span<float> block, std::int64_t queue_us) {
  if (block.empty()) return {};
  if (queue_us > kLimitUs) {
    remember_cut(block);
    return {.pad_frames = 0, .samples = {}, .dropped = true};
  }
  Output out{.pad_frames = 0, .samples = block, .dropped = false};
  const bool silent = is_silent(block);
  const bool lacks = queue_us != kUnknown && queue_us < target_us_ - kSilentLackUs;
  short_blocks_ = lacks ? short_blocks_ + 1 : 0;
  if (mode_ == Mode::kFresh) {
    out.pad_frames = lack_frames(queue_us, block);
    // From silence to sound.
    cut_start_.fill(0.0F);
    cut_open_ = true;
    mode_ = Mode::kSettling;
    settle_blocks_ = 0;
  } else if (cutting(queue_us, silent)) {
    remember_cut(block);
    return {};
  } else if (silent && short_blocks_ >= kShortBlocks) {
    out.pad_frames = lack_frames(queue_us, block);
  }
  watch(queue_us);
  relax();
  if (cut_open_) {
    join_cut(block);
  } else if (align_frames_ != 0) {
    out.samples = align_block(block);
  } else if (trim_us_ > 0 && --until_splice_ <= 0) {
    until_splice_ = kSpliceEvery;
    out.samples = splice(block);
    trim_us_ -= duration_us(block.size() - out.samples.size());
  }
  return out;
}

// Whether to leave this block out to shorten the queue.
bool Cushion::cutting(std::int64_t queue_us, bool silent) {
  if (queue_us == kUnknown) return false;
  if (silent) return queue_us > target_us_ + kSilentExcessUs;
  if (mode_ != Mode::kSettling) return false;
  return queue_us > target_us_ + (cut_open_ ? 0 : kBurstUs);
}

// Detects a queue that is always too long, not just for a moment.
void Cushion::watch(std::int64_t queue_us) {
  if (mode_ == Mode::kSettling && ++settle_blocks_ >= kSettleBlocks) {
    mode_ = Mode::kSteady;
    start_watching();
  }
  if (queue_us == kUnknown || mode_ != Mode::kSteady) return;
  if (trim_us_ > 0) {
    if (queue_us <= target_us_) trim_us_ = 0;
    start_watching();
    return;
  }
  window_least_us_ = window_blocks_ == 0 ? queue_us : std::min(window_least_us_, queue_us);
  if (++window_blocks_ < kWindowBlocks) return;
  window_blocks_ = 0;
  long_least_us_ = windows_ == 0 ? window_least_us_ : std::min(long_least_us_, window_least_us_);
  ++windows_;
  if (window_least_us_ > target_us_ + kBurstUs) {
    trim_us_ = window_least_us_ - kDoubtUs - target_us_;
  } else if (windows_ == kLongWindows) {
    if (long_least_us_ > target_us_ + kTrimFromUs) trim_us_ = long_least_us_ - target_us_;
    windows_ = 0;
  }
}

void Cushion::start_watching() {
  window_blocks_ = 0;
  windows_ = 0;
}

void Cushion::remember_cut(std::span<const float> block) {
  if (cut_open_) return;
  cut_open_ = true;
  cut_start_.fill(0.0F);
  std::ranges::copy(block.first(std::min(block.size(), cut_start_.size())), cut_start_.begin());
}

void Cushion::join_cut(std::span<float> block) {
  cut_open_ = false;
  const int frames = std::min(kFadeFrames, static_cast<int>(block.size()) / kChannels);
  for (int i = 0; i < frames; ++i) {
    const float w = weight(i, frames);
    for (int c = 0; c < kChannels; ++c) {
      const auto at = sample_at(i, c);
      block[at] = (1.0F - w) * cut_start_[at] + w * block[at];
    }
  }
}

// Cuts one piece out of the block, of the length at which the sound best repeats itself.
std::span<const float> Cushion::splice(std::span<float> block) {
  const int frames = static_cast<int>(block.size()) / kChannels;
  const int max_lag = std::min(kMaxLag, frames - kFadeFrames);
  if (max_lag < kMinLag) return block;
  constexpr int kCount = kFadeFrames * kChannels;
  int best_lag = max_lag;
  float best = -1.0F;
  for (int lag = kMinLag; lag <= max_lag; ++lag) {
    const float* shifted = block.data() + static_cast<std::size_t>(lag) * kChannels;
    float product = 0.0F;
    float energy = 1e-12F;
    for (int i = 0; i < kCount; ++i) {
      product += block[static_cast<std::size_t>(i)] * shifted[i];
      energy += shifted[i] * shifted[i];
    }
    const float likeness = product / std::sqrt(energy);
    if (likeness >= best) {
      best = likeness;
      best_lag = lag;
    }
  }
  return cut(block, best_lag);
}

// Cuts this many frames out of the block, after its first ones.
std::span<const float> Cushion::cut(std::span<float> block, int frames) {
  constexpr int kCount = kFadeFrames * kChannels;
  const auto skipped = static_cast<std::size_t>(frames) * kChannels;
  // The result ends where the block ends, so the next block follows without a seam; it is built
  // from the front, in place, over samples that have been read already.
  for (int i = 0; i < kFadeFrames; ++i) {
    const float w = weight(i, kFadeFrames);
    for (int c = 0; c < kChannels; ++c) {
      const auto at = sample_at(i, c);
      block[at] = (1.0F - w) * block[at] + w * block[at + skipped];
    }
  }
  std::copy(block.begin() + kCount + static_cast<std::ptrdiff_t>(skipped), block.end(),
            block.begin() + kCount);
  return block.first(block.size() - skipped);
}

// Makes the block longer by this many frames: near its end it jumps back by as much, with a
// crossfade, and plays its end again.
std::span<const float> Cushion::draw_out(std::span<const float> block, int frames) {
  const int turn = static_cast<int>(block.size()) / kChannels - kFadeFrames;
  const auto out = std::span(drawn_out_).first(block.size() + sample_at(frames, 0));
  std::ranges::copy(block, out.begin());
  std::copy(block.begin() + static_cast<std::ptrdiff_t>(sample_at(turn - frames, 0)), block.end(),
            out.begin() + static_cast<std::ptrdiff_t>(sample_at(turn, 0)));
  for (int i = 0; i < kFadeFrames; ++i) {
    const float w = weight(i, kFadeFrames);
    for (int c = 0; c < kChannels; ++c) {
      const auto at = sample_at(turn + i, c);
      out[at] = (1.0F - w) * block[at] + w * out[at];
    }
  }
  return out;
}

// As much of the remaining correction as fits into one block.
std::span<const float> Cushion::align_block(std::span<float> block) {
  const int most = static_cast<int>(block.size()) / kChannels - kFadeFrames;
  if (most < 1) return block;
  const int frames = std::clamp(align_frames_, -most, most);
  align_frames_ -= frames;
  return frames > 0 ? cut(block, frames) : draw_out(block, -frames);
}

}  // namespace audio
