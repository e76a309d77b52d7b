// Where everything is, what a point hits, and the columns of segments.
#include <algorithm>
#include <cmath>

#include "window.h"

namespace {

using gfx::Rect;

class elements : public Window {
 protected:
  // Left and top edge belong to a region, right and bottom edge do not. Returns how many there are.
  int expect_regions(const Rect& view) const {
    int found = 0;
    for (const auto& [code, r, while_active] : layout().layer.elements) {
      ++found;
      SCOPED_TRACE(code);
      EXPECT_TRUE(within(view, r));
      EXPECT_EQ(code_at(r.x, r.y), code);
      EXPECT_EQ(code_at(r), code);
      EXPECT_EQ(code_at(r.x + r.w - 0.1F, r.y + r.h - 0.1F), code);
      EXPECT_NE(code_at(r.x - 0.1F, r.y), code);
      EXPECT_NE(code_at(r.x, r.y - 0.1F), code);
      EXPECT_NE(code_at(r.x + r.w, r.y), code);
      EXPECT_NE(code_at(r.x, r.y + r.h), code);
    }
    return found;
  }
};

TEST_F(elements, everything_is_hit_where_it_is_painted_in_every_view_and_language) {
  for (const i18n::Language& language : i18n::languages()) {
    SCOPED_TRACE(language.code);
    i18n::set_language(language.code);
    s_.collapsed = false;
    paint();
    EXPECT_EQ(expect_regions(view()), 12 + ui::kGains);
    paint(1200, 700);
    expect_regions({0, 0, 1200, 700});
    s_.collapsed = true;
    paint();
    EXPECT_EQ(expect_regions(view()), 10);
  }
  EXPECT_EQ(code_at(layout().title), ui::kHitNone);
  EXPECT_EQ(ui::cursor_at(300, 30), ui::kCursorArrow);
  EXPECT_EQ(ui::cursor_at(at(ui::kHitPower).x + 2, 20), ui::kCursorHand);
  s_.compact = true;
  for (const bool framed : {false, true}) {
    fakes::desktop.framed = framed;  // a frame takes the place of the close button
    paint();
    EXPECT_EQ(expect_regions(view()), framed ? 3 : 4);
    EXPECT_EQ(code_at(200, 80), ui::kHitBody);
    EXPECT_EQ(ui::cursor_at(200, 80), framed ? ui::kCursorArrow : ui::kCursorMove);
  }
}

// ---- Segments

class segments : public Window {
 protected:
  ~segments() override { ui::set_pixel_scale(1); }
};

TEST_F(segments, are_whole_device_pixels_at_every_scale) {
  for (const float p : {1.0F, 1.25F, 1.5F, 1.75F, 2.0F, 3.0F, 0.3F}) {
    ui::set_pixel_scale(p);
    paint();
    const ui::Layout& l = layout();
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
    // In the full view both groups end on one line as nearly as their segments allow, at 0 dB.
    const gfx::Rect& m = l.meters;
    const ui::SegmentGeom bars = ui::bar_geom(l.bars.w, l.bars.h, false);
    const ui::SegmentGeom meters = ui::meter_geom(m.w, m.h);
    const float top = m.y + m.h - static_cast<float>(meters.segments) * meters.pitch;
    EXPECT_FLOAT_EQ(l.bars.y + l.bars.h, m.y + m.h);
    EXPECT_NEAR(top, ui::level_y(l.bars, bars, 0) - bars.pitch + bars.segment_height,
                meters.pitch / 2 + 0.01F);
    EXPECT_FLOAT_EQ(ui::level_y(l.bars, bars, -66 + 66.0F / static_cast<float>(bars.segments)),
                    l.bars.y + l.bars.h - bars.segment_height);
  }
}

TEST_F(segments, light_up_from_66_db_below_full_scale_in_the_colour_of_their_height) {
  ui::State& s = ui::state();
  const std::tuple<float, float, int, int> cases[] = {
      {-90, -64.7F, 0, -1},
      {-66, -64.6F, 0, 0},
      {-31.3F, -29.8F, 11, 10},  // rounded and rounded down
      {3, 3, 20, 19}};
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

}  // namespace
