// DESIGN: the main window, in the order in which it is seen, from top to bottom. Everything is
// drawn from the current layout, which is kept, so input finds exactly what is on the screen.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "gfx/icon_data.h"
#include "i18n/i18n.h"
#include "presets.h"
#include "state.h"
#include "text.h"
#include "ui/theme.h"
#include "views.h"
#include "widgets.h"

namespace ui {

namespace {

constexpr float kSmall = 10.5F;
constexpr float kLabel = 12.0F;
constexpr float kText = 14.0F;

Rect at(int code) {
  return state().view.layer.at(code);
}

std::string channel_text(int i) {
  constexpr const char* kKeys[] = {"channel_stereo", "channel_left", "channel_right"};
  return i18n::T(kKeys[i]);
}

LabelWidths label_widths() {
  LabelWidths labels;
  for (int i = 0; i < kChannels; ++i)
    labels.channel[i] = std::ceil(gfx::text_width(channel_text(i), kLabel, true));
  labels.flat = std::ceil(gfx::text_width(i18n::T("reset"), kLabel, true));
  return labels;
}

// Header --------------------------------------------------------------

void power_button() {
  const Settings& s = *state().settings;
  const theme::Colors& c = *theme::colors();
  const Rect r = at(kHitPower);
  const bool over = hovered(kHitPower);
  const float cx = r.x + 22.0F;
  const float cy = r.y + r.h * 0.5F;
  button_bg(r, kHitPower);
  if (s.active) {
    gfx::stroke_round_rect(r, 8.0F, theme::with_alpha(c.on, 0.7F), 1.5F);
    gfx::fill_circle(cx, cy, 13.0F, theme::with_alpha(c.on, 0.18F));
  }
  power_symbol(cx, cy + 0.5F, 7.5F, 2.2F, s.active ? c.on : c.text_secondary);
  const std::string text = i18n::T(s.active ? "power_on" : "power_off");
  const Rect label{r.x + 38.0F, r.y, r.w - 38.0F - 6.0F, r.h};
  const float size = fit_size(text, 13.0F, 10.5F, label.w, true);
  gfx::text(label, text, size, over ? c.text_strong : c.text, Align::Left, true, true);
}

void presets_button() {
  const Settings& s = *state().settings;
  const theme::Colors& c = *theme::colors();
  const Rect r = at(kHitPresets);
  const bool over = hovered(kHitPresets);
  button_bg(r, kHitPresets);
  const Rect label = mirrored(r, Rect{r.x + 14.0F, r.y, r.w - 14.0F - 36.0F, r.h});
  const unsigned colour = !s.active ? quiet_text() : over ? c.text_strong : c.text;
  gfx::text(label, preset_label(kText, label.w), kText, colour, start_align(), false, true);
  icon_chevron(mirrored(r, r.x + r.w - 20.0F), r.y + r.h * 0.5F, false,
               s.active ? c.text : c.text_secondary);
}

void icon_button(int code, bool enabled, void (*icon)(float, float, unsigned)) {
  const Rect r = at(code);
  const theme::Colors& c = *theme::colors();
  const bool over = hovered(code);
  button_bg(r, code);
  const unsigned colour = over ? c.text_strong : c.text;
  icon(r.x + r.w * 0.5F, r.y + r.h * 0.5F,
       enabled ? colour : theme::with_alpha(c.text_secondary, 0.6F));
}

void header() {
  gfx::image_png(icon_data::kPng, icon_data::kPngSize, state().view.logo);
  power_button();
  presets_button();
  icon_button(kHitSave, state().settings->active, icon_save);
  icon_button(kHitCompact, true,
              [](float x, float y, unsigned colour) { icon_corners(x, y, false, colour); });
  icon_button(kHitSettings, true, icon_gear);
}

// Panels --------------------------------------------------------------

void glass_panel(const Rect& r) {
  const theme::Colors& c = *theme::colors();
  constexpr float kRadius = 10.0F;
  gfx::fill_round_rect_vgrad(r, kRadius, c.panel, c.recessed);
  gfx::stroke_round_rect(r, kRadius, c.border, 1.0F);
  gfx::fill_rect({r.x + kRadius, r.y + 1.0F, r.w - 2.0F * kRadius, 1.0F}, c.highlight);
}

void frequency_scale(const Rect& bars) {
  const SegmentGeom g = bar_geom(bars.w, bars.h, false);
  const float y = bars.y + bars.h + 6.0F;
  constexpr float kHeight = 16.0F;
  gfx::text({bars.x - 40.0F, y, 32.0F, kHeight}, "Hz", kSmall, quiet_text(), Align::Right, false,
            true);
  for (int i = 0; i < kBars; ++i) {
    const float x = bars.x + static_cast<float>(i) * (g.column_width + g.gap);
    gfx::text({x - 20.0F, y, g.column_width + 40.0F, kHeight}, analyzer::bar_label(i), kSmall,
              quiet_text(), Align::Center, false, true);
  }
}

void level_scale(const Rect& bars) {
  const theme::Colors& c = *theme::colors();
  constexpr int kStep = 12;
  constexpr int kLowest = -60;
  const SegmentGeom g = bar_geom(bars.w, bars.h, false);
  for (int db = 0; db >= kLowest; db -= kStep) {
    char text[16];
    std::snprintf(text, sizeof text, db == 0 ? "0 dB" : "%d", db);
    const float y = level_y(bars, g, static_cast<float>(db));
    gfx::text({bars.x - 44.0F, y - 8.0F, 34.0F, 16.0F}, text, kSmall, quiet_text(), Align::Right,
              false, true);
    gfx::fill_rect({bars.x - 7.0F, y, 4.0F, 1.0F}, c.mark_zero);
  }
}

void meter_labels(const Rect& meters) {
  const SegmentGeom g = meter_geom(meters.w, meters.h);
  constexpr const char* kNames[] = {"L", "R"};
  for (int i = 0; i < kMeters; ++i) {
    const float x = meters.x + static_cast<float>(i) * (g.column_width + g.gap);
    gfx::text({x - 6.0F, meters.y + meters.h + 6.0F, g.column_width + 12.0F, 16.0F}, kNames[i],
              kSmall, quiet_text(), Align::Center, false, true);
  }
}

void draw_scale() {
  const Layout& l = state().view;
  frequency_scale(l.bars);
  level_scale(l.bars);
  meter_labels(l.meters);
}

// A control with three parts, of which the chosen one is filled.
void channel_buttons() {
  const theme::Colors& c = *theme::colors();
  constexpr float kRadius = 7.0F;
  const Rect first = at(kHitChannel);
  const Rect last = at(kHitChannel + kChannels - 1);
  const Rect all{first.x, first.y, last.x + last.w - first.x, first.h};
  gfx::fill_round_rect(all, kRadius, c.mute_face);
  gfx::stroke_round_rect(all, kRadius, c.border, 1.0F);
  for (int i = 0; i < kChannels; ++i) {
    const Rect r = at(kHitChannel + i);
    const bool chosen = state().settings->channel == i;
    const bool over = hovered(kHitChannel + i);
    if (chosen || pressed(kHitChannel + i))
      flat_bg(r, kRadius, kHitChannel + i, c.button_hover, true);
    const unsigned rest = chosen ? c.text : quiet_text();
    gfx::text(r, channel_text(i), kLabel, over ? c.text_strong : rest, Align::Center, true, true);
  }
}

void spectrum_panel() {
  const Layout& l = state().view;
  const theme::Colors& c = *theme::colors();
  glass_panel(l.spectrum);
  const Rect heading{l.spectrum.x + kInset, l.spectrum.y + 10.0F,
                     std::max(at(kHitMute).x - 12.0F - l.spectrum.x - kInset, 0.0F), 24.0F};
  gfx::text(heading, i18n::T("spectrum"), kLabel, c.text, start_align(), true, true);
  mute_button(at(kHitMute));
  draw_scale();
  channel_buttons();
}

void slider_panel() {
  const Layout& l = state().view;
  const Settings& s = *state().settings;
  const theme::Colors& c = *theme::colors();
  const Rect flat = at(kHitFlat);
  const bool over = hovered(kHitFlat);
  glass_panel(l.sliders);
  const std::string hint = i18n::T(s.active ? "hint_reset" : "status_bypass");
  gfx::text(l.hint, shorten(hint, kLabel, l.hint.w), kLabel, quiet_text(), start_align(), false,
            true);
  flat_bg(flat, 7.0F, kHitFlat, c.mute_face);
  const unsigned colour = s.active ? c.text : quiet_text();
  gfx::text(flat, i18n::T("reset"), kLabel, over ? c.text_strong : colour, Align::Center, true,
            true);
  draw_sliders();
}

// Bottom strip --------------------------------------------------------

void device_button() {
  const ChosenDevice& chosen = state().look.chosen;
  const std::string name = chosen.name.empty() ? i18n::T("device_follow") : chosen.label;
  const theme::Colors& c = *theme::colors();
  const Rect r = at(kHitDevice);
  const bool over = hovered(kHitDevice);
  button_bg(r, kHitDevice);
  const Rect heading = mirrored(r, Rect{r.x + 14.0F, r.y + 5.0F, r.w - 50.0F, 15.0F});
  gfx::text(heading, shorten(i18n::T("device"), kSmall, heading.w), kSmall,
            pressed(kHitDevice) ? c.text : quiet_text(), start_align(), false, true);
  const Rect label{heading.x, r.y + 20.0F, heading.w, 20.0F};
  gfx::text(label, shorten(name, kText, label.w), kText, over ? c.text_strong : c.text,
            start_align(), false, true);
  icon_chevron(mirrored(r, r.x + r.w - 20.0F), r.y + r.h * 0.5F, true, c.text);
}

void status_line(const StatusView& status) {
  const theme::Colors& c = *theme::colors();
  const Rect& r = state().view.status;
  const bool rtl = start_align() == Align::Right;
  constexpr float kDotRadius = 4.5F;
  constexpr float kGap = 10.0F;
  const float cy = r.y + r.h * 0.5F;
  const float dot = rtl ? r.x + r.w - kDotRadius : r.x + kDotRadius;
  gfx::fill_circle(dot, cy, kDotRadius, tone_colour(status.tone));
  const float taken = 2.0F * kDotRadius + kGap;
  const Rect text{rtl ? r.x : r.x + taken, r.y, std::max(r.w - taken, 0.0F), r.h};
  gfx::text(text, shorten(directed(status.line), kLabel, text.w), kLabel, c.text, start_align(),
            false, true);
}

void bottom_strip() {
  device_button();
  status_line(status_view());
}

void collapse_button() {
  const theme::Colors& c = *theme::colors();
  const Rect r = at(kHitCollapse);
  const bool over = hovered(kHitCollapse);
  flat_bg(r, r.h * 0.5F, kHitCollapse, c.button);
  icon_chevron(r.x + r.w * 0.5F, r.y + r.h * 0.5F, !state().settings->collapsed,
               over ? c.text_strong : c.text_secondary);
}

}  // namespace

void draw_full(float w, float h) {
  const bool collapsed = state().settings->collapsed;
  state().view = full_layout(w, h, collapsed, label_widths());
  fit_segments(&state().view.bars, &state().view.meters, false);
  gfx::fill_rect_vgrad({0.0F, 0.0F, w, h}, theme::colors()->window_top,
                       theme::colors()->window_bottom);
  header();
  spectrum_panel();
  if (!collapsed) {
    slider_panel();
    bottom_strip();
  }
  collapse_button();
}

void draw_base(int w, int h) {
  gfx::set_language(i18n::effective_language());
  const auto draw = state().settings->compact ? draw_compact : draw_full;
  draw(static_cast<float>(w), static_cast<float>(h));
  place_note();
}

}  // namespace ui
