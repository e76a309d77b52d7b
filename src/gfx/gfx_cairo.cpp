// DESIGN: every call sets all its parameters (path, colour, line), so that none depends on an
// earlier one; only push_clip has a lasting effect. Images are decoded once and kept. Text is in
// gfx_text.cpp.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <unordered_map>

#include "gfx/gfx.h"
#include "gfx_private.h"

namespace gfx {
namespace {

constexpr double kPi = std::numbers::pi;

// All of it: main thread
cairo_t* g_cr = nullptr;                                                    // not owned
std::unordered_map<const unsigned char*, Owned<cairo_surface_t>> g_images;  // also failed ones
std::uint64_t g_draw_calls = 0;

// Paths and paint -----------------------------------------------------

// Comparisons are written so that a NaN counts as nothing to draw.
bool is_empty(const Rect& r) {
  return !(r.w > 0.0F && r.h > 0.0F);
}

double channel(unsigned colour, unsigned shift) {
  return static_cast<double>((colour >> shift) & 0xffU) / 255.0;
}

void rect_path(const Rect& r) {
  cairo_rectangle(g_cr, r.x, r.y, r.w, r.h);
}

void round_rect_path(const Rect& rect, float radius) {
  const double x = rect.x;
  const double y = rect.y;
  const double w = rect.w;
  const double h = rect.h;
  const double r = std::min({static_cast<double>(radius), w * 0.5, h * 0.5});
  if (!(r > 0.0)) {
    rect_path(rect);
    return;
  }
  cairo_new_sub_path(g_cr);
  cairo_arc(g_cr, x + w - r, y + r, r, -kPi / 2.0, 0.0);
  cairo_arc(g_cr, x + w - r, y + h - r, r, 0.0, kPi / 2.0);
  cairo_arc(g_cr, x + r, y + h - r, r, kPi / 2.0, kPi);
  cairo_arc(g_cr, x + r, y + r, r, kPi, kPi * 1.5);
  cairo_close_path(g_cr);
}

void circle_path(float cx, float cy, float r) {
  cairo_arc(g_cr, cx, cy, r, 0.0, 2.0 * kPi);
  cairo_close_path(g_cr);
}

const float* end_of(const float* xy, int n) {
  return xy + static_cast<std::ptrdiff_t>(n) * 2;
}

void points_path(const float* xy, int n) {
  for (const float* const past = end_of(xy, n); xy != past; xy += 2)
    cairo_line_to(g_cr, xy[0], xy[1]);
}

void fill(unsigned colour) {
  set_colour(colour);
  cairo_fill(g_cr);
}

void stroke(unsigned colour, float width, cairo_line_cap_t cap = CAIRO_LINE_CAP_BUTT,
            cairo_line_join_t join = CAIRO_LINE_JOIN_MITER) {
  set_colour(colour);
  cairo_set_line_width(g_cr, width);
  cairo_set_line_cap(g_cr, cap);
  cairo_set_line_join(g_cr, join);
  cairo_stroke(g_cr);
}

Owned<cairo_pattern_t> vgrad(float y0, float y1, unsigned c0, unsigned c1) {
  Owned<cairo_pattern_t> p(cairo_pattern_create_linear(0.0, y0, 0.0, y1));
  const auto stop = [&p](double at, unsigned c) {
    cairo_pattern_add_color_stop_rgba(p.get(), at, channel(c, 16), channel(c, 8), channel(c, 0),
                                      channel(c, 24));
  };
  stop(0.0, c0);
  stop(1.0, c1);
  return p;
}

void fill_vgrad(float y0, float y1, unsigned c0, unsigned c1) {
  const Owned<cairo_pattern_t> p = vgrad(y0, y1, c0, c1);
  cairo_set_source(g_cr, p.get());
  cairo_fill(g_cr);
}

// Images --------------------------------------------------------------

struct Bytes {
  const unsigned char* next;
  std::size_t left;
};

cairo_status_t read_bytes(void* closure, unsigned char* out, unsigned n) {
  auto* from = static_cast<Bytes*>(closure);
  if (n > from->left) return CAIRO_STATUS_READ_ERROR;
  std::memcpy(out, from->next, n);
  from->next += n;
  from->left -= n;
  return CAIRO_STATUS_SUCCESS;
}

cairo_surface_t* image_for(const unsigned char* data, std::size_t size) {
  Owned<cairo_surface_t>& image = g_images[data];
  if (image == nullptr) {
    Bytes bytes{data, size};
    image.reset(cairo_image_surface_create_from_png_stream(read_bytes, &bytes));
  }
  return image.get();
}

}  // namespace

cairo_t* context() {
  return g_cr;
}

bool start() {
  if (g_cr == nullptr) return false;
  ++g_draw_calls;
  cairo_new_path(g_cr);
  return true;
}

void set_colour(unsigned c) {
  cairo_set_source_rgba(g_cr, channel(c, 16), channel(c, 8), channel(c, 0), channel(c, 24));
}

// Set-up and frames ---------------------------------------------------

void shutdown() {
  g_images.clear();
  free_fonts();
  g_cr = nullptr;
}

void set_context(cairo_t* cr) {
  g_cr = cr;
}

void resize(int /*w*/, int /*h*/) {}

bool begin() {
  return g_cr != nullptr;
}

void end() {}

std::uint64_t draw_calls() {
  return g_draw_calls;
}

void clear(unsigned colour) {
  if (!start()) return;
  cairo_save(g_cr);
  cairo_set_operator(g_cr, CAIRO_OPERATOR_SOURCE);
  set_colour(colour);
  cairo_paint(g_cr);
  cairo_restore(g_cr);
}

// Shapes --------------------------------------------------------------

void fill_rect(const Rect& r, unsigned colour) {
  if (is_empty(r) || !start()) return;
  rect_path(r);
  fill(colour);
}

void fill_round_rect(const Rect& r, float radius, unsigned colour) {
  if (is_empty(r) || !start()) return;
  round_rect_path(r, radius);
  fill(colour);
}

void stroke_round_rect(const Rect& r, float radius, unsigned colour, float width) {
  const float half = width * 0.5F;
  const Rect inset{r.x + half, r.y + half, r.w - width, r.h - width};
  if (!(inset.w >= 0.0F && inset.h >= 0.0F) || !start()) return;
  round_rect_path(inset, radius);
  stroke(colour, width);
}

void fill_circle(float cx, float cy, float r, unsigned colour) {
  if (!(r > 0.0F) || !start()) return;
  circle_path(cx, cy, r);
  fill(colour);
}

void stroke_circle(float cx, float cy, float r, unsigned colour, float width) {
  if (!(r > 0.0F) || !start()) return;
  circle_path(cx, cy, r);
  stroke(colour, width);
}

void line(float x0, float y0, float x1, float y1, unsigned colour, float width) {
  if (!start()) return;
  cairo_move_to(g_cr, x0, y0);
  cairo_line_to(g_cr, x1, y1);
  stroke(colour, width, CAIRO_LINE_CAP_ROUND);
}

void fill_triangle(float x0, float y0, float x1, float y1, float x2, float y2, unsigned colour) {
  if (!start()) return;
  cairo_move_to(g_cr, x0, y0);
  cairo_line_to(g_cr, x1, y1);
  cairo_line_to(g_cr, x2, y2);
  cairo_close_path(g_cr);
  fill(colour);
}

void stroke_arc(float cx, float cy, float r, float from_deg, float to_deg, unsigned colour,
                float width) {
  const float sweep = to_deg - from_deg;
  if (!(r > 0.0F) || !(sweep > 0.0F) || !start()) return;
  if (sweep >= 360.0F) {
    circle_path(cx, cy, r);
    stroke(colour, width);
    return;
  }
  // The drawing library's zero is at three o'clock.
  const auto radians = [](float deg) { return (static_cast<double>(deg) - 90.0) * kPi / 180.0; };
  cairo_arc(g_cr, cx, cy, r, radians(from_deg), radians(to_deg));
  stroke(colour, width, CAIRO_LINE_CAP_ROUND);
}

void polyline(const float* xy, int n, unsigned colour, float width) {
  if (n < 2 || !start()) return;
  points_path(xy, n);
  stroke(colour, width, CAIRO_LINE_CAP_ROUND, CAIRO_LINE_JOIN_ROUND);
}

void fill_under(const float* xy, int n, float base_y, unsigned top_colour, unsigned bottom_colour) {
  if (n < 2 || !start()) return;
  const float* const past = end_of(xy, n);
  float top = xy[1];
  for (const float* p = xy; p != past; p += 2)
    top = std::min(top, p[1]);
  cairo_move_to(g_cr, xy[0], base_y);
  points_path(xy, n);
  cairo_line_to(g_cr, past[-2], base_y);
  cairo_close_path(g_cr);
  fill_vgrad(top, base_y, top_colour, bottom_colour);
}

void fill_rect_vgrad(const Rect& r, unsigned top, unsigned bottom) {
  fill_round_rect_vgrad(r, 0.0F, top, bottom);
}

void fill_round_rect_vgrad(const Rect& r, float radius, unsigned top, unsigned bottom) {
  if (is_empty(r) || !start()) return;
  round_rect_path(r, radius);
  fill_vgrad(r.y, r.y + r.h, top, bottom);
}

void push_clip(const Rect& r) {
  if (g_cr == nullptr) return;
  cairo_save(g_cr);
  cairo_new_path(g_cr);
  rect_path(r);
  cairo_clip(g_cr);
}

void pop_clip() {
  if (g_cr == nullptr) return;
  cairo_restore(g_cr);
}

// Images --------------------------------------------------------------

void image_png(const unsigned char* data, std::size_t size, const Rect& r) {
  if (data == nullptr || is_empty(r) || !start()) return;
  cairo_surface_t* image = image_for(data, size);
  if (cairo_surface_status(image) != CAIRO_STATUS_SUCCESS) return;
  const double w = cairo_image_surface_get_width(image);
  const double h = cairo_image_surface_get_height(image);
  cairo_save(g_cr);
  cairo_translate(g_cr, r.x, r.y);
  cairo_scale(g_cr, static_cast<double>(r.w) / w, static_cast<double>(r.h) / h);
  cairo_set_source_surface(g_cr, image, 0.0, 0.0);
  cairo_pattern_set_filter(cairo_get_source(g_cr), CAIRO_FILTER_GOOD);
  // Without padding, smoothing would fade the image at its edges and spill over them.
  cairo_pattern_set_extend(cairo_get_source(g_cr), CAIRO_EXTEND_PAD);
  cairo_rectangle(g_cr, 0.0, 0.0, w, h);
  cairo_fill(g_cr);
  cairo_restore(g_cr);
}

}  // namespace gfx
