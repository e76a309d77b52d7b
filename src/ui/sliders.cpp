// DESIGN: the slider panel from back to front: response curve, scale, tracks, knobs. The curve is
// the equalizer's gain at the frequency of each position, drawn on the sliders' scale; the bands
// are at their sliders, with the octaves evenly between them.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "i18n/i18n.h"
#include "state.h"
#include "text.h"
#include "ui/theme.h"
#include "views.h"
#include "widgets.h"

namespace ui {

namespace {

constexpr float kTrackWidth = 7.0F;
constexpr float kKnobWidth = 34.0F;
constexpr float kKnobHeight = 18.0F;
constexpr float kSmall = 10.5F;
constexpr float kRate = 48000.0F;
constexpr int kMostDb = static_cast<int>(eq::kMaxGainDb);

float center_x(int i) {
  const Rect column = state().view.layer.at(kHitSlider + i);
  return column.x + column.w * 0.5F;
}

// The frequency at a position: octaves are evenly spaced from the first band's slider on.
float frequency_at(float x) {
  const float first = center_x(0);
  const float octave = (center_x(eq::kBands - 1) - first) / (eq::kBands - 1);
  return eq::kFreq[0] * std::pow(2.0F, (x - first) / octave);
}

void response_curve() {
  constexpr int kPoints = 120;
  const State& s = state();
  const Layout& l = s.view;
  const theme::Colors& c = *theme::colors();
  const float left = l.rule_x + 1.0F;
  const float right = l.sliders.x + l.sliders.w;
  // The height of the tracks and half a line more; beyond that the curve would cross the labels.
  constexpr float kHalfLine = 1.0F;
  const Rect area{left, l.track_top - kHalfLine, right - left - 1.0F,
                  l.track_bottom - l.track_top + 2.0F * kHalfLine};
  const float middle = (l.track_top + l.track_bottom) * 0.5F;
  const float per_db = (l.track_bottom - l.track_top) * 0.5F / eq::kMaxGainDb;
  float xy[2 * kPoints];
  float* next = xy;
  for (int i = 0; i < kPoints; ++i) {
    const float x = left + area.w * static_cast<float>(i) / static_cast<float>(kPoints - 1);
    *next++ = x;
    *next++ = middle - eq::response_db(s.settings->curve, kRate, frequency_at(x)) * per_db;
  }
  const unsigned colour = s.settings->active ? c.accent : c.text_secondary;
  gfx::push_clip(area);
  gfx::fill_under(xy, kPoints, l.track_bottom, theme::with_alpha(colour, 0.16F),
                  theme::with_alpha(colour, 0.0F));
  gfx::polyline(xy, kPoints, theme::with_alpha(colour, 0.13F), 7.0F);
  gfx::polyline(xy, kPoints, theme::with_alpha(colour, 0.60F), 2.0F);
  gfx::pop_clip();
}

void scale_labels() {
  const Layout& l = state().view;
  const float right = l.layer.at(kHitPreamp).x - 6.0F;
  for (int db = kMostDb; db >= -kMostDb; db -= kMostDb / 2) {
    char text[16];
    std::snprintf(text, sizeof text, db == 0 ? "0 dB" : "%+d", db);
    const float y = gain_to_y(l, static_cast<float>(db));
    gfx::text({l.sliders.x + 4.0F, y - 8.0F, right - l.sliders.x - 4.0F, 16.0F}, text, kSmall,
              quiet_text(), Align::Right, false, true);
  }
}

void track_marks(float cx) {
  const theme::Colors& c = *theme::colors();
  constexpr float kDistance = 9.0F;
  for (int db = -kMostDb; db <= kMostDb; db += 3) {
    const float length = db % kMostDb == 0 ? 9.0F : 5.0F;
    // On whole device pixels: between two, a hairline would become a grey band.
    const float p = state().pixel_scale;
    const float y = std::floor(gain_to_y(state().view, static_cast<float>(db)) * p) / p;
    const unsigned colour = db == 0 ? c.mark_zero : c.mark;
    const float edge = kTrackWidth * 0.5F + kDistance;
    gfx::fill_rect({cx - edge - length, y, length, 1.0F}, colour);
    gfx::fill_rect({cx + edge, y, length, 1.0F}, colour);
  }
}

void knob(float cx, float y, bool lit) {
  const theme::Colors& c = *theme::colors();
  const bool active = state().settings->active;
  unsigned top = lit ? theme::mix(c.knob_top, c.accent, 0.25F) : c.knob_top;
  unsigned bottom = c.knob_bottom;
  if (!active) {
    top = theme::mix(top, c.recessed, 0.55F);
    bottom = theme::mix(bottom, c.recessed, 0.55F);
  }
  const Rect r{cx - kKnobWidth * 0.5F, y - kKnobHeight * 0.5F, kKnobWidth, kKnobHeight};
  gfx::fill_round_rect({r.x + 1.0F, r.y + 3.0F, r.w, r.h}, 4.0F, 0x55000000U);
  gfx::fill_round_rect_vgrad(r, 4.0F, top, bottom);
  gfx::stroke_round_rect(r, 4.0F, c.knob_outline, 1.0F);
  gfx::line(r.x + 6.0F, y, r.x + r.w - 6.0F, y, c.knob_grip, 1.0F);
  gfx::line(cx - 5.0F, y, cx + 5.0F, y, active ? c.accent : c.text_secondary, 1.6F);
}

void slider(int i) {
  const State& s = state();
  const Layout& l = s.view;
  const theme::Colors& c = *theme::colors();
  const float cx = center_x(i);
  const float gain = gain_at(s.settings->curve, i);
  const bool lit = s.settings->active && (s.look.drag == kHitSlider + i ||
                                          (s.look.drag == kHitNone && hovered(kHitSlider + i)));
  const Rect track{cx - kTrackWidth * 0.5F, l.track_top, kTrackWidth, l.track_bottom - l.track_top};
  track_marks(cx);
  gfx::fill_round_rect(track, 3.5F, c.track);
  gfx::stroke_round_rect(track, 3.5F, c.track_outline, 1.0F);
  const float y = gain_to_y(l, gain);
  if (std::fabs(gain) > 0.01F) {
    const float middle = gain_to_y(l, 0.0F);
    gfx::fill_round_rect({track.x, std::min(y, middle), track.w, std::fabs(y - middle)}, 3.0F,
                         s.settings->active ? c.accent : c.text_secondary);
  }
  knob(cx, y, lit);

  const std::string value = gain_text(gain);
  // Beside the track, which is dark in both themes and would cross the digits; with a halo against
  // the marks and the curve.
  const float width = gfx::text_width(value, kSmall, lit);
  const float left =
      std::min(cx + kTrackWidth * 0.5F + 3.0F, l.sliders.x + l.sliders.w - 3.0F - width);
  gfx::text_with_halo({left, y - kKnobHeight * 0.5F - 16.0F, 34.0F, 16.0F}, value, kSmall,
                      lit ? c.text_strong : c.text, theme::mix(c.panel, c.recessed, 0.5F),
                      Align::Left, lit, true);
  const Rect label{cx - 47.0F, l.track_bottom + 15.0F, 94.0F, 16.0F};
  const std::string name = i == kPreamp ? i18n::T("preamp") : eq::band_label(i);
  gfx::text(label, shorten(name, kSmall, label.w), kSmall, lit ? c.text_strong : c.text,
            Align::Center, false, true);
}

}  // namespace

void draw_sliders() {
  const Layout& l = state().view;
  const theme::Colors& c = *theme::colors();
  response_curve();
  scale_labels();
  gfx::fill_rect({l.rule_x, l.track_top - 14.0F, 1.0F, l.track_bottom - l.track_top + 44.0F},
                 c.border);
  for (int i = 0; i < kGains; ++i)
    slider(i);
}

}  // namespace ui
