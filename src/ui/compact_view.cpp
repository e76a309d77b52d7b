// DESIGN: the strip shows the spectrum and has buttons to switch and mute; everything else is in
// the full view, one press away. Pressing anything but a button moves the window.
#include "gfx/icon_data.h"
#include "i18n/i18n.h"
#include "platform/platform.h"
#include "presets.h"
#include "state.h"
#include "status_view.h"
#include "text.h"
#include "ui/theme.h"
#include "views.h"
#include "widgets.h"

namespace ui {

namespace {

constexpr float kText = 12.0F;

void background(float w, float h) {
  const theme::Colors& c = *theme::colors();
  const State& s = state();
  const bool active = s.settings->active && is_applied(s.look.status);
  gfx::fill_rect_vgrad({0.0F, 0.0F, w, h}, c.panel, c.recessed);
  gfx::stroke_round_rect({0.0F, 0.0F, w, h}, 0.0F,
                         active ? theme::with_alpha(c.accent, 0.55F) : c.border, 1.0F);
}

void title() {
  const Rect& r = state().view.title;
  const std::string product = "Velmora  ·  ";
  const std::string label = preset_label(kText, r.w - gfx::text_width(product, kText, false));
  gfx::text(r, shorten(directed(product + isolated(label)), kText, r.w), kText,
            theme::colors()->text, start_align(), false, true);
}

void buttons() {
  const Layer& layer = state().view.layer;
  const theme::Colors& c = *theme::colors();
  if (const Rect close = layer.at(kHitClose); close.w > 0.0F) {
    const bool over = hovered(kHitClose);
    if (over) gfx::fill_round_rect(close, 7.0F, theme::with_alpha(c.danger, 0.85F));
    icon_cross(close.x + 14.0F, close.y + 12.0F, 10.0F, over ? 0xFFFFFFFFU : c.text_secondary);
  }
  mute_button(layer.at(kHitMute));
  const Rect back = layer.at(kHitBack);
  const bool over = hovered(kHitBack);
  if (over || pressed(kHitBack))
    gfx::fill_round_rect(back, 7.0F, pressed(kHitBack) ? pressed_face() : c.button_hover);
  icon_corners(back.x + 15.0F, back.y + 12.0F, true, over ? c.text_strong : c.text_secondary);
}

void power() {
  const theme::Colors& c = *theme::colors();
  const Rect r = state().view.layer.at(kHitMiniPower);
  const bool active = state().settings->active;
  const bool over = hovered(kHitMiniPower);
  const float cx = r.x + 22.0F;
  const float cy = r.y + 22.0F;
  // Amber if it is switched on but does not work, as there is no status line here.
  const unsigned on = is_applied(state().look.status) ? c.on : c.warning;
  if (active) {
    const float alpha = pressed(kHitMiniPower) ? 0.4F : over ? 0.26F : 0.16F;
    gfx::fill_circle(cx, cy, 21.0F, theme::with_alpha(on, alpha));
    gfx::stroke_circle(cx, cy, 21.0F, on, 1.5F);
  } else {
    gfx::fill_circle(cx, cy, 21.0F, pressed(kHitMiniPower) ? pressed_face() : c.button);
    gfx::stroke_circle(cx, cy, 21.0F, over ? c.text : c.border, 1.5F);
  }
  const unsigned symbol = active ? on : c.text_secondary;
  gfx::stroke_arc(cx, cy + 1.0F, 8.5F, 40.0F, 320.0F, symbol, 2.4F);
  gfx::line(cx, cy - 9.0F, cx, cy - 0.7F, symbol, 2.4F);
  const std::string text = i18n::T(active ? "power_on" : "power_off");
  const Rect label{r.x - 6.0F, r.y + 48.0F, 56.0F, 16.0F};
  gfx::text(label, text, fit_size(text, 10.5F, 8.0F, label.w, false),
            active ? c.text : quiet_text(), Align::Center, false, true);
}

}  // namespace

void draw_compact(float w, float h) {
  Layout& l = state().view;
  l = compact_layout(w, h, platform::compact_framed());
  background(w, h);
  gfx::image_png(icon_data::kPng, icon_data::kPngSize, l.logo);
  title();
  buttons();
  power();
}

}  // namespace ui
