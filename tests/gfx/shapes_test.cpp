// Shapes, gradients, clips: which pixels they reach.
#include <gtest/gtest.h>

#include <cmath>

#include "canvas.h"

namespace {

using gfx::Rect;

constexpr unsigned kRed = 0xffff0000;
constexpr unsigned kBlue = 0xff0000ff;
constexpr float kVee[] = {2.0F, 2.0F, 10.0F, 18.0F, 18.0F, 2.0F};

void draw_everything() {
  static constexpr unsigned char kNoPng[] = {1, 2, 3};
  const Rect r{2, 2, 16, 16};
  gfx::clear(kRed);
  gfx::fill_rect(r, kRed);
  gfx::fill_round_rect(r, 3, kRed);
  gfx::stroke_round_rect(r, 3, kRed, 1);
  gfx::fill_circle(9, 9, 5, kRed);
  gfx::stroke_circle(9, 9, 5, kRed, 1);
  gfx::line(2, 2, 9, 9, kRed, 1);
  gfx::fill_triangle(2, 2, 9, 2, 2, 9, kRed);
  gfx::stroke_arc(9, 9, 5, 0, 90, kRed, 1);
  gfx::polyline(kVee, 3, kRed, 1);
  gfx::fill_under(kVee, 3, 20, kRed, kBlue);
  gfx::fill_rect_vgrad(r, kRed, kBlue);
  gfx::fill_round_rect_vgrad(r, 3, kRed, kBlue);
  gfx::text(r, "x", 10, kRed, gfx::Align::Left, false, true);
  gfx::text_wrapped(r, "x", 10, kRed, gfx::Align::Left);
  gfx::image_png(kNoPng, sizeof kNoPng, r);
}

TEST(drawing, reaches_a_context_or_nothing) {
  gfx::set_context(nullptr);
  const std::uint64_t before = gfx::draw_calls();
  EXPECT_FALSE(gfx::begin());
  gfx::push_clip({0, 0, 1, 1});
  draw_everything();
  gfx::pop_clip();
  EXPECT_EQ(gfx::draw_calls(), before);

  const Canvas canvas(20, 20);
  EXPECT_TRUE(gfx::begin());
  draw_everything();
  EXPECT_EQ(gfx::draw_calls(), before + 16);
  EXPECT_FALSE(canvas.blank());
}

TEST(drawing, leaves_nothing_of_degenerate_shapes) {
  const Canvas canvas(20, 20);
  const float nan = std::nanf("");
  for (const float bad : {0.0F, -5.0F, nan}) {
    gfx::fill_rect({9, 9, bad, 5}, kRed);
    gfx::fill_round_rect({9, 9, 5, bad}, 3, kRed);
    gfx::fill_rect_vgrad({9, 9, bad, 5}, kRed, kBlue);
    gfx::stroke_round_rect({9, 9, 1, bad}, 0, kRed, 2);
    gfx::fill_circle(9, 9, bad, kRed);
    gfx::stroke_circle(9, 9, bad, kRed, 2);
    gfx::stroke_arc(9, 9, bad, 0, 90, kRed, 2);
    gfx::stroke_arc(9, 9, 5, 90, 90 + bad, kRed, 2);
  }
  gfx::polyline(kVee, 1, kRed, 2);
  gfx::fill_under(kVee, 1, 20, kRed, kBlue);
  EXPECT_TRUE(canvas.blank());
}

TEST(drawing, clears_to_transparency_and_blends_everything_else) {
  const Canvas canvas(4, 4);
  gfx::clear(kRed);
  gfx::fill_rect({0, 0, 2, 4}, 0x800000ff);
  EXPECT_EQ(canvas.at(0, 0), 0xff7f0080);
  EXPECT_EQ(canvas.at(3, 0), kRed);
  gfx::clear(0x00ffffff);
  EXPECT_TRUE(canvas.blank());
  gfx::fill_rect({0, 0, 4, 4}, 0x8000ff00);
  EXPECT_EQ(canvas.at(1, 1), 0x80008000);
}

TEST(round_rect, is_a_pill_for_a_large_radius_and_sharp_for_none) {
  const Canvas canvas(20, 10);
  gfx::fill_round_rect({0, 0, 20, 10}, 100, kRed);
  EXPECT_EQ(canvas.at(0, 0), 0U);
  EXPECT_EQ(canvas.at(19, 9), 0U);
  EXPECT_EQ(canvas.at(10, 0), kRed);
  EXPECT_EQ(canvas.at(10, 9), kRed);
  EXPECT_GT(canvas.at(0, 5) >> 24U, 0xe0U);
  gfx::clear(0);
  gfx::fill_round_rect({0, 0, 20, 10}, 0, kRed);
  EXPECT_EQ(canvas.at(0, 0), kRed);
  EXPECT_EQ(canvas.at(19, 9), kRed);
}

TEST(round_rect, is_outlined_inside_its_edges) {
  const Canvas canvas(14, 14);
  for (const float radius : {0.0F, 3.0F}) {
    gfx::clear(0);
    gfx::stroke_round_rect({2, 2, 10, 10}, radius, kRed, 2);
    EXPECT_EQ(canvas.ink(), (Rect{2, 2, 10, 10}));
    EXPECT_EQ(canvas.at(7, 2), kRed);
    EXPECT_EQ(canvas.at(3, 7), kRed);
    EXPECT_EQ(canvas.at(7, 4), 0U);
    EXPECT_EQ(canvas.at(2, 2), radius > 0 ? 0U : kRed);
  }
}

TEST(arc, runs_clockwise_from_twelve_with_round_ends) {
  const Canvas canvas(64, 64);
  gfx::stroke_arc(32, 32, 20, 0, 90, kRed, 6);
  EXPECT_EQ(canvas.at(46, 17), kRed);  // half past one
  EXPECT_EQ(canvas.at(46, 46), 0U);
  EXPECT_EQ(canvas.at(17, 46), 0U);
  EXPECT_EQ(canvas.at(17, 17), 0U);
  // The ends reach half a width beyond twelve and three.
  EXPECT_EQ(canvas.ink(), (Rect{29, 9, 26, 26}));
}

TEST(arc, is_a_ring_without_a_seam_when_it_goes_round) {
  const Canvas canvas(64, 64);
  gfx::stroke_circle(32, 32, 20, 0x80ff0000, 6);
  const auto ring = canvas.pixels();
  for (const float from : {0.0F, 90.0F}) {
    gfx::clear(0);
    gfx::stroke_arc(32, 32, 20, from, from + 360, 0x80ff0000, 6);
    EXPECT_EQ(canvas.pixels(), ring);
  }
}

TEST(lines, have_round_ends_and_joins) {
  const Canvas canvas(40, 30);
  gfx::line(10, 10, 30, 10, kRed, 8);
  EXPECT_EQ(canvas.ink(), (Rect{6, 6, 28, 8}));
  EXPECT_EQ(canvas.at(6, 6), 0U);
  gfx::clear(0);
  gfx::polyline(kVee, 3, kRed, 4);
  EXPECT_EQ(canvas.ink().y + canvas.ink().h, 20.0F);  // a pointed join would reach further down
  EXPECT_EQ(canvas.at(10, 3), 0U);                    // open, not closed
}

TEST(drawing, depends_on_no_call_before) {
  const Canvas canvas(40, 40);
  const auto draw = [&canvas] {
    gfx::clear(0);
    gfx::stroke_circle(28, 28, 8, kRed, 2);
    gfx::stroke_round_rect({4, 4, 20, 20}, 0, kRed, 4);
    return canvas.pixels();
  };
  const auto fresh = draw();
  gfx::polyline(kVee, 3, kBlue, 9);
  gfx::text({0, 0, 40, 40}, "x", 10, kBlue, gfx::Align::Left, false, false);
  EXPECT_EQ(draw(), fresh);
}

TEST(gradient, runs_from_the_top_edge_to_the_bottom_edge) {
  const Canvas canvas(20, 120);
  gfx::fill_rect_vgrad({0, 10, 20, 100}, kRed, kBlue);
  EXPECT_EQ(canvas.ink(), (Rect{0, 10, 20, 100}));
  EXPECT_GT(canvas.at(10, 10) & 0x00ff0000U, 0x00fa0000U);
  EXPECT_GT(canvas.at(10, 109) & 0xffU, 0xfaU);
  EXPECT_NEAR(canvas.at(10, 60) & 0xffU, 0x80, 3);
  gfx::clear(0);
  gfx::fill_round_rect_vgrad({0, 10, 20, 100}, 8, kRed, kBlue);
  EXPECT_EQ(canvas.at(0, 10), 0U);
  EXPECT_NEAR(canvas.at(10, 60) & 0xffU, 0x80, 3);
}

TEST(gradient, fills_the_area_under_a_line_from_its_topmost_point) {
  const Canvas canvas(30, 120);
  const float peak[] = {0, 100, 15, 10, 30, 100};
  gfx::fill_under(peak, 3, 110, kRed, kBlue);
  EXPECT_EQ(canvas.at(2, 50), 0U);
  EXPECT_NEAR(canvas.at(15, 60) & 0xffU, 0x80, 3);
  EXPECT_GT(canvas.at(15, 109) & 0xffU, 0xfaU);
  EXPECT_EQ(canvas.at(0, 105) >> 24U, 0xffU);
  EXPECT_EQ(canvas.at(15, 111), 0U);
}

TEST(clip, nests_and_is_undone) {
  const Canvas canvas(20, 20);
  gfx::push_clip({0, 0, 10, 20});
  gfx::push_clip({5, 5, 10, 10});
  gfx::fill_rect({0, 0, 20, 20}, kRed);
  EXPECT_EQ(canvas.ink(), (Rect{5, 5, 5, 10}));
  gfx::pop_clip();
  gfx::fill_rect({0, 0, 20, 20}, kRed);
  EXPECT_EQ(canvas.ink(), (Rect{0, 0, 10, 20}));
  gfx::pop_clip();
  gfx::fill_triangle(0, 0, 20, 0, 20, 20, kRed);
  EXPECT_EQ(canvas.at(18, 2), kRed);
}

}  // namespace
