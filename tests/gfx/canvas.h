// A picture in memory as the current context, read pixel by pixel.
#pragma once

#include <cairo.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "gfx/gfx.h"

class Canvas {
 public:
  Canvas(int w, int h)
      : w_(w), h_(h), surface_(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h)) {
    gfx::set_context(context_);
  }
  ~Canvas() {
    gfx::set_context(nullptr);
    cairo_destroy(context_);
    cairo_surface_destroy(surface_);
  }
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  // 0xAARRGGBB, premultiplied.
  std::uint32_t at(int x, int y) const {
    cairo_surface_flush(surface_);
    std::uint32_t pixel = 0;
    const std::ptrdiff_t offset = 4 * (std::ptrdiff_t{y} * w_ + x);  // rows have no padding
    std::memcpy(&pixel, cairo_image_surface_get_data(surface_) + offset, sizeof pixel);
    return pixel;
  }

  // The smallest rectangle around every pixel that is not fully transparent; empty without one.
  gfx::Rect ink() const {
    int x0 = w_, y0 = h_, x1 = 0, y1 = 0;
    for (int i = 0; i < w_ * h_; ++i) {
      if (at(i % w_, i / w_) >> 24U == 0) continue;
      x0 = std::min(x0, i % w_);
      x1 = std::max(x1, i % w_ + 1);
      y0 = std::min(y0, i / w_);
      y1 = std::max(y1, i / w_ + 1);
    }
    const auto f = [](int i) { return static_cast<float>(i); };
    return x1 == 0 ? gfx::Rect{} : gfx::Rect{f(x0), f(y0), f(x1 - x0), f(y1 - y0)};
  }

  bool blank() const { return ink() == gfx::Rect{}; }

 private:
  int w_;
  int h_;
  cairo_surface_t* surface_;
  cairo_t* context_ = cairo_create(surface_);
};
