// Where everything is, what a point hits, how the views scale, and the columns of segments.
#include <algorithm>
#include <cmath>

#include "window.h"

namespace {

using gfx::Rect;

class layout : public Window {
 protected:
  // Left and top edge belong to a region, right and bottom edge do not.
  static void expect_region(const Rect& r, int code) {
    SCOPED_TRACE(code);
    EXPECT_EQ(code_at(r.x, r.y), code);
    EXPECT_EQ(code_at(r.x + r.w - 0.1F, r.y + r.h - 0.1F), code);
    EXPECT_NE(code_at(r.x - 0.1F, r.y), code);
    EXPECT_NE(code_at(r.x, r.y - 0.1F), code);
    EXPECT_NE(code_at(r.x + r.w, r.y), code);
    EXPECT_NE(code_at(r.x, r.y + r.h), code);
  }
};

TEST_F(layout, full_view_is_hit_where_its_table_says) {
  const Rect title{72, 14, 300, 38};
  EXPECT_EQ(Window::layout().title, title);
  EXPECT_EQ(Window::layout().logo, (Rect{18, 14, 42, 42}));
  EXPECT_EQ(Window::layout().spectrum, (Rect{18, 70, 924, 232}));
  EXPECT_EQ(Window::layout().sliders, (Rect{18, 320, 924, 256}));
  EXPECT_EQ(Window::layout().track_top, 386);
  EXPECT_EQ(Window::layout().track_bottom, 536);
  EXPECT_EQ(code_at(title), ui::kHitNone);
  expect_region({448, 16, 112, 38}, ui::kHitPower);
  expect_region({572, 16, 220, 38}, ui::kHitPresets);
  expect_region({798, 16, 42, 38}, ui::kHitSave);
  expect_region({850, 16, 42, 38}, ui::kHitCompact);
  expect_region({900, 16, 42, 38}, ui::kHitSettings);
  expect_region({446, 303, 68, 16}, ui::kHitCollapse);

  const auto width = [](const char* key) {
    return std::ceil(gfx::text_width(i18n::T(key), 12, true));
  };
  float right = 928;
  for (const auto& [key, code] : {std::pair{"channel_right", ui::kHitChannel + 2},
                                  {"channel_left", ui::kHitChannel + 1},
                                  {"channel_stereo", +ui::kHitChannel}}) {
    const float w = width(key) + 22;
    expect_region({right - w, 80, w, 24}, code);
    right -= w;
  }
  expect_region({right - 8 - 34, 80, 34, 24}, ui::kHitMute);
  expect_region({928 - 24 - width("reset"), 330, 24 + width("reset"), 24}, ui::kHitFlat);
  expect_region({86, 374, 40, 174}, ui::kHitPreamp);
  expect_region({190, 374, 40, 174}, ui::kHitSlider);
  expect_region({888, 374, 40, 174}, ui::kHitSlider + 9);
  const Rect* bands = Window::layout().slider;
  for (int i = 1; i < 9; ++i)
    EXPECT_NEAR(bands[i].x - bands[i - 1].x, 698.0F / 9, 0.01F) << i;
  EXPECT_EQ(code_at(Window::layout().device), ui::kHitDevice);
  EXPECT_GE(Window::layout().device.y, 576);
  EXPECT_LE(Window::layout().status.x + Window::layout().status.w, 942);
}

TEST_F(layout, header_stays_with_the_right_edge) {
  paint(1200, 640);
  expect_region({448 + 240, 16, 112, 38}, ui::kHitPower);
  expect_region({566, 303, 68, 16}, ui::kHitCollapse);
  expect_region({1128, 374, 40, 174}, ui::kHitSlider + 9);
}

TEST_F(layout, collapsed_view_keeps_the_channels_and_nothing_below) {
  const ui::Layout open = Window::layout();
  s_.collapsed = true;
  paint();
  EXPECT_EQ(Window::layout().spectrum, (Rect{18, 70, 924, 240}));
  expect_region({446, 315, 68, 18}, ui::kHitCollapse);
  EXPECT_EQ(code_at(Window::layout().channel[1]), ui::kHitChannel + 1);
  for (const Rect& gone : {open.flat, open.device, open.slider[4]})
    EXPECT_EQ(code_at(gone), ui::kHitNone);
}

TEST_F(layout, compact_view_is_hit_where_its_table_says) {
  s_.compact = true;
  paint();
  expect_region({382, 6, 28, 24}, ui::kHitClose);
  expect_region({348, 6, 30, 24}, ui::kHitBack);
  expect_region({312, 6, 30, 24}, ui::kHitMute);
  expect_region({10, 42, 44, 44}, ui::kHitMiniPower);
  EXPECT_EQ(code_at(200, 80), ui::kHitBody);
  EXPECT_EQ(Window::layout().title, (Rect{36, 6, 232, 22}));
  EXPECT_EQ(Window::layout().logo, (Rect{12, 9, 18, 18}));
  EXPECT_EQ(Window::layout().meters.y, 36);
  EXPECT_EQ(ui::cursor_at(200, 80), ui::kCursorMove);
  EXPECT_TRUE(ui::bar_view().compact);
}

TEST_F(layout, a_frame_takes_the_place_of_the_close_button) {
  fakes::desktop().framed = true;
  s_.compact = true;
  paint();
  expect_region({380, 6, 30, 24}, ui::kHitBack);
  expect_region({344, 6, 30, 24}, ui::kHitMute);
  const ui::Layout framed = ui::compact_layout(420, 132, true);
  EXPECT_EQ(framed.close.w, 0);
  EXPECT_EQ(code_at(415, 15), ui::kHitBody);
  EXPECT_EQ(ui::cursor_at(415, 15), ui::kCursorArrow);
}

TEST_F(layout, pointer_is_a_hand_over_what_can_be_pressed) {
  EXPECT_EQ(ui::cursor_at(450, 20), ui::kCursorHand);
  EXPECT_EQ(ui::cursor_at(300, 200), ui::kCursorArrow);
  ui::on_mouse_down(200, 400);
  EXPECT_EQ(ui::cursor_at(0, 0), ui::kCursorDrag);
  ui::on_mouse_up();
  EXPECT_EQ(ui::cursor_at(0, 0), ui::kCursorArrow);
  ui::open_settings();
  paint();
  const Rect panel = ui::state().panel.panel;
  EXPECT_EQ(ui::cursor_at(panel.x + 3, panel.y + 3), ui::kCursorArrow);
}

TEST_F(layout, views_scale_to_the_window_and_not_below_a_quarter) {
  const auto expect_view = [](int w, int h, float zoom, float lw, float lh) {
    SCOPED_TRACE(testing::Message() << w << " x " << h);
    const ui::View v = ui::view_for(w, h);
    EXPECT_FLOAT_EQ(v.zoom, zoom);
    EXPECT_FLOAT_EQ(v.w, lw);
    EXPECT_FLOAT_EQ(v.h, lh);
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
  int w = 0;
  int h = 0;
  ui::reference_size(&w, &h);
  EXPECT_EQ(w, 960);
  EXPECT_EQ(h, 640);
}

// ---- Segments

class segments : public Window {
 protected:
  ~segments() override { ui::set_pixel_scale(1); }
};

TEST_F(segments, of_bars_have_the_stated_sizes) {
  const ui::SegmentGeom full = ui::bar_geom(800, 158, false);
  EXPECT_EQ(full.columns, 31);
  EXPECT_EQ(full.gap, 3);
  EXPECT_EQ(full.column_width, 22);  // (800 - 90) / 31 = 22.9
  EXPECT_EQ(full.segment_height, 4);
  EXPECT_EQ(full.pitch, 6);
  EXPECT_EQ(full.segments, 26);  // the topmost needs no space above
  EXPECT_EQ(ui::bar_geom(800, 160, false).segments, 27);
  const ui::SegmentGeom compact = ui::bar_geom(310, 84, true);
  EXPECT_EQ(compact.gap, 2);
  EXPECT_EQ(compact.column_width, 8);
  EXPECT_EQ(compact.segment_height, 3);
  EXPECT_EQ(compact.pitch, 4);
  EXPECT_EQ(compact.segments, 21);
  const ui::SegmentGeom meters = ui::meter_geom(22, 80);
  EXPECT_EQ(meters.columns, 2);
  EXPECT_EQ(meters.gap, 5);
  EXPECT_EQ(meters.column_width, 8);
  EXPECT_EQ(meters.segments, 20);
  EXPECT_EQ(ui::bar_geom(800, 3, false).segments, 4);
  EXPECT_EQ(ui::bar_geom(10, -5, false).segments, 4);
  EXPECT_GE(ui::bar_geom(10, 100, false).column_width, 0);
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
  const auto bar = [&s](float level, float peak) {
    s.bars.level[5] = level;
    s.bars.peak[5] = peak;
    int lit[ui::kBars];
    int cap[ui::kBars];
    ui::bar_segments(20, lit, cap);
    s.meter[1].level = level;
    s.meter[1].peak = peak;
    int meter_lit[2];
    int meter_cap[2];
    ui::meter_segments(20, meter_lit, meter_cap);
    EXPECT_EQ(meter_lit[1], lit[5]);
    EXPECT_EQ(meter_cap[1], cap[5]);
    return std::pair{lit[5], cap[5]};
  };
  EXPECT_EQ(bar(-66, -66), (std::pair{0, -1}));
  EXPECT_EQ(bar(-90, -64.7F), (std::pair{0, -1}));
  EXPECT_EQ(bar(-66, -64.6F), (std::pair{0, 0}));
  EXPECT_EQ(bar(-33, -33), (std::pair{10, 10}));
  EXPECT_EQ(bar(-33 + 1.7F, -29.8F), (std::pair{11, 10}));  // rounded and rounded down
  EXPECT_EQ(bar(0, 0), (std::pair{20, 19}));
  EXPECT_EQ(bar(3, 3), (std::pair{20, 19}));
}

TEST_F(segments, of_a_column_take_its_colour_from_bottom_to_top) {
  theme::set_dark(true);
  const float h = 60;
  const ui::SegmentGeom g = ui::meter_geom(25, h);
  ASSERT_EQ(g.segments, 15);
  const Canvas canvas(25, 60);
  ui::paint_meters(ui::kLit, 25, h);
  const auto segment = [&](int n) { return canvas.at(2, 60 - 4 * n + 2); };
  EXPECT_EQ(segment(1), 0xFF3BE25A);
  EXPECT_EQ(segment(10), 0xFF3BE25A);
  EXPECT_EQ(segment(11), 0xFFFFD21F);  // 11 / 14 is above 0.75
  EXPECT_EQ(segment(13), 0xFFFF3B3B);
  EXPECT_EQ(canvas.at(2, 60 - 4), 0U);  // the space above a segment
  EXPECT_EQ(canvas.at(12, 58), 0U);     // the gap
  EXPECT_EQ(canvas.at(17, 58), 0xFF3BE25A);
}

TEST_F(segments, wave_of_the_title_repeats_every_five_seconds) {
  theme::set_dark(true);
  EXPECT_EQ(ui::title_color(0, 7, 0), theme::bar_color(0));
  EXPECT_EQ(ui::title_color(0, 7, 2.5), theme::bar_color(1));
  EXPECT_EQ(ui::title_color(3, 7, 0), theme::bar_color(0.6F));
  EXPECT_EQ(ui::title_color(3, 7, 1), theme::bar_color(2 * 0.1F));
  EXPECT_EQ(ui::title_color(6, 7, 0), theme::bar_color(2 - 2 * 0.6F));
  EXPECT_EQ(ui::title_color(4, 7, 6.25), ui::title_color(4, 7, 1.25));
  EXPECT_EQ(ui::title_color(0, 1, 0), theme::bar_color(0));
  theme::set_dark(false);
  EXPECT_EQ(ui::title_color(0, 7, 0), theme::mix(theme::bar_color(0), 0xFF000000, 0.25F));

  const ui::TitleView& title = ui::title_view();
  std::string text;
  for (const ui::TitleGlyph& glyph : title.glyphs) {
    text += glyph.text;
    EXPECT_LE(glyph.x + glyph.width, 300);
  }
  EXPECT_EQ(text, "Velmora");
  s_.compact = true;
  EXPECT_TRUE(ui::title_view().glyphs.empty());
}

}  // namespace
