// DESIGN: everything that changes without input changes here, once per frame, in a fixed order, as
// a function of time: a late frame makes a larger step. Nothing is allocated in a frame unless the
// engine's status changed.
#include <algorithm>
#include <cmath>

#include "device_presets.h"
#include "import.h"
#include "platform/platform.h"
#include "state.h"

namespace ui {

namespace {

constexpr float kLongestStep = 0.2F;  // s
constexpr float kDefaultRate = 48000.0F;
constexpr std::uint64_t kDevicesMs = 500;
constexpr std::uint64_t kEngineMs = 500;

float g_left[analyzer::kFftSize];
float g_right[analyzer::kFftSize];
float g_mono[analyzer::kFftSize];
std::uint64_t g_serial = 0;  // of the last block analysed

void poll_status() {
  State& s = state();
  audio::Status& status = s.look.status;
  audio::read_status(&status);
  if (!status.follow.empty() && status.follow != s.settings->last_default)
    s.settings->last_default = status.follow;
}

// Checks whether the chosen device is present. The list is copied only while one is chosen, when
// the status has changed or some time has passed.
void poll_devices(std::uint64_t now) {
  State& s = state();
  const std::string& output = s.settings->output;
  const bool known = s.look.chosen.name == output;
  if (known &&
      (output.empty() || (now < s.devices_at + kDevicesMs && s.look.status == s.drawn_look.status)))
    return;
  s.devices_at = now;
  find_chosen(output, output.empty() ? std::vector<audio::Device>{} : audio::devices(),
              &s.look.chosen);
}

// After the switch the engine needs a moment; only what lasts longer is worth a note.
void look_for_bypass(std::uint64_t now) {
  State& s = state();
  const audio::Status& status = s.look.status;
  const bool bypassed = s.settings->active && status.state == audio::kRunning && !status.active;
  if (!bypassed) s.in_force_at = now;
  s.look.bypassed = bypassed && now >= s.in_force_at + kEngineMs;
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
  // Comparing first avoids the copy in most frames.
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
  bool any = s.look.glide.running;
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
  import_pending(now);
  // Every step of a glide counts as a change, even if it moves no gain.
  if (advance_glide(now)) save_later();
  blink_caret(now);
  poll_status();
  look_for_bypass(now);
  poll_devices(now);
  follow_device();
  follow_settings();
  const bool switching = advance_feedback(now, dt);
  analyse(dt);
  measure_peaks(dt);
  const bool undecided = s.look.drag != kHitNone || s.look.save.before;
  if (s.save_at != 0 && now >= s.save_at && !undecided) persist();
  return moving() || switching;
}

}  // namespace ui
