// DESIGN: drawing shared by several views. Icons are lines as thick as the text's, centred on a
// point, so that a button only has to know its middle.
#include "widgets.h"

#include <cmath>

#include "state.h"
#include "text.h"
#include "ui/theme.h"

namespace ui {

namespace {

constexpr float kRadius = 8.0F;
constexpr unsigned kWhite = 0xFFFFFFFFU;
constexpr unsigned kBlack = 0xFF000000U;

void corner(float x, float y, float dx, float dy, unsigned colour) {
  const float xy[] = {x + dx, y, x, y, x, y + dy};
  gfx::polyline(xy, 3, colour, 1.8F);
}

}  // namespace

unsigned quiet_text() {
  const theme::Colors& c = *theme::colors();
  return theme::mix(c.text_secondary, c.text, 0.4F);
}

unsigned pressed_face() {
  const theme::Colors& c = *theme::colors();
  return theme::mix(c.button_hover, c.accent, 0.25F);
}

void flat_bg(const Rect& r, float radius, int code, unsigned rest, bool chosen) {
  const theme::Colors& c = *theme::colors();
  const bool lit = chosen || hovered(code) || pressed(code);
  gfx::fill_round_rect(r, radius, pressed(code) ? pressed_face() : lit ? c.button_hover : rest);
  gfx::stroke_round_rect(r, radius, lit ? theme::with_alpha(c.accent, 0.6F) : c.border, 1.0F);
}

void button_bg(const Rect& r, int code) {
  const theme::Colors& c = *theme::colors();
  if (pressed(code)) {
    gfx::fill_round_rect(r, kRadius, pressed_face());
    gfx::stroke_round_rect(r, kRadius, c.accent, 1.0F);
    return;
  }
  const bool hovered = ui::hovered(code);
  unsigned face = hovered ? c.button_hover : c.button;
  if (theme::dark()) face = theme::mix(face, kWhite, 0.05F);
  gfx::fill_round_rect_vgrad(r, kRadius, face,
                             theme::mix(face, kBlack, theme::dark() ? 0.25F : 0.05F));
  gfx::stroke_round_rect(r, kRadius, hovered ? theme::with_alpha(c.accent, 0.6F) : c.border, 1.0F);
}

void button_label(const Rect& r, const std::string& text, float size, bool hovered, bool bold) {
  const theme::Colors& c = *theme::colors();
  gfx::text(r, text, size, hovered ? c.text_strong : c.text, Align::Center, bold, true);
}

void panel_bg(const Rect& r, float radius) {
  const theme::Colors& c = *theme::colors();
  gfx::fill_round_rect(r, radius, c.panel);
  gfx::stroke_round_rect(r, radius, c.border, 1.0F);
}

void shadow(const Rect& r, float radius) {
  // Many faint layers, each larger than the one above it: soft without a blur.
  constexpr int kLayers = 16;
  for (int i = kLayers; i >= 1; --i) {
    const auto grow = static_cast<float>(i);
    gfx::fill_round_rect({r.x - grow, r.y - grow + 5.0F, r.w + 2.0F * grow, r.h + 2.0F * grow},
                         radius + grow, theme::dark() ? 0x0B000000U : 0x04000000U);
  }
}

void power_symbol(float cx, float cy, float radius, float width, unsigned colour) {
  gfx::stroke_arc(cx, cy, radius, 40.0F, 320.0F, colour, width);
  gfx::line(cx, cy - radius * 1.18F, cx, cy - radius * 0.2F, colour, width);
}

void icon_corners(float cx, float cy, bool expand, unsigned colour) {
  constexpr float kLeg = 5.0F;
  const float at = expand ? 9.0F : 3.5F;
  const float leg = expand ? -kLeg : kLeg;
  for (const float sx : {-1.0F, 1.0F}) {
    for (const float sy : {-1.0F, 1.0F})
      corner(cx + sx * at, cy + sy * at, sx * leg, sy * leg, colour);
  }
}

void icon_save(float cx, float cy, unsigned colour) {
  // A disk with its label and shutter.
  constexpr float kWidth = 1.8F;
  const float body[] = {cx - 7.5F, cy - 7.5F, cx + 4.0F, cy - 7.5F, cx + 7.5F, cy - 4.0F,
                        cx + 7.5F, cy + 7.5F, cx - 7.5F, cy + 7.5F, cx - 7.5F, cy - 7.5F};
  gfx::polyline(body, 6, colour, kWidth);
  const float label[] = {cx - 4.0F, cy + 7.5F, cx - 4.0F, cy + 1.0F,
                         cx + 4.0F, cy + 1.0F, cx + 4.0F, cy + 7.5F};
  gfx::polyline(label, 4, colour, kWidth);
  const float shutter[] = {cx - 3.5F, cy - 7.5F, cx - 3.5F, cy - 3.5F,
                           cx + 2.5F, cy - 3.5F, cx + 2.5F, cy - 7.5F};
  gfx::polyline(shutter, 4, colour, kWidth);
}

void icon_gear(float cx, float cy, unsigned colour) {
  constexpr int kSpokes = 8;
  for (int i = 0; i < kSpokes; ++i) {
    const float angle = static_cast<float>(i) * 6.2831853F / static_cast<float>(kSpokes);
    const float dx = std::sin(angle);
    const float dy = std::cos(angle);
    gfx::line(cx + dx * 7.0F, cy + dy * 7.0F, cx + dx * 8.6F, cy + dy * 8.6F, colour, 2.6F);
  }
  gfx::stroke_circle(cx, cy, 6.5F, colour, 2.2F);
  gfx::fill_circle(cx, cy, 2.2F, colour);
}

void icon_cross(float cx, float cy, float size, unsigned colour) {
  const float d = size * 0.5F;
  gfx::line(cx - d, cy - d, cx + d, cy + d, colour, 1.8F);
  gfx::line(cx - d, cy + d, cx + d, cy - d, colour, 1.8F);
}

void icon_check(float cx, float cy, unsigned colour) {
  const float xy[] = {cx - 4.5F, cy, cx - 1.5F, cy + 3.5F, cx + 4.5F, cy - 3.5F};
  gfx::polyline(xy, 3, colour, 1.8F);
}

void icon_chevron(float cx, float cy, bool up, unsigned colour) {
  const float d = up ? -2.25F : 2.25F;
  gfx::line(cx - 4.5F, cy - d, cx, cy + d, colour, 1.6F);
  gfx::line(cx, cy + d, cx + 4.5F, cy - d, colour, 1.6F);
}

void mute_button(const Rect& r) {
  constexpr float kMuteRadius = 7.0F;
  const theme::Colors& c = *theme::colors();
  const bool hovered = ui::hovered(kHitMute);
  const bool down = pressed(kHitMute);
  const bool muted = state().look.status.muted;
  unsigned icon = hovered ? c.text_strong : c.text_secondary;
  if (muted) {
    const unsigned face = theme::with_alpha(c.danger, hovered ? 0.95F : 0.85F);
    gfx::fill_round_rect(r, kMuteRadius, down ? theme::mix(c.danger, kBlack, 0.25F) : face);
    icon = kWhite;
  } else {
    const unsigned face = hovered ? c.button_hover : c.mute_face;
    gfx::fill_round_rect(r, kMuteRadius, down ? pressed_face() : face);
    gfx::stroke_round_rect(r, kMuteRadius, c.border, 1.0F);
  }
  const float cx = r.x + r.w * 0.5F;
  const float cy = r.y + r.h * 0.5F;
  gfx::fill_rect({cx - 9.0F, cy - 2.5F, 4.0F, 5.0F}, icon);
  gfx::fill_triangle(cx - 7.0F, cy, cx - 0.5F, cy - 6.0F, cx - 0.5F, cy + 6.0F, icon);
  if (muted) {
    icon_cross(cx + 6.0F, cy, 6.0F, icon);
  } else {
    gfx::stroke_arc(cx - 1.0F, cy, 5.0F, 55.0F, 125.0F, icon, 1.6F);
    gfx::stroke_arc(cx - 1.0F, cy, 9.0F, 50.0F, 130.0F, icon, 1.6F);
  }
}

}  // namespace ui
