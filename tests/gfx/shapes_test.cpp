// Shapes, gradients, clips, images: which pixels they reach.

#include "canvas.h"
#include "gfx/icon_data.h"
#include "test.h"

namespace {

using gfx::Rect;

constexpr unsigned kRed = 0xffff0000;
constexpr unsigned kBlue = 0xff0000ff;
constexpr float kVee[] = {2.0F, 2.0F, 10.0F, 18.0F, 18.0F, 2.0F};

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
  gfx::clear(0x00ffffff);
  EXPECT_TRUE(canvas.blank());
  gfx::fill_rect({0, 0, 4, 4}, 0x8000ff00);
  EXPECT_EQ(canvas.at(1, 1), 0x80008000);
}

TEST(shapes, reach_their_rectangle) {
  static constexpr Rect kWide{0, 0, 20, 10};
  static constexpr Rect kSquare{2, 0, 10, 10};
  const std::pair<void (*)(), Rect> cases[] = {
      // Rounded up to a pill; outlines are inside their edges.
      {[] { gfx::fill_round_rect(kWide, 100, kRed); }, kWide},
      {[] { gfx::stroke_round_rect(kSquare, 3, kRed, 2); }, kSquare},
      // From twelve to three; the round ends reach half a width beyond.
      {[] { gfx::stroke_arc(32, 32, 20, 0, 90, kRed, 6); }, {29, 9, 26, 26}},
      {[] { gfx::line(10, 10, 30, 10, kRed, 8); }, {6, 6, 28, 8}},
      // A pointed join would reach further down.
      {[] { gfx::polyline(kVee, 3, kRed, 4); }, {0, 0, 20, 20}},
      {[] { gfx::fill_under(kVee, 3, 20, kRed, kBlue); }, {2, 2, 16, 18}}};
  const Canvas canvas(64, 64);
  for (const auto& [draw, ink] : cases) {
    gfx::clear(0);
    draw();
    EXPECT_EQ(canvas.ink(), ink) << canvas.ink().w << " x " << canvas.ink().h;
  }
}

TEST(clip, nests_and_is_undone) {
  const Canvas canvas(20, 20);
  gfx::push_clip({0, 0, 10, 20});
  gfx::push_clip({5, 5, 10, 10});
  for (const Rect& reached : {Rect{5, 5, 5, 10}, Rect{0, 0, 10, 20}, Rect{0, 0, 20, 20}}) {
    gfx::fill_rect({0, 0, 20, 20}, kRed);
    EXPECT_EQ(canvas.ink(), reached);
    if (reached.w < 20) gfx::pop_clip();
  }
}

TEST(image, fills_its_rectangle_and_a_damaged_one_draws_nothing_and_harms_nothing) {
  const std::vector<unsigned char> damaged(icon_data::kPng,
                                           icon_data::kPng + icon_data::kPngSize / 2);
  const Canvas canvas(40, 40);
  gfx::image_png(icon_data::kPng, icon_data::kPngSize, {0, 0, 9, -9});
  gfx::image_png(damaged.data(), damaged.size(), {0, 0, 40, 40});
  EXPECT_TRUE(canvas.blank());
  gfx::image_png(icon_data::kPng, icon_data::kPngSize, {5, 10, 20, 20});
  EXPECT_EQ(canvas.at(5, 10), 0U) << "the icon has transparent corners";
  EXPECT_EQ(canvas.at(15, 20) >> 24U, 0xffU);
  EXPECT_EQ(canvas.at(26, 20) | canvas.at(15, 31), 0U);
  gfx::shutdown();
}

}  // namespace
