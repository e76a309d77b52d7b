// DESIGN: bars and meters are columns of segments that are painted once per size, theme and scale
// in three brightnesses; per frame only the number of lit segments of each column changes. All
// lengths are whole device pixels, because parts are copied to whole pixels, and a fraction would
// show as uneven gaps.
#include <algorithm>
#include <cmath>

#include "gfx/icon_data.h"
#include "platform/platform.h"
#include "state.h"
#include "ui/theme.h"
#include "views.h"

namespace ui {

namespace {

constexpr float kRangeDb = -analyzer::kFloorDb;  // from the bottom to 0 dB
constexpr float kTitleSize = 27.0F;

TitleView g_title;  // kept, because measuring text in every frame would cost more than copying it

float to_pixels(float length, float scale) {
  return std::max(1.0F, std::round(length * scale)) / scale;
}

float floor_pixels(float length, float scale) {
  return std::floor(length * scale + 0.001F) / scale;
}

SegmentGeom rows_for(float h, bool compact) {
  const float p = state().pixel_scale;
  SegmentGeom g;
  g.segment_height = to_pixels(compact ? 3.0F : 4.0F, p);
  g.pitch = g.segment_height + to_pixels(compact ? 1.0F : 2.0F, p);
  g.segments = std::max(
      4, static_cast<int>(std::floor((h + g.pitch - g.segment_height) / g.pitch + 0.001F)));
  return g;
}

SegmentGeom geom_for(float w, float h, bool compact, int count) {
  const float p = state().pixel_scale;
  SegmentGeom g = rows_for(h, compact);
  g.columns = count;
  g.gap = to_pixels(compact ? 2.0F : 3.0F, p);
  const auto n = static_cast<float>(count);
  g.column_width = std::max(0.0F, floor_pixels((w - (n - 1.0F) * g.gap) / n, p));
  return g;
}

unsigned shade(unsigned colour, int mode) {
  if (mode == kUnlit)
    return theme::mix(theme::colors()->unlit, colour, theme::dark() ? 0.10F : 0.20F);
  if (mode == kPeak) return theme::mix(colour, 0xFFFFFFFFU, 0.45F);
  return colour;
}

Rect segment(const SegmentGeom& g, int column, int s, float h) {
  return {static_cast<float>(column) * (g.column_width + g.gap),
          h - static_cast<float>(s) * g.pitch + (g.pitch - g.segment_height), g.column_width,
          g.segment_height};
}

float column_height(const SegmentGeom& g) {
  return static_cast<float>(g.segments) * g.pitch - (g.pitch - g.segment_height);
}

int lit_segments(float level_db, int n) {
  const float level = std::clamp((level_db + kRangeDb) / kRangeDb, 0.0F, 1.0F);
  return static_cast<int>(std::round(level * static_cast<float>(n)));
}

void light(float level_db, float peak_db, int n, int* lit, int* peak) {
  *lit = lit_segments(level_db, n);
  const float p = (peak_db + kRangeDb) / kRangeDb;
  *peak = -1;
  if (p > 1.0F) {
    *peak = n - 1;
  } else if (p > 0.02F) {
    *peak = std::min(n - 1, static_cast<int>(std::floor(p * static_cast<float>(n))));
  }
}

void measure_title() {
  constexpr const char* kName = "Velmora";
  g_title.size = kTitleSize;
  g_title.height = kTitleSize;
  g_title.glyphs.clear();
  std::string before;
  for (const char* c = kName; *c != '\0'; ++c) {
    TitleGlyph glyph;
    glyph.text = std::string(1, *c);
    glyph.x = gfx::text_width(before, kTitleSize, true);
    before += *c;
    glyph.width = gfx::text_width(before, kTitleSize, true) - glyph.x;
    g_title.glyphs.push_back(glyph);
  }
}

// Segments are on whole device pixels only if their area is.
void snap(Rect* r) {
  const float p = state().pixel_scale;
  const float right = std::floor((r->x + r->w) * p);
  const float bottom = std::floor((r->y + r->h) * p);
  r->x = std::ceil(r->x * p) / p;
  r->y = std::ceil(r->y * p) / p;
  r->w = std::max(0.0F, right / p - r->x);
  r->h = std::max(0.0F, bottom / p - r->y);
}

// The width left over by whole-pixel columns is split between both sides.
void centre_columns(Rect* r, const SegmentGeom& g) {
  const float p = state().pixel_scale;
  const auto n = static_cast<float>(g.columns);
  const float used = n * g.column_width + (n - 1.0F) * g.gap;
  r->x += std::floor((r->w - used) * 0.5F * p + 0.01F) / p;
  r->w = used;
}

}  // namespace

void fit_segments(Rect* bars, Rect* meters, bool compact) {
  snap(bars);
  snap(meters);
  centre_columns(bars, bar_geom(bars->w, bars->h, compact));
  centre_columns(meters, meter_geom(meters->w, meters->h));
  if (compact) return;
  // Both groups have a common base line. So that they also end on one line, within a pixel, the
  // meters are as high as the bars' columns, not as their area.
  const SegmentGeom b = bar_geom(bars->w, bars->h, false);
  const SegmentGeom m = meter_geom(meters->w, meters->h);
  const float rows = std::round((column_height(b) + m.pitch - m.segment_height) / m.pitch);
  const float bottom = meters->y + meters->h;
  meters->h = rows * m.pitch - (m.pitch - m.segment_height);
  meters->y = bottom - meters->h;
}

float level_y(const Rect& bars, const SegmentGeom& g, float level_db) {
  const int lit = lit_segments(level_db, g.segments);
  return bars.y + bars.h - static_cast<float>(lit) * g.pitch + (g.pitch - g.segment_height);
}

SegmentGeom bar_geom(float w, float h, bool compact) {
  return geom_for(w, h, compact, kBars);
}

SegmentGeom meter_geom(float w, float h) {
  const float p = state().pixel_scale;
  SegmentGeom g = rows_for(h, true);
  g.columns = kMeters;
  g.gap = to_pixels(5.0F, p);
  g.column_width = std::max(0.0F, floor_pixels((w - g.gap) * 0.5F, p));
  return g;
}

void bar_segments(int n, int lit[kBars], int peak[kBars]) {
  const analyzer::Ballistics& b = state().bars;
  for (int i = 0; i < kBars; ++i)
    light(b.level[i], b.peak[i], n, &lit[i], &peak[i]);
}

void meter_segments(int n, int lit[kMeters], int peak[kMeters]) {
  for (int i = 0; i < kMeters; ++i) {
    const analyzer::PeakMeter& m = state().meter[i];
    light(m.level, m.peak, n, &lit[i], &peak[i]);
  }
}

void paint_bars(int mode, float w, float h, bool compact) {
  const SegmentGeom g = bar_geom(w, h, compact);
  for (int i = 0; i < kBars; ++i) {
    const unsigned colour =
        shade(theme::bar_color(static_cast<float>(i) / static_cast<float>(kBars - 1)), mode);
    for (int s = 1; s <= g.segments; ++s)
      gfx::fill_rect(segment(g, i, s, h), colour);
  }
}

void paint_meters(int mode, float w, float h) {
  constexpr unsigned kRed = 0xFFFF3B3BU;
  constexpr unsigned kAmber = 0xFFFFD21FU;
  constexpr unsigned kGreen = 0xFF3BE25AU;
  const SegmentGeom g = meter_geom(w, h);
  for (int s = 1; s <= g.segments; ++s) {
    const float f = static_cast<float>(s) / static_cast<float>(g.segments - 1);
    const unsigned colour = shade(f > 0.9F ? kRed : f > 0.75F ? kAmber : kGreen, mode);
    for (int channel = 0; channel < kMeters; ++channel)
      gfx::fill_rect(segment(g, channel, s, h), colour);
  }
}

int cap_mode() {
  return theme::dark() ? kPeak : kLit;
}

void paint_glass(float w, float h) {
  gfx::fill_round_rect_vgrad({0.0F, 0.0F, w, h}, 10.0F, theme::dark() ? 0x0DFFFFFFU : 0x24FFFFFFU,
                             0x00FFFFFFU);
}

void paint_logo(float size) {
  gfx::image_png(icon_data::kPng, icon_data::kPngSize, {0.0F, 0.0F, size, size});
}

BarView bar_view() {
  const State& s = state();
  BarView view;
  view.compact = s.settings->compact;
  view.bars = s.view.bars;
  view.meters = s.view.meters;
  // In the compact view the areas stay as laid out, and the columns are centred in them.
  if (view.compact && view.bars.w > 0.0F) fit_segments(&view.bars, &view.meters, true);
  view.show_glass = !view.compact;
  if (view.show_glass) view.glass = s.view.spectrum;
  return view;
}

const TitleView& title_view() {
  static const TitleView kNone;
  const State& s = state();
  if (s.settings->compact || s.view.title.w <= 0.0F) return kNone;
  if (g_title.glyphs.empty()) measure_title();
  g_title.x = s.view.title.x;
  g_title.y = s.view.title.y + (s.view.title.h - g_title.height) * 0.5F;
  return g_title;
}

void paint_glyph(const std::string& text, float size, float w, float h) {
  gfx::text({0.0F, 0.0F, w + kGlyphMargin, h}, text, size, 0xFFFFFFFFU, gfx::Align::Center, true,
            true);
}

unsigned title_color(int i, int n, double t) {
  const double x = static_cast<double>(i) / std::max(n - 1, 1) * 0.6 - t / 5.0;
  const double f = x - std::floor(x);
  const unsigned colour = theme::bar_color(static_cast<float>(f < 0.5 ? 2.0 * f : 2.0 - 2.0 * f));
  return theme::dark() ? colour : theme::mix(colour, 0xFF000000U, 0.25F);
}

}  // namespace ui
