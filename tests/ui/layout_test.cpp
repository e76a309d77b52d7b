// Where everything is, what a point hits, how the views scale, and the columns of segments.
#include <algorithm>
#include <cmath>

#include "window.h"

namespace {

using gfx::Rect;

class layout : public Window {
 protected:
  // Left and top edge belong to a region, right and bottom edge do not.
  static void expect_regions(std::initializer_list<std::pair<Rect, int>> regions) {
    for (const auto& [r, code] : regions) {
      SCOPED_TRACE(code);
      EXPECT_EQ(code_at(r.x, r.y), code);
      EXPECT_EQ(code_at(r.x + r.w - 0.1F, r.y + r.h - 0.1F), code);
      EXPECT_NE(code_at(r.x - 0.1F, r.y), code);
      EXPECT_NE(code_at(r.x, r.y - 0.1F), code);
      EXPECT_NE(code_at(r.x + r.w, r.y), code);
      EXPECT_NE(code_at(r.x, r.y + r.h), code);
    }
  }
};

TEST_F(layout, full_view_is_hit_where_its_table_says) {
  const ui::Layout& l = Window::layout();
  const auto width = [](const char* key) {
    return std::ceil(gfx::text_width(i18n::T(key), 12, true));
  };
  const float right = width("channel_right") + 22;
  const float left = width("channel_left") + 22;
  const float stereo = width("channel_stereo") + 22;
  const float reset = width("reset") + 24;
  expect_regions({{{448, 16, 112, 38}, ui::kHitPower},
                  {{572, 16, 220, 38}, ui::kHitPresets},
                  {{798, 16, 42, 38}, ui::kHitSave},
                  {{850, 16, 42, 38}, ui::kHitCompact},
                  {{900, 16, 42, 38}, ui::kHitSettings},
                  {{446, 303, 68, 16}, ui::kHitCollapse},
                  {{928 - right, 80, right, 24}, ui::kHitChannel + 2},
                  {{928 - right - left, 80, left, 24}, ui::kHitChannel + 1},
                  {{928 - right - left - stereo, 80, stereo, 24}, ui::kHitChannel},
                  {{928 - right - left - stereo - 42, 80, 34, 24}, ui::kHitMute},
                  {{928 - reset, 330, reset, 24}, ui::kHitFlat},
                  {{86, 374, 40, 174}, ui::kHitPreamp},
                  {{190, 374, 40, 174}, ui::kHitSlider},
                  {{888, 374, 40, 174}, ui::kHitSlider + 9},
                  {l.device, ui::kHitDevice}});
  EXPECT_EQ(code_at(l.title), ui::kHitNone);
  EXPECT_EQ(ui::cursor_at(300, 30), ui::kCursorArrow);
  EXPECT_EQ(ui::cursor_at(450, 20), ui::kCursorHand);
  EXPECT_EQ(l.spectrum, (Rect{18, 70, 924, 232}));
  EXPECT_EQ(l.sliders, (Rect{18, 320, 924, 256}));
  for (int i = 1; i < 9; ++i)
    EXPECT_NEAR(l.slider[i].x - l.slider[i - 1].x, 698.0F / 9, 0.01F) << i;
  EXPECT_GE(l.device.y, 576);
  EXPECT_LE(l.status.x + l.status.w, 942);

  paint(1200, 640);  // the header stays with the right edge
  expect_regions({{{448 + 240, 16, 112, 38}, ui::kHitPower},
                  {{566, 303, 68, 16}, ui::kHitCollapse},
                  {{1128, 374, 40, 174}, ui::kHitSlider + 9}});
}

TEST_F(layout, collapsed_view_keeps_the_channels_and_nothing_below) {
  const ui::Layout open = Window::layout();
  s_.collapsed = true;
  paint();
  EXPECT_EQ(Window::layout().spectrum, (Rect{18, 70, 924, 240}));
  expect_regions(
      {{{446, 315, 68, 18}, ui::kHitCollapse}, {Window::layout().channel[1], ui::kHitChannel + 1}});
  for (const Rect& gone : {open.flat, open.device, open.slider[4]})
    EXPECT_EQ(code_at(gone), ui::kHitNone);
}

TEST_F(layout, compact_view_is_hit_where_its_table_says) {
  s_.compact = true;
  paint();
  expect_regions({{{382, 6, 28, 24}, ui::kHitClose},
                  {{348, 6, 30, 24}, ui::kHitBack},
                  {{312, 6, 30, 24}, ui::kHitMute},
                  {{10, 42, 44, 44}, ui::kHitMiniPower}});
  EXPECT_EQ(code_at(200, 80), ui::kHitBody);
  EXPECT_EQ(ui::cursor_at(200, 80), ui::kCursorMove);
  EXPECT_TRUE(ui::bar_view().compact);
  fakes::desktop.framed = true;  // a frame takes the place of the close button
  paint();
  expect_regions({{{380, 6, 30, 24}, ui::kHitBack}, {{344, 6, 30, 24}, ui::kHitMute}});
  EXPECT_EQ(code_at(415, 15), ui::kHitBody);
  EXPECT_EQ(ui::cursor_at(415, 15), ui::kCursorArrow);
}

TEST_F(layout, views_scale_to_the_window_and_not_below_a_quarter) {
  const auto expect_view = [](int w, int h, float zoom, float lw, float lh) {
    const ui::View v = ui::view_for(w, h);
    EXPECT_EQ(std::tie(v.zoom, v.w, v.h), std::tie(zoom, lw, lh)) << w << " x " << h;
  };
  expect_view(480, 320, 0.5F, 960, 640);
  expect_view(100, 100, 0.25F, 400, 400);
  expect_view(1920, 640, 1, 1920, 640);
  expect_view(0, 640, 1, 0, 640);
  s_.collapsed = true;
  expect_view(480, 340, 0.5F, 960, 680);
  s_.compact = true;
  expect_view(840, 264, 2, 420, 132);
  ui::init(nullptr, false);
  expect_view(480, 320, 1, 480, 320);
}

// ---- Segments

class segments : public Window {
 protected:
  ~segments() override { ui::set_pixel_scale(1); }
};

TEST_F(segments, have_the_stated_sizes) {
  const auto expect_sizes = [](const ui::SegmentGeom& g, int columns, float gap, float width,
                               float height, float pitch, int count) {
    EXPECT_EQ(std::tie(g.columns, g.gap, g.column_width, g.segment_height, g.pitch, g.segments),
              std::tie(columns, gap, width, height, pitch, count));
  };
  // (800 - 90) / 31 = 22.9; the topmost needs no space above
  expect_sizes(ui::bar_geom(800, 158, false), 31, 3, 22, 4, 6, 26);
  expect_sizes(ui::bar_geom(800, 160, false), 31, 3, 22, 4, 6, 27);
  expect_sizes(ui::bar_geom(310, 84, true), 31, 2, 8, 3, 4, 21);
  expect_sizes(ui::bar_geom(10, -5, false), 31, 3, 0, 4, 6, 4);
  expect_sizes(ui::meter_geom(22, 80), 2, 5, 8, 3, 4, 20);
}

TEST_F(segments, are_whole_device_pixels_at_every_scale) {
  for (const float p : {1.0F, 1.25F, 1.5F, 1.75F, 2.0F, 3.0F, 0.3F}) {
    ui::set_pixel_scale(p);
    paint();
    const ui::Layout& l = Window::layout();
    for (const bool compact : {false, true}) {
      const ui::SegmentGeom bars = ui::bar_geom(l.bars.w, l.bars.h, compact);
      const ui::SegmentGeom meters = ui::meter_geom(l.meters.w, l.meters.h);
      for (const float length :
           {bars.gap, bars.column_width, bars.segment_height, bars.pitch, meters.gap,
            meters.column_width, meters.segment_height, meters.pitch, l.bars.x, l.meters.x}) {
        EXPECT_NEAR(length * p, std::round(length * p), 1e-3F) << p << " " << compact;
      }
      EXPECT_GE(bars.gap * p, 0.99F);
      EXPECT_GT(bars.pitch, bars.segment_height);
      EXPECT_LE(31 * bars.column_width + 30 * bars.gap, l.bars.w + 0.01F);
    }
  }
  ui::set_pixel_scale(1.25F);
  EXPECT_FLOAT_EQ(ui::bar_geom(800, 158, false).gap, 4 / 1.25F);
  ui::set_pixel_scale(-1);
  EXPECT_EQ(ui::bar_geom(800, 158, false).gap, 3);
}

TEST_F(segments, light_up_from_66_db_below_full_scale) {
  ui::State& s = ui::state();
  const std::tuple<float, float, int, int> cases[] = {
      {-66, -66, 0, -1},        {-90, -64.7F, 0, -1}, {-66, -64.6F, 0, 0}, {-33, -33, 10, 10},
      {-31.3F, -29.8F, 11, 10},  // rounded and rounded down
      {0, 0, 20, 19},           {3, 3, 20, 19}};
  for (const auto& [level, peak, count, cap] : cases) {
    s.bars.level[5] = s.meter[1].level = level;
    s.bars.peak[5] = s.meter[1].peak = peak;
    int lit[ui::kBars];
    int top[ui::kBars];
    ui::bar_segments(20, lit, top);
    EXPECT_EQ(std::pair(lit[5], top[5]), std::pair(count, cap)) << level;
    ui::meter_segments(20, lit, top);
    EXPECT_EQ(std::pair(lit[1], top[1]), std::pair(count, cap)) << level;
  }
}

TEST_F(segments, of_a_column_take_its_colour_from_bottom_to_top) {
  theme::set_dark(true);
  const Canvas canvas(25, 60);
  ui::paint_meters(ui::kLit, 25, 60);
  // 15 segments; the 11th is at 11 / 14, above 0.75
  for (const auto& [n, colour] :
       {std::pair{1, 0xFF3BE25A}, {10, 0xFF3BE25A}, {11, 0xFFFFD21F}, {13, 0xFFFF3B3B}}) {
    EXPECT_EQ(canvas.at(2, 60 - 4 * n + 2), colour) << n;
    EXPECT_EQ(canvas.at(2, 60 - 4 * n), 0U) << "the space above";
    EXPECT_EQ(canvas.at(12, 60 - 4 * n + 2), 0U) << "the gap";
    EXPECT_EQ(canvas.at(17, 60 - 4 * n + 2), colour) << "the right channel";
  }
}

TEST_F(segments, wave_of_the_title_repeats_every_five_seconds) {
  theme::set_dark(true);
  for (const auto& [i, t, level] :
       {std::tuple{0, 0.0, 0.0F}, {0, 2.5, 1.0F}, {3, 0.0, 0.6F}, {3, 1.0, 0.2F}, {6, 0.0, 0.8F}})
    EXPECT_EQ(ui::title_color(i, 7, t), theme::bar_color(level)) << i << " " << t;
  EXPECT_EQ(ui::title_color(4, 7, 6.25), ui::title_color(4, 7, 1.25));
  EXPECT_EQ(ui::title_color(0, 1, 0), theme::bar_color(0));
  theme::set_dark(false);
  EXPECT_EQ(ui::title_color(0, 7, 0), theme::mix(theme::bar_color(0), 0xFF000000, 0.25F));
  std::string text;
  for (const ui::TitleGlyph& glyph : ui::title_view().glyphs) {
    text += glyph.text;
    EXPECT_LE(glyph.x + glyph.width, 300);
  }
  EXPECT_EQ(text, "Velmora");
  s_.compact = true;
  EXPECT_TRUE(ui::title_view().glyphs.empty());
}

}  // namespace
