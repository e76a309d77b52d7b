// DESIGN: fonts are created once and kept, because every frame uses the same few. Texts are laid
// out every time, because they change too often.
#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <unordered_map>

#include "gfx/gfx.h"
#include "gfx_private.h"

namespace gfx {
namespace {

// Far beyond any screen, and far below what overflows the text library's units.
constexpr float kLargestTextSize = 100000.0F;

// All of it: main thread
PangoLanguage* g_language = nullptr;  // the library's; null: the environment's
Owned<PangoContext> g_measure;
std::unordered_map<std::uint64_t, Owned<PangoFontDescription>> g_fonts;

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

// For measuring outside of drawing; null before init.
Owned<PangoLayout> new_measuring_layout() {
  Owned<PangoLayout> layout(g_measure == nullptr ? nullptr : pango_layout_new(g_measure.get()));
  use_language(layout.get());
  return layout;
}

Owned<PangoLayout> new_drawing_layout() {
  Owned<PangoLayout> layout(pango_cairo_create_layout(context()));
  use_language(layout.get());
  return layout;
}

// A single line of any length. Null without a context.
Owned<PangoLayout> line_layout(const std::string& utf8, float size, bool bold) {
  Owned<PangoLayout> layout = context() == nullptr ? new_measuring_layout() : new_drawing_layout();
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

// The share of the free space that is left of a text.
double share_before(Align align) {
  if (align == Align::Left) return 0.0;
  return align == Align::Center ? 0.5 : 1.0;
}

// Line by line, because the text library swaps left and right in paragraphs from right to left, and
// one text may contain paragraphs of both directions.
void show_lines(PangoLayout* layout, const Rect& r, Align align) {
  const Owned<PangoLayoutIter> line(pango_layout_get_iter(layout));
  do {
    PangoRectangle box;
    pango_layout_iter_get_line_extents(line.get(), nullptr, &box);
    const double free = static_cast<double>(r.w) - pango_units_to_double(box.width);
    const double baseline = pango_units_to_double(pango_layout_iter_get_baseline(line.get()));
    cairo_move_to(context(), r.x + free * share_before(align), r.y + baseline);
    pango_cairo_show_layout_line(context(), pango_layout_iter_get_line_readonly(line.get()));
  } while (pango_layout_iter_next_line(line.get()) != FALSE);
}

// The end of the character before byte `end`: one that continues a character is 10xxxxxx.
std::size_t step_back(const std::string& utf8, std::size_t end) {
  do {
    --end;
  } while (end > 0 && (static_cast<unsigned char>(utf8[end]) & 0xc0U) == 0x80U);
  return end;
}

}  // namespace

bool init(void* /*unused*/) {
  PangoFontMap* fonts = pango_cairo_font_map_get_default();  // the library's own
  if (fonts == nullptr) return false;
  g_measure.reset(pango_font_map_create_context(fonts));
  return g_measure != nullptr;
}

void free_fonts() {
  g_fonts.clear();
  g_measure.reset();
  // Frees its fonts, which the library would otherwise keep; nothing else lays out text.
  pango_cairo_font_map_set_default(nullptr);
}

void set_language(const std::string& code) {
  // Chinese is written in two ways, which the library tells apart by country.
  const std::string tag = code == "zh" ? "zh-cn" : code;
  g_language = tag.empty() ? nullptr : pango_language_from_string(tag.c_str());
}

void text(const Rect& r, const std::string& utf8, float size, unsigned colour, Align align,
          bool bold, bool vcenter) {
  text_with_halo(r, utf8, size, colour, 0U, align, bold, vcenter);
}

void text_with_halo(const Rect& r, const std::string& utf8, float size, unsigned colour,
                    unsigned halo, Align align, bool bold, bool vcenter) {
  if (!has_text(utf8, size) || !start()) return;
  const Owned<PangoLayout> layout = line_layout(utf8, size, bold);
  const Size s = pixel_size(layout.get());
  const double x = r.x + (static_cast<double>(r.w) - s.w) * share_before(align);
  const double y = r.y + (vcenter ? (static_cast<double>(r.h) - s.h) * 0.5 : 0.0);
  push_clip(r);
  if (halo >> 24U != 0U) {
    cairo_move_to(context(), x, y);
    pango_cairo_layout_path(context(), layout.get());
    cairo_set_line_width(context(), 3.0);  // half of it lies outside the glyphs
    cairo_set_line_join(context(), CAIRO_LINE_JOIN_ROUND);
    set_colour(halo);
    cairo_stroke(context());
  }
  set_colour(colour);
  cairo_move_to(context(), x, y);
  pango_cairo_show_layout(context(), layout.get());
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

}  // namespace gfx
