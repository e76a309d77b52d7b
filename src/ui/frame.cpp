// DESIGN: everything that changes by itself changes here, once per frame and in one order, from the
// time alone: a frame that comes late makes a larger step. Nothing is allocated in a frame unless
// the engine's status changed.
#include <algorithm>
#include <cmath>

#include "platform/platform.h"
#include "ui_private.h"

namespace ui {

namespace {

constexpr float kLongestStep = 0.2F;  // s
constexpr float kBandDelayMs = 28.0F;
constexpr float kGlideMs = 520.0F;
constexpr std::uint64_t kCaretMs = 530;
constexpr float kDefaultRate = 48000.0F;

float g_left[analyzer::kFftSize];
float g_right[analyzer::kFftSize];
float g_mono[analyzer::kFftSize];
std::uint64_t g_serial = 0;  // of the last block analysed
audio::Status g_status;      // as of this frame

// From 0 to 1 with a small overshoot before it settles.
float eased(float t) {
  const float u = t - 1.0F;
  return 1.0F + u * u * (1.2F + 2.2F * u);
}

void glide(std::uint64_t now) {
  State& s = state();
  if (!s.glide.running) return;
  const float elapsed = now > s.glide.start_ms ? static_cast<float>(now - s.glide.start_ms) : 0.0F;
  eq::Curve& curve = s.settings->curve;
  bool done = true;
  for (int i = 0; i < kGains; ++i) {
    const float delay = i == kPreamp ? 0.0F : static_cast<float>(i + 1) * kBandDelayMs;
    const float t = (elapsed - delay) / kGlideMs;
    const float from = s.glide.from[i];
    const float to = gain_at(s.glide.to, i);
    const float progress = t < 0.0F ? 0.0F : t >= 1.0F ? 1.0F : eased(t);
    gain_at(&curve, i) = std::clamp(from + (to - from) * progress, -kMaxGainDb, kMaxGainDb);
    done = done && t >= 1.0F;
  }
  if (done) {
    curve = s.glide.to;
    s.glide.running = false;
    schedule_save();
  }
  push_curve();
}

void blink_caret(std::uint64_t now) {
  State& s = state();
  if (!s.save.open) return;
  const bool on = now / kCaretMs % 2 == 0;
  if (on != s.caret_on) set_dirty();
  s.caret_on = on;
}

void poll_status() {
  State& s = state();
  audio::read_status(&g_status);
  if (!g_status.follow.empty() && g_status.follow != s.settings->last_default) {
    s.settings->last_default = g_status.follow;
    audio::set_restore_hint(g_status.follow);
    schedule_save();
  }
  if (g_status == s.status) return;
  s.status = g_status;
  set_dirty();
}

void mix_channels(std::int32_t channel) {
  if (channel == 1 || channel == 2) {
    std::copy_n(channel == 1 ? g_left : g_right, analyzer::kFftSize, g_mono);
    return;
  }
  for (int i = 0; i < analyzer::kFftSize; ++i)
    g_mono[i] = (g_left[i] + g_right[i]) * 0.5F;
}

void analyse(float dt) {
  State& s = state();
  float rate = kDefaultRate;
  std::uint64_t serial = 0;
  // Asking first spares the copy in every other frame.
  if (!audio::tap(g_left, g_right, 0, &rate, &serial) || serial == g_serial) {
    s.bars.decay(dt);
    return;
  }
  audio::tap(g_left, g_right, analyzer::kFftSize, &rate, &serial);
  g_serial = serial;
  mix_channels(s.settings->channel);
  float bars[kBars];
  analyzer::compute(g_mono, rate > 0.0F ? rate : kDefaultRate, bars);
  s.bars.update(bars, dt);
}

void measure_peaks(float dt) {
  State& s = state();
  float peak[kMeters]{};
  audio::take_peaks(&peak[0], &peak[1]);
  for (int i = 0; i < kMeters; ++i)
    s.meter[i].update(analyzer::to_db(peak[i]), dt);
}

// A peak cap that is still on its way down moves as well.
bool moving() {
  const State& s = state();
  const auto up = [](float level, float peak) {
    return level > analyzer::kFloorDb || peak > analyzer::kFloorDb;
  };
  bool any = s.glide.running;
  for (const analyzer::PeakMeter& m : s.meter)
    any = any || up(m.level, m.peak);
  for (int i = 0; i < kBars; ++i)
    any = any || up(s.bars.level[i], s.bars.peak[i]);
  return any;
}

}  // namespace

bool on_frame() {
  State& s = state();
  const std::uint64_t now = platform::ticks_ms();
  const float dt = now > s.last_frame
                       ? std::min(static_cast<float>(now - s.last_frame) / 1000.0F, kLongestStep)
                       : 0.0F;
  s.last_frame = now;
  glide(now);
  blink_caret(now);
  poll_status();
  analyse(dt);
  measure_peaks(dt);
  if (s.save_at != 0 && now >= s.save_at && s.drag == kHitNone) {
    s.save_at = 0;
    persist();
  }
  return moving();
}

}  // namespace ui
