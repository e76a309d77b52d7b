// DESIGN: every call sets all it needs (path, colour, line), so that none depends on the one
// before; only push_clip leaves something behind. Fonts and images are made once and kept, because
// a frame uses the same few again and again. Texts are laid out every time: they change too
// much.
#include "gfx/gfx.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <numbers>
#include <unordered_map>

namespace gfx {
namespace {

struct Release {
  void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
  void operator()(cairo_pattern_t* p) const { cairo_pattern_destroy(p); }
  void operator()(PangoContext* c) const { g_object_unref(c); }
  void operator()(PangoLayout* l) const { g_object_unref(l); }
  void operator()(PangoLayoutIter* i) const { pango_layout_iter_free(i); }
  void operator()(PangoFontDescription* f) const { pango_font_description_free(f); }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;

constexpr double kPi = std::numbers::pi;
// Far beyond any screen, and far below what overflows the text library's units.
constexpr float kLargestTextSize = 100000.0F;

// All of it: main thread
cairo_t* g_cr = nullptr;              // not owned
PangoLanguage* g_language = nullptr;  // the library's; null: the environment's
Owned<PangoContext> g_measure;
std::unordered_map<std::uint64_t, Owned<PangoFontDescription>> g_fonts;
std::unordered_map<const unsigned char*, Owned<cairo_surface_t>> g_images;  // also failed ones
std::uint64_t g_draw_calls = 0;

// Paths and paint
// -----------------------------------------------------------------------------------------------------

// Begins a drawing call: false without a context. The path is emptied because text leaves a point.
bool start() {
  if (g_cr == nullptr) return false;
  ++g_draw_calls;
  cairo_new_path(g_cr);
  return true;
}

// Comparisons are written so that what is not a number counts as nothing to draw.
bool is_empty(const Rect& r) {
  return !(r.w > 0.0F && r.h > 0.0F);
}

double channel(unsigned colour, unsigned shift) {
  return static_cast<double>((colour >> shift) & 0xffU) / 255.0;
}

void set_colour(unsigned c) {
  cairo_set_source_rgba(g_cr, channel(c, 16), channel(c, 8), channel(c, 0), channel(c, 24));
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

// Text
// ----------------------------------------------------------------------------------------------------------------

bool has_text(const std::string& utf8, float size) {
  return !utf8.empty() && size > 0.0F && size < kLargestTextSize;
}

const PangoFontDescription* font_for(float size, bool bold) {
  const auto hundredths = static_cast<std::uint64_t>(std::floor(size * 100.0F));
  Owned<PangoFontDescription>& font = g_fonts[(hundredths << 1U) | (bold ? 1U : 0U)];
  if (font == nullptr) {
    font.reset(pango_font_description_new());
    pango_font_description_set_family_static(font.get(), "Sans");
    pango_font_description_set_weight(font.get(),
                                      bold ? PANGO_WEIGHT_SEMIBOLD : PANGO_WEIGHT_NORMAL);
    pango_font_description_set_absolute_size(font.get(), static_cast<double>(size) * PANGO_SCALE);
  }
  return font.get();
}

void set_text(PangoLayout* layout, const std::string& utf8, std::size_t bytes) {
  pango_layout_set_text(layout, utf8.data(), static_cast<int>(bytes));
}

void use_language(PangoLayout* layout) {
  if (layout == nullptr || g_language == nullptr) return;
  pango_context_set_language(pango_layout_get_context(layout), g_language);
  pango_layout_context_changed(layout);
}

// Where text is measured outside of drawing: null before init.
Owned<PangoLayout> new_measuring_layout() {
  Owned<PangoLayout> layout(g_measure == nullptr ? nullptr : pango_layout_new(g_measure.get()));
  use_language(layout.get());
  return layout;
}

Owned<PangoLayout> new_drawing_layout() {
  Owned<PangoLayout> layout(pango_cairo_create_layout(g_cr));
  use_language(layout.get());
  return layout;
}

// One line, however long. Null when there is nothing to lay it out on.
Owned<PangoLayout> line_layout(const std::string& utf8, float size, bool bold) {
  Owned<PangoLayout> layout = g_cr == nullptr ? new_measuring_layout() : new_drawing_layout();
  if (layout == nullptr) return layout;
  pango_layout_set_font_description(layout.get(), font_for(size, bold));
  pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
  pango_layout_set_wrap(layout.get(), PANGO_WRAP_CHAR);
  pango_layout_set_width(layout.get(), -1);
  set_text(layout.get(), utf8, utf8.size());
  return layout;
}

// With no-break spaces before dashes: no line begins with one.
std::string with_bound_dashes(std::string utf8) {
  for (const std::string_view dash : {" –", " —"}) {
    for (std::size_t at = 0; (at = utf8.find(dash, at)) != std::string::npos; at += dash.size())
      utf8.replace(at, 1, "\u00A0");
  }
  return utf8;
}

void set_paragraph(PangoLayout* layout, const std::string& utf8, float size, float width) {
  // A negative width would mean one of any length.
  const double units = std::clamp(static_cast<double>(width) * PANGO_SCALE, 0.0,
                                  static_cast<double>(std::numeric_limits<int>::max()));
  pango_layout_set_font_description(layout, font_for(size, false));
  pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
  pango_layout_set_width(layout, static_cast<int>(units));
  const std::string bound = with_bound_dashes(utf8);
  set_text(layout, bound, bound.size());
}

struct Size {
  int w = 0;
  int h = 0;
};

Size pixel_size(PangoLayout* layout) {
  Size s;
  pango_layout_get_pixel_size(layout, &s.w, &s.h);
  return s;
}

// How much of the free space lies left of a text.
double share_before(Align align) {
  if (align == Align::Left) return 0.0;
  return align == Align::Center ? 0.5 : 1.0;
}

// Line by line, because the text library takes left for right in paragraphs that run from right to
// left, and one text can hold paragraphs of both directions.
void show_lines(PangoLayout* layout, const Rect& r, Align align) {
  const Owned<PangoLayoutIter> line(pango_layout_get_iter(layout));
  do {
    PangoRectangle box;
    pango_layout_iter_get_line_extents(line.get(), nullptr, &box);
    const double free = static_cast<double>(r.w) - pango_units_to_double(box.width);
    const double baseline = pango_units_to_double(pango_layout_iter_get_baseline(line.get()));
    cairo_move_to(g_cr, r.x + free * share_before(align), r.y + baseline);
    pango_cairo_show_layout_line(g_cr, pango_layout_iter_get_line_readonly(line.get()));
  } while (pango_layout_iter_next_line(line.get()) != FALSE);
}

// The end of the character before byte `end`: one that continues a character is 10xxxxxx.
std::size_t step_back(const std::string& utf8, std::size_t end) {
  do {
    --end;
  } while (end > 0 && (static_cast<unsigned char>(utf8[end]) & 0xc0U) == 0x80U);
  return end;
}

// Images
// --------------------------------------------------------------------------------------------------------------

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

// Set-up and frames
// ---------------------------------------------------------------------------------------------------

bool init(void* /*unused*/) {
  PangoFontMap* fonts = pango_cairo_font_map_get_default();  // the library's own
  if (fonts == nullptr) return false;
  g_measure.reset(pango_font_map_create_context(fonts));
  return g_measure != nullptr;
}

void shutdown() {
  g_images.clear();
  g_fonts.clear();
  g_measure.reset();
  // The fonts behind it, which the library would otherwise keep: nobody else lays text out.
  pango_cairo_font_map_set_default(nullptr);
  g_cr = nullptr;
}

void set_context(cairo_t* cr) {
  g_cr = cr;
}

void set_language(const std::string& code) {
  // Chinese is written in two ways, which the library tells apart by country.
  const std::string tag = code == "zh" ? "zh-cn" : code;
  g_language = tag.empty() ? nullptr : pango_language_from_string(tag.c_str());
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

// Shapes
// --------------------------------------------------------------------------------------------------------------

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

// Text and images
// -----------------------------------------------------------------------------------------------------

void text(const Rect& r, const std::string& utf8, float size, unsigned colour, Align align,
          bool bold, bool vcenter) {
  if (!has_text(utf8, size) || !start()) return;
  const Owned<PangoLayout> layout = line_layout(utf8, size, bold);
  const Size s = pixel_size(layout.get());
  const double free_w = static_cast<double>(r.w) - s.w;
  const double free_h = static_cast<double>(r.h) - s.h;
  push_clip(r);
  set_colour(colour);
  cairo_move_to(g_cr, r.x + free_w * share_before(align), r.y + (vcenter ? free_h * 0.5 : 0.0));
  pango_cairo_show_layout(g_cr, layout.get());
  pop_clip();
}

float text_wrapped(const Rect& r, const std::string& utf8, float size, unsigned colour,
                   Align align) {
  if (!has_text(utf8, size) || !start()) return 0.0F;
  const Owned<PangoLayout> layout = new_drawing_layout();
  set_paragraph(layout.get(), utf8, size, r.w);
  push_clip(r);
  set_colour(colour);
  show_lines(layout.get(), r, align);
  pop_clip();
  return static_cast<float>(pixel_size(layout.get()).h);
}

float wrapped_height(const std::string& utf8, float size, float width) {
  if (!has_text(utf8, size)) return 0.0F;
  const Owned<PangoLayout> layout = new_measuring_layout();
  if (layout == nullptr) return 0.0F;
  set_paragraph(layout.get(), utf8, size, width);
  return static_cast<float>(pixel_size(layout.get()).h);
}

float text_width(const std::string& utf8, float size, bool bold) {
  if (!has_text(utf8, size)) return 0.0F;
  const Owned<PangoLayout> layout = line_layout(utf8, size, bold);
  return layout == nullptr ? 0.0F : static_cast<float>(pixel_size(layout.get()).w);
}

int fit_chars(const std::string& utf8, float size, float max_width) {
  if (!has_text(utf8, size)) return 0;
  const Owned<PangoLayout> layout = line_layout(utf8, size, false);
  if (layout == nullptr) return 0;
  std::size_t bytes = utf8.size();
  while (bytes > 0 && static_cast<float>(pixel_size(layout.get()).w) > max_width) {
    bytes = step_back(utf8, bytes);
    set_text(layout.get(), utf8, bytes);
  }
  return static_cast<int>(bytes);
}

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
