// PNG images, and the icon inside the program.
#include <gtest/gtest.h>

#include "canvas.h"
#include "icon_data.h"

namespace {

constexpr unsigned kRed = 0xffff0000;

cairo_status_t append(void* to, const unsigned char* bytes, unsigned n) {
  auto* all = static_cast<std::vector<unsigned char>*>(to);
  all->insert(all->end(), bytes, bytes + n);
  return CAIRO_STATUS_SUCCESS;
}

class image : public testing::Test {
 protected:
  image() {
    cairo_surface_t* red = cairo_image_surface_create(CAIRO_FORMAT_RGB24, 64, 64);
    cairo_t* cr = cairo_create(red);
    cairo_set_source_rgb(cr, 1, 0, 0);
    cairo_paint(cr);
    cairo_destroy(cr);
    cairo_surface_write_to_png_stream(red, append, &png_);
    cairo_surface_destroy(red);
  }
  ~image() override { gfx::shutdown(); }
  void draw(const gfx::Rect& r) const { gfx::image_png(png_.data(), png_.size(), r); }

  std::vector<unsigned char> png_;
};

TEST_F(image, fills_its_rectangle_exactly_and_is_decoded_once) {
  const Canvas canvas(40, 40);
  draw({0, 0, 0, 9});
  draw({0, 0, 9, -9});
  gfx::image_png(nullptr, 0, {0, 0, 9, 9});
  EXPECT_TRUE(canvas.blank());
  draw({5, 10, 20, 9});
  EXPECT_EQ(canvas.ink(), (gfx::Rect{5, 10, 20, 9}));
  EXPECT_EQ(canvas.at(5, 10), kRed);
  EXPECT_EQ(canvas.at(24, 18), kRed);
  std::fill(png_.begin(), png_.end(), static_cast<unsigned char>(0));
  draw({0, 0, 40, 40});
  EXPECT_EQ(canvas.at(2, 2), kRed);
}

TEST_F(image, that_is_damaged_draws_nothing_and_is_never_tried_again) {
  const Canvas canvas(4, 4);
  gfx::image_png(png_.data(), png_.size() / 2, {0, 0, 4, 4});
  draw({0, 0, 4, 4});
  EXPECT_TRUE(canvas.blank());
  // The context is as good as before.
  gfx::fill_rect({0, 0, 4, 4}, kRed);
  EXPECT_EQ(canvas.at(2, 2), kRed);
}

TEST_F(image, of_the_program_has_128_pixels_a_side_and_transparent_corners) {
  // The header chunk of a PNG: width and height, big-endian, 8 bits each of RGBA.
  ASSERT_GT(icon_data::kPngSize, 26U);
  const std::vector<unsigned char> header(icon_data::kPng + 16, icon_data::kPng + 26);
  EXPECT_EQ(header, (std::vector<unsigned char>{0, 0, 0, 128, 0, 0, 0, 128, 8, 6}));
  const Canvas canvas(128, 128);
  gfx::image_png(icon_data::kPng, icon_data::kPngSize, {0, 0, 128, 128});
  EXPECT_EQ(canvas.at(0, 0) | canvas.at(127, 0) | canvas.at(0, 127) | canvas.at(127, 127), 0U);
  EXPECT_EQ(canvas.at(64, 64) >> 24U, 0xffU);
}

}  // namespace
