// DESIGN: geometry only. Every view asks for its rectangles here and draws into them; hit testing
// asks the same rectangles. So what is seen and what is hit cannot differ, and all of it can be
// tested without a window.
#include <algorithm>

#include "ui_private.h"

namespace ui {

namespace {

constexpr float kHeaderTop = 16.0F;
constexpr float kHeaderHeight = 38.0F;
constexpr float kIconButton = 42.0F;
constexpr float kStripHeight = 64.0F;  // below the slider panel
constexpr float kScaleWidth = 44.0F;   // level scale, left of the bars
constexpr float kSmallButton = 24.0F;

void header(float w, Layout* l) {
  l->logo = {kMargin, 14.0F, 42.0F, 42.0F};
  l->title = {72.0F, 14.0F, 300.0F, 38.0F};
  l->settings = {w - kMargin - kIconButton, kHeaderTop, kIconButton, kHeaderHeight};
  l->compact = {l->settings.x - 8.0F - kIconButton, kHeaderTop, kIconButton, kHeaderHeight};
  l->save = {l->compact.x - 10.0F - kIconButton, kHeaderTop, kIconButton, kHeaderHeight};
  l->presets = {l->save.x - 6.0F - 220.0F, kHeaderTop, 220.0F, kHeaderHeight};
  l->power = {l->presets.x - 12.0F - 112.0F, kHeaderTop, 112.0F, kHeaderHeight};
}

void spectrum_panel(const LabelWidths& labels, Layout* l) {
  const Rect& p = l->spectrum;
  float right = p.x + p.w - kInset;
  for (int i = 2; i >= 0; --i) {
    const float width = labels.channel[i] + 22.0F;
    l->channel[i] = {right - width, p.y + 10.0F, width, kSmallButton};
    right -= width;
  }
  l->mute = {right - 8.0F - 34.0F, p.y + 10.0F, 34.0F, kSmallButton};
  constexpr float kTop = 46.0F;
  constexpr float kBottom = 28.0F;
  constexpr float kMeterWidth = 30.0F;
  const float height = std::max(p.h - kTop - kBottom, 0.0F);
  l->meters = {p.x + p.w - kInset - kMeterWidth, p.y + kTop, kMeterWidth, height};
  l->bars = {p.x + kInset + kScaleWidth, p.y + kTop,
             std::max(l->meters.x - 18.0F - p.x - kInset - kScaleWidth, 0.0F), height};
}

void slider_panel(float w, float h, const LabelWidths& labels, Layout* l) {
  const Rect& p = l->spectrum;
  const float top = p.y + p.h + 18.0F;
  l->sliders = {kMargin, top, w - 2.0F * kMargin, std::max(h - top - kStripHeight, 0.0F)};
  const Rect& s = l->sliders;
  const float flat_width = labels.flat + 24.0F;
  l->flat = {s.x + s.w - kInset - flat_width, s.y + 10.0F, flat_width, kSmallButton};
  l->hint = {s.x + kInset, s.y + 10.0F, std::max(l->flat.x - 12.0F - s.x - kInset, 0.0F),
             kSmallButton};
  l->track_top = s.y + 66.0F;
  l->track_bottom = s.y + s.h - 40.0F;

  constexpr float kColumn = 40.0F;
  constexpr float kPreampLeft = 86.0F;
  constexpr float kToBands = 64.0F;
  const float y = l->track_top - 12.0F;
  const float height = std::max(l->track_bottom - l->track_top + 24.0F, 0.0F);
  l->slider[kPreamp] = {kPreampLeft, y, kColumn, height};
  l->rule_x = kPreampLeft + kColumn + kToBands * 0.5F;
  const float first = kPreampLeft + kColumn + kToBands;
  const float last = s.x + s.w - kInset - kColumn;
  const float step = (last - first) / static_cast<float>(eq::kBands - 1);
  for (int i = 0; i < eq::kBands; ++i)
    l->slider[i] = {first + step * static_cast<float>(i), y, kColumn, height};
}

void bottom_strip(float w, float h, Layout* l) {
  l->device = {kMargin, h - 54.0F, 300.0F, 44.0F};
  const float left = l->device.x + l->device.w + 18.0F;
  l->status = {left, l->device.y, std::max(w - kMargin - left, 0.0F), l->device.h};
}

}  // namespace

bool inside(const Rect& r, float x, float y) {
  return x >= r.x && x < r.x + r.w && y >= r.y && y < r.y + r.h;
}

Rect inset(const Rect& r, float by) {
  return {r.x + by, r.y + by, r.w - 2.0F * by, r.h - 2.0F * by};
}

float gain_to_y(const Layout& layout, float gain_db) {
  const float middle = (layout.track_top + layout.track_bottom) * 0.5F;
  const float half = (layout.track_bottom - layout.track_top) * 0.5F;
  return middle - std::clamp(gain_db, -kMaxGainDb, kMaxGainDb) / kMaxGainDb * half;
}

float y_to_gain(const Layout& layout, float y) {
  const float middle = (layout.track_top + layout.track_bottom) * 0.5F;
  const float half = (layout.track_bottom - layout.track_top) * 0.5F;
  return half > 0.0F ? -(y - middle) / half * kMaxGainDb : 0.0F;
}

Layout full_layout(float w, float h, bool collapsed, const LabelWidths& labels) {
  Layout l;
  header(w, &l);
  l.spectrum = {kMargin, 70.0F, w - 2.0F * kMargin, collapsed ? h - 100.0F : 232.0F};
  spectrum_panel(labels, &l);
  if (collapsed) {
    l.collapse = {w * 0.5F - 34.0F, h - 25.0F, 68.0F, 18.0F};
    return l;
  }
  l.collapse = {w * 0.5F - 34.0F, 303.0F, 68.0F, 16.0F};
  slider_panel(w, h, labels, &l);
  bottom_strip(w, h, &l);
  return l;
}

Layout compact_layout(float w, float h, bool framed) {
  constexpr float kTop = 6.0F;
  constexpr float kHeight = 24.0F;
  Layout l;
  l.logo = {12.0F, 9.0F, 18.0F, 18.0F};
  if (!framed) l.close = {w - 10.0F - 28.0F, kTop, 28.0F, kHeight};
  l.back = {(framed ? w - 10.0F : l.close.x - 4.0F) - 30.0F, kTop, 30.0F, kHeight};
  l.mute = {l.back.x - 6.0F - 30.0F, kTop, 30.0F, kHeight};
  l.title = {36.0F, kTop, std::max(l.mute.x - 36.0F - 8.0F - 36.0F, 0.0F), 22.0F};
  l.power = {10.0F, 42.0F, 44.0F, 44.0F};
  l.bars = {66.0F, 36.0F, w - 110.0F, h - 48.0F};
  l.meters = {w - 34.0F, 36.0F, 22.0F, h - 52.0F};
  return l;
}

SettingsLayout settings_layout(float w, float h, float close_label, bool rtl) {
  constexpr float kTop = 58.0F;
  constexpr float kPad = 24.0F;
  SettingsLayout l;
  const float width = std::min(880.0F, w - 2.0F * kMargin);
  const float height = std::min(324.0F, h - 16.0F);
  l.panel = {(w - width) * 0.5F, (h - height) * 0.5F, width, height};
  const Rect& p = l.panel;
  const float close_width = close_label + 28.0F;
  l.close = {p.x + p.w - 16.0F - close_width, p.y + 14.0F, close_width, 30.0F};
  const float column = (p.w - 3.0F * kPad) * 0.5F;
  const auto rows = {&l.autostart, &l.eq_on_start, &l.on_top, &l.language, &l.appearance};
  // The collapsed window is just high enough for five rows of 50.
  const float row_height = std::min(50.0F, (p.h - kTop - 16.0F) / static_cast<float>(rows.size()));
  Rect row{p.x + kPad, p.y + kTop, column, row_height};
  for (Rect* r : rows) {
    *r = row;
    row.y += row_height;
  }
  constexpr float kSwatch = 92.0F;
  const Rect& g = l.language;
  l.language_button = {rtl ? g.x : g.x + g.w - 2.0F * kSwatch, g.y + (g.h - 30.0F) * 0.5F,
                       2.0F * kSwatch, 30.0F};
  const Rect& a = l.appearance;
  l.dark = {rtl ? a.x : a.x + a.w - 2.0F * kSwatch, a.y + (a.h - 30.0F) * 0.5F, kSwatch, 30.0F};
  l.light = {l.dark.x + kSwatch, l.dark.y, kSwatch, 30.0F};
  l.about = {p.x + 2.0F * kPad + column, p.y + kTop, column, p.h - kTop - 16.0F};
  l.report = {l.about.x, l.about.y + l.about.h - 22.0F, column, 20.0F};
  l.homepage = {l.about.x, l.report.y - 22.0F, column, 20.0F};
  return l;
}

DialogLayout dialog_layout(float w, float h, float save_label, float cancel_label) {
  constexpr float kPad = 24.0F;
  constexpr float kButton = 34.0F;
  DialogLayout l;
  const float width = std::min(420.0F, w - 30.0F);
  constexpr float kHeight = 222.0F;
  l.card = {(w - width) * 0.5F, (h - kHeight) * 0.5F, width, kHeight};
  const Rect& c = l.card;
  l.name = {c.x + kPad, c.y + 78.0F, c.w - 2.0F * kPad, 36.0F};
  const float y = c.y + c.h - kPad - kButton + 4.0F;
  const float save_width = std::max(save_label + 36.0F, 92.0F);
  const float cancel_width = std::max(cancel_label + 36.0F, 92.0F);
  l.save = {c.x + c.w - kPad - save_width, y, save_width, kButton};
  l.cancel = {l.save.x - 10.0F - cancel_width, y, cancel_width, kButton};
  return l;
}

}  // namespace ui
