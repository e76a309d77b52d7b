// DESIGN: the position of a gain is a function of time, so a late frame shows the right position.
// Each band starts a little later than the one before it.
#include "glide.h"

#include <algorithm>

#include "platform/platform.h"
#include "state.h"

namespace ui {

namespace {

constexpr float kBandDelayMs = 28.0F;
constexpr float kGlideMs = 520.0F;

// Eases from 0 to 1 with a small overshoot.
float eased(float t) {
  if (t < 0.0F) return 0.0F;
  if (t >= 1.0F) return 1.0F;
  const float u = t - 1.0F;
  return 1.0F + u * u * (1.2F + 2.2F * u);
}

}  // namespace

void start_glide(const eq::Curve& to, bool shown_only) {
  State& s = state();
  Glide& g = s.look.glide;
  if (!shown_only) stop_glide();
  g.running = true;
  g.start_ms = platform::ticks_ms();
  g.to = to;
  g.shown_only = shown_only;
  for (int i = 0; i < kGains; ++i)
    g.from[i] = gain_at(s.settings->curve, i);
}

void stop_glide() {
  Glide& g = state().look.glide;
  if (g.shown_only) finish_glide();
  g.running = false;
}

const eq::Curve& curve_to_come() {
  const State& s = state();
  return s.look.glide.running ? s.look.glide.to : s.settings->curve;
}

const eq::Curve& curve_to_hear() {
  return state().look.glide.shown_only ? curve_to_come() : state().settings->curve;
}

void finish_glide() {
  State& s = state();
  if (s.look.glide.running) s.settings->curve = s.look.glide.to;
  s.look.glide.running = false;
}

bool advance_glide(std::uint64_t now) {
  State& s = state();
  const Glide& g = s.look.glide;
  if (!g.running) return false;
  if (s.reduced_motion) {
    finish_glide();
    return true;
  }
  const float elapsed = now > g.start_ms ? static_cast<float>(now - g.start_ms) : 0.0F;
  bool done = true;
  for (int i = 0; i < kGains; ++i) {
    const float delay = i == kPreamp ? 0.0F : static_cast<float>(i + 1) * kBandDelayMs;
    const float t = (elapsed - delay) / kGlideMs;
    const float gain = g.from[i] + (gain_at(g.to, i) - g.from[i]) * eased(t);
    gain_at(&s.settings->curve, i) = std::clamp(gain, -eq::kMaxGainDb, eq::kMaxGainDb);
    done = done && t >= 1.0F;
  }
  if (done) finish_glide();
  return true;
}

}  // namespace ui
