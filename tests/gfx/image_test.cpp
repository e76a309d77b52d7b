// PNG images, and the icon inside the program.
#include <gtest/gtest.h>

#include "canvas.h"
#include "icon_data.h"

namespace {

using gfx::Rect;

constexpr unsigned kRed = 0xffff0000;

cairo_status_t append(void* to, const unsigned char* bytes, unsigned n) {
  auto* all = static_cast<std::vector<unsigned char>*>(to);
  all->insert(all->end(), bytes, bytes + n);
  return CAIRO_STATUS_SUCCESS;
}

std::vector<unsigned char> red_png(int w, int h) {
  std::vector<unsigned char> png;
  cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_RGB24, w, h);
  cairo_t* cr = cairo_create(s);
  cairo_set_source_rgb(cr, 1, 0, 0);
  cairo_paint(cr);
  cairo_destroy(cr);
  cairo_surface_write_to_png_stream(s, append, &png);
  cairo_surface_destroy(s);
  return png;
}

class image : public testing::Test {
 protected:
  void TearDown() override { gfx::shutdown(); }
};
using icon = image;

TEST_F(image, fills_its_rectangle_exactly) {
  const std::vector<unsigned char> png = red_png(2, 3);
  const Canvas canvas(40, 40);
  gfx::image_png(png.data(), png.size(), {5, 10, 20, 9});
  EXPECT_EQ(canvas.ink(), (Rect{5, 10, 20, 9}));
  EXPECT_EQ(canvas.at(5, 10), kRed);
  EXPECT_EQ(canvas.at(24, 18), kRed);
  gfx::clear(0);
  gfx::image_png(nullptr, 0, {0, 0, 9, 9});
  gfx::image_png(png.data(), png.size(), {0, 0, 0, 9});
  gfx::image_png(png.data(), png.size(), {0, 0, 9, -9});
  EXPECT_TRUE(canvas.blank());
}

TEST_F(image, is_decoded_once) {
  std::vector<unsigned char> png = red_png(4, 4);
  const Canvas canvas(4, 4);
  gfx::image_png(png.data(), png.size(), {0, 0, 4, 4});
  std::fill(png.begin(), png.end(), static_cast<unsigned char>(0));
  gfx::clear(0);
  gfx::image_png(png.data(), png.size(), {0, 0, 4, 4});
  EXPECT_EQ(canvas.at(2, 2), kRed);
}

TEST_F(image, that_is_damaged_draws_nothing_and_is_never_tried_again) {
  std::vector<unsigned char> png = red_png(64, 64);
  const Canvas canvas(4, 4);
  gfx::image_png(png.data(), png.size() / 2, {0, 0, 4, 4});
  EXPECT_TRUE(canvas.blank());
  gfx::image_png(png.data(), png.size(), {0, 0, 4, 4});
  EXPECT_TRUE(canvas.blank());
  // The context is as good as before.
  gfx::fill_rect({0, 0, 4, 4}, kRed);
  EXPECT_EQ(canvas.at(2, 2), kRed);
}

TEST_F(icon, has_128_pixels_a_side_and_transparent_corners) {
  // The header chunk of a PNG: width and height, big-endian, 8 bits each of RGBA.
  ASSERT_GT(icon_data::kPngSize, 26U);
  const std::vector<unsigned char> header(icon_data::kPng + 16, icon_data::kPng + 26);
  EXPECT_EQ(header, (std::vector<unsigned char>{0, 0, 0, 128, 0, 0, 0, 128, 8, 6}));
  const Canvas canvas(128, 128);
  gfx::image_png(icon_data::kPng, icon_data::kPngSize, {0, 0, 128, 128});
  for (const int x : {0, 127}) {
    EXPECT_EQ(canvas.at(x, 0), 0U);
    EXPECT_EQ(canvas.at(x, 127), 0U);
  }
  EXPECT_EQ(canvas.at(64, 64) >> 24U, 0xffU);
}

}  // namespace
