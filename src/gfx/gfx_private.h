// Shared by the sources of the drawing layer.
#pragma once

#include <pango/pangocairo.h>

#include <memory>

namespace gfx {

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

// The current context; null: nothing is drawn.
cairo_t* context();

// Begins a drawing call: false without a context. The path is emptied because text leaves a point.
bool start();

void set_colour(unsigned c);

// Frees the fonts and what measures text.
void free_fonts();

}  // namespace gfx
