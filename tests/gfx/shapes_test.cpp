// Shapes, gradients, clips, images: which pixels they reach.

#include "approved.h"
#include "canvas.h"
#include "gfx/icon_data.h"

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

// What an action draws, with a digit for how much of each pixel is covered, and for gradients their
// middle column.
std::string picture(approved::Action& action) {
  float x = 0;
  float y = 0;
  float w = 0;
  float h = 0;
  float a = 0;
  float b = 0;
  action >> x >> y >> w >> h >> a >> b;
  const Rect r{x, y, w, h};
  const float bend[] = {x, y, w, h, a, b};
  const Canvas canvas(20, 20);
  if (action.is("rect")) gfx::fill_rect(r, kRed);
  if (action.is("round")) gfx::fill_round_rect(r, a, kRed);
  if (action.is("outline")) gfx::stroke_round_rect(r, a, kRed, b);
  if (action.is("disc")) gfx::fill_circle(x, y, w, kRed);
  if (action.is("circle")) gfx::stroke_circle(x, y, w, kRed, h);
  if (action.is("line")) gfx::line(x, y, w, h, kRed, a);
  if (action.is("triangle")) gfx::fill_triangle(x, y, w, h, a, b, kRed);
  if (action.is("arc")) gfx::stroke_arc(10, 10, x, y, w, kRed, h);
  if (action.is("bend")) gfx::polyline(bend, 3, kRed, 3);
  if (action.is("under")) gfx::fill_under(bend, 3, 19, kRed, kBlue);
  if (action.is("fall")) gfx::fill_rect_vgrad(r, kRed, kBlue);
  if (action.is("round-fall")) gfx::fill_round_rect_vgrad(r, a, kRed, kBlue);
  if (action.is("icon")) gfx::image_png(icon_data::kPng, icon_data::kPngSize, r);
  if (action.is("clip")) {
    gfx::push_clip({0, 0, x + w / 2, 20});
    gfx::push_clip(r);
    gfx::fill_rect({0, 0, 20, 20}, kRed);
    gfx::pop_clip();
    gfx::fill_rect({0, 0, a, b}, kRed);
    gfx::pop_clip();
    gfx::fill_rect({0, 19, 20, 1}, kRed);
  }
  std::string text;
  std::string column;
  for (int row = 0; row < 20; ++row) {
    for (int i = 0; i < 20; ++i) {
      const unsigned alpha = canvas.at(i, row) >> 24U;
      text += alpha < 20 ? '.' : static_cast<char>('0' + (alpha + 5) / 29);
    }
    text += '\n';
    if (action.is("fall") || action.is("round-fall") || action.is("under"))
      column += " " + std::to_string((canvas.at(10, row) >> 16U & 0xffU) / 24) + "/" +
                std::to_string((canvas.at(10, row) & 0xffU) / 24);
  }
  return text + (column.empty() ? "" : "red and blue" + column + "\n");
}

TEST(shapes, look_as_they_did) {
  approved::expect("shapes.txt", picture);
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
