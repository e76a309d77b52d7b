// A picture in memory as the current context, read pixel by pixel.
#pragma once

#include <cairo.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "gfx.h"

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

  // 0xAARRGGBB, premultiplied, row by row.
  std::vector<std::uint32_t> pixels() const {
    cairo_surface_flush(surface_);
    std::vector<std::uint32_t> all(static_cast<std::size_t>(w_) * static_cast<std::size_t>(h_));
    // Rows of this format have no padding.
    std::memcpy(all.data(), cairo_image_surface_get_data(surface_), all.size() * 4);
    return all;
  }

  std::uint32_t at(int x, int y) const {
    const int i = y * w_ + x;
    return pixels()[static_cast<std::size_t>(i)];
  }

  // The smallest rectangle around every pixel that is not fully transparent; empty without one.
  gfx::Rect ink() const {
    const std::vector<std::uint32_t> all = pixels();
    int x0 = w_, y0 = h_, x1 = 0, y1 = 0;
    for (int i = 0; i < w_ * h_; ++i) {
      if (all[static_cast<std::size_t>(i)] >> 24U == 0) continue;
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
