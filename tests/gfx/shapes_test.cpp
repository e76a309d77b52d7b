// Shapes, gradients, clips: which pixels they reach.
#include <gtest/gtest.h>

#include <cmath>

#include "canvas.h"

namespace {

using gfx::Rect;

constexpr unsigned kRed = 0xffff0000;
constexpr unsigned kBlue = 0xff0000ff;
constexpr float kVee[] = {2.0F, 2.0F, 10.0F, 18.0F, 18.0F, 2.0F};
constexpr float kPeak[] = {0, 100, 15, 10, 30, 100};

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
  const int points = size > 0 ? 3 : 1;
  gfx::polyline(kVee, points, kRed, 2);
  gfx::fill_under(kVee, points, 20, kRed, kBlue);
}

TEST(drawing, reaches_a_context_or_nothing_and_nothing_comes_of_degenerate_shapes) {
  gfx::set_context(nullptr);
  const std::uint64_t before = gfx::draw_calls();
  EXPECT_FALSE(gfx::begin());
  gfx::push_clip({0, 0, 1, 1});
  draw_everything(9);
  gfx::line(2, 2, 9, 9, kRed, 1);
  gfx::fill_triangle(2, 2, 9, 2, 2, 9, kRed);
  gfx::clear(kRed);
  gfx::pop_clip();
  const Canvas canvas(20, 20);
  EXPECT_TRUE(gfx::begin());
  for (const float bad : {0.0F, -5.0F, std::nanf("")})
    draw_everything(bad);
  EXPECT_TRUE(canvas.blank());
  EXPECT_EQ(gfx::draw_calls(), before);
  draw_everything(9);
  EXPECT_EQ(gfx::draw_calls(), before + 13);
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

struct Pixel {
  int x, y;
  unsigned colour;
};

TEST(shapes, reach_these_pixels_whatever_was_drawn_before) {
  const std::tuple<void (*)(), Rect, std::vector<Pixel>> shapes[] = {
      // Rounded up to a pill; outlines are inside their edges.
      {[] {
         gfx::fill_round_rect({0, 0, 20, 10}, 100, kRed);
       },
       {0, 0, 20, 10},
       {{0, 0, 0}, {19, 9, 0}, {10, 0, kRed}, {10, 9, kRed}, {0, 4, kRed}}},
      {[] {
         gfx::stroke_round_rect({2, 0, 10, 10}, 0, kRed, 2);
       },
       {2, 0, 10, 10},
       {{2, 0, kRed}, {7, 0, kRed}, {3, 5, kRed}, {7, 2, 0}}},
      {[] {
         gfx::stroke_round_rect({2, 0, 10, 10}, 3, kRed, 2);
       },
       {2, 0, 10, 10},
       {{2, 0, 0}, {7, 0, kRed}, {3, 5, kRed}, {7, 2, 0}}},
      // From twelve to three; the round ends reach half a width beyond.
      {[] { gfx::stroke_arc(32, 32, 20, 0, 90, kRed, 6); },
       {29, 9, 26, 26},
       {{46, 17, kRed}, {46, 46, 0}, {17, 46, 0}, {17, 17, 0}}},
      {[] { gfx::line(10, 10, 30, 10, kRed, 8); }, {6, 6, 28, 8}, {{6, 6, 0}, {20, 7, kRed}}},
      // A pointed join would reach further down; the line is open, not closed.
      {[] { gfx::polyline(kVee, 3, kRed, 4); }, {0, 0, 20, 20}, {{10, 3, 0}, {10, 18, kRed}}},
      {[] { gfx::fill_triangle(0, 0, 20, 0, 20, 20, kRed); },
       {0, 0, 20, 20},
       {{18, 2, kRed}, {2, 18, 0}}}};
  const Canvas canvas(64, 64);
  for (const auto& [draw, ink, pixels] : shapes) {
    gfx::text({0, 0, 40, 40}, "x", 10, kBlue, gfx::Align::Left, false, false);
    gfx::clear(0);
    draw();
    EXPECT_EQ(canvas.ink(), ink) << canvas.ink().w;
    for (const auto& [x, y, colour] : pixels)
      EXPECT_NEAR(canvas.at(x, y) >> 24U, colour >> 24U, 16) << x << "," << y << " of " << ink.w;
  }
  gfx::clear(0);
  gfx::stroke_circle(32, 32, 20, 0x80ff0000, 6);
  const auto ring = canvas.pixels();
  gfx::clear(0);
  gfx::stroke_arc(32, 32, 20, 90, 450, 0x80ff0000, 6);
  EXPECT_EQ(canvas.pixels(), ring) << "without a seam";
}

TEST(gradient, runs_from_the_topmost_point_to_the_bottom_edge) {
  const Canvas canvas(30, 120);
  for (void (*draw)() : {+[] {
                           gfx::fill_rect_vgrad({0, 10, 30, 100}, kRed, kBlue);
                         },
                         +[] {
                           gfx::fill_round_rect_vgrad({0, 10, 30, 100}, 8, kRed, kBlue);
                         },
                         +[] { gfx::fill_under(kPeak, 3, 110, kRed, kBlue); }}) {
    gfx::clear(0);
    draw();
    EXPECT_EQ(canvas.ink(), (Rect{0, 10, 30, 100}));
    EXPECT_GT(canvas.at(15, 20) & 0x00ff0000U, 0x00e00000U);
    EXPECT_NEAR(canvas.at(15, 60) & 0xffU, 0x80, 3);
    EXPECT_GT(canvas.at(15, 109) & 0xffU, 0xfaU);
  }
}

TEST(clip, nests_and_is_undone) {
  const Canvas canvas(20, 20);
  const Rect clips[] = {{0, 0, 10, 20}, {5, 5, 10, 10}};
  for (const Rect& clip : clips)
    gfx::push_clip(clip);
  for (const Rect& reached : {Rect{5, 5, 5, 10}, Rect{0, 0, 10, 20}, Rect{0, 0, 20, 20}}) {
    gfx::fill_rect({0, 0, 20, 20}, kRed);
    EXPECT_EQ(canvas.ink(), reached);
    if (reached.w < 20) gfx::pop_clip();
  }
}

}  // namespace
