// Shapes, gradients, clips: which pixels they reach.
#include <gtest/gtest.h>

#include <cmath>

#include "canvas.h"

namespace {

using gfx::Rect;

constexpr unsigned kRed = 0xffff0000;
constexpr unsigned kBlue = 0xff0000ff;
constexpr float kVee[] = {2.0F, 2.0F, 10.0F, 18.0F, 18.0F, 2.0F};

struct Pixel {
  int x, y;
  unsigned colour;
};

void expect_pixels(const Canvas& canvas, std::initializer_list<Pixel> pixels) {
  for (const auto& [x, y, colour] : pixels)
    EXPECT_EQ(canvas.at(x, y), colour) << x << "," << y;
}

// Every call with this length or width.
void draw_everything(float size) {
  gfx::fill_rect({2, 2, size, 16}, kRed);
  gfx::fill_round_rect({2, 2, 16, size}, 3, kRed);
  gfx::stroke_round_rect({2, 2, size, 6}, 3, kRed, 6);
  gfx::fill_circle(9, 9, size, kRed);
  gfx::stroke_circle(9, 9, size, kRed, 1);
  gfx::stroke_arc(9, 9, size, 0, 90, kRed, 1);
  gfx::stroke_arc(9, 9, 5, 90, 90 + size, kRed, 1);
  gfx::fill_rect_vgrad({2, 2, size, 5}, kRed, kBlue);
  gfx::fill_round_rect_vgrad({2, 2, 5, size}, 3, kRed, kBlue);
  gfx::text({2, 2, 16, 16}, "x", size, kRed, gfx::Align::Left, false, true);
  gfx::text_wrapped({2, 2, 16, 16}, "x", size, kRed, gfx::Align::Left);
}

TEST(drawing, reaches_a_context_or_nothing_and_nothing_comes_of_degenerate_shapes) {
  gfx::set_context(nullptr);
  const std::uint64_t before = gfx::draw_calls();
  EXPECT_FALSE(gfx::begin());
  gfx::push_clip({0, 0, 1, 1});
  draw_everything(9);
  gfx::line(2, 2, 9, 9, kRed, 1);
  gfx::fill_triangle(2, 2, 9, 2, 2, 9, kRed);
  gfx::polyline(kVee, 3, kRed, 1);
  gfx::fill_under(kVee, 3, 20, kRed, kBlue);
  gfx::clear(kRed);
  gfx::pop_clip();

  const Canvas canvas(20, 20);
  EXPECT_TRUE(gfx::begin());
  for (const float bad : {0.0F, -5.0F, std::nanf("")})
    draw_everything(bad);
  gfx::polyline(kVee, 1, kRed, 2);
  gfx::fill_under(kVee, 1, 20, kRed, kBlue);
  EXPECT_TRUE(canvas.blank());
  EXPECT_EQ(gfx::draw_calls(), before);
  draw_everything(9);
  EXPECT_EQ(gfx::draw_calls(), before + 11);
}

TEST(drawing, clears_to_transparency_and_blends_everything_else) {
  const Canvas canvas(4, 4);
  gfx::clear(kRed);
  gfx::fill_rect({0, 0, 2, 4}, 0x800000ff);
  expect_pixels(canvas, {{0, 0, 0xff7f0080}, {3, 0, kRed}});
  gfx::clear(0x00ffffff);
  EXPECT_TRUE(canvas.blank());
  gfx::fill_rect({0, 0, 4, 4}, 0x8000ff00);
  EXPECT_EQ(canvas.at(1, 1), 0x80008000);
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

TEST(round_rect, is_rounded_up_to_a_pill_and_outlined_inside_its_edges) {
  const Canvas canvas(20, 10);
  gfx::fill_round_rect({0, 0, 20, 10}, 100, kRed);
  expect_pixels(canvas, {{0, 0, 0}, {19, 9, 0}, {10, 0, kRed}, {10, 9, kRed}});
  EXPECT_GT(canvas.at(0, 5) >> 24U, 0xe0U);
  for (const float radius : {0.0F, 3.0F}) {
    gfx::clear(0);
    gfx::stroke_round_rect({2, 0, 10, 10}, radius, kRed, 2);
    EXPECT_EQ(canvas.ink(), (Rect{2, 0, 10, 10}));
    expect_pixels(canvas, {{7, 0, kRed}, {3, 5, kRed}, {7, 2, 0}, {2, 0, radius > 0 ? 0U : kRed}});
  }
}

TEST(arc, runs_clockwise_from_twelve_with_round_ends_and_has_no_seam_when_it_goes_round) {
  const Canvas canvas(64, 64);
  gfx::stroke_arc(32, 32, 20, 0, 90, kRed, 6);
  expect_pixels(canvas, {{46, 17, kRed}, {46, 46, 0}, {17, 46, 0}, {17, 17, 0}});
  // The ends reach half a width beyond twelve and three.
  EXPECT_EQ(canvas.ink(), (Rect{29, 9, 26, 26}));
  gfx::clear(0);
  gfx::stroke_circle(32, 32, 20, 0x80ff0000, 6);
  const auto ring = canvas.pixels();
  gfx::clear(0);
  gfx::stroke_arc(32, 32, 20, 90, 450, 0x80ff0000, 6);
  EXPECT_EQ(canvas.pixels(), ring);
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

TEST(gradient, runs_from_the_topmost_point_to_the_bottom_edge) {
  const Canvas canvas(30, 120);
  const auto expect_gradient = [&canvas](unsigned corner) {
    EXPECT_EQ(canvas.ink(), (Rect{0, 10, 30, 100}));
    EXPECT_GT(canvas.at(15, 20) & 0x00ff0000U, 0x00e00000U);
    EXPECT_NEAR(canvas.at(15, 60) & 0xffU, 0x80, 3);
    EXPECT_GT(canvas.at(15, 109) & 0xffU, 0xfaU);
    EXPECT_EQ(canvas.at(0, 10) >> 24U, corner);
    gfx::clear(0);
  };
  gfx::fill_rect_vgrad({0, 10, 30, 100}, kRed, kBlue);
  expect_gradient(255);
  gfx::fill_round_rect_vgrad({0, 10, 30, 100}, 8, kRed, kBlue);
  expect_gradient(0);
  const float peak[] = {0, 100, 15, 10, 30, 100};
  gfx::fill_under(peak, 3, 110, kRed, kBlue);
  EXPECT_EQ(canvas.at(0, 105) >> 24U, 0xffU);
  expect_gradient(0);
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
