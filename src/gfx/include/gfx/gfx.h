// The drawing layer: shapes, gradients, text and PNG images on one current cairo context, and the
// measures of text.
//
// Units are logical pixels, y grows downwards; the context's device scale makes them device pixels.
// A colour is 0xAARRGGBB, not premultiplied, alpha 0 being fully transparent. Text is UTF-8 in the
// family "Sans"; its size is the font's size in pixels, its direction that of its first letter that
// has one.
//
// Lifecycle: init, then per layer set_context and drawing, at the end shutdown. Without a current
// context drawing does nothing; without a measuring context all measures are 0. Nothing else fails,
// and degenerate shapes draw nothing. Thread: the interface's only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

using cairo_t = struct _cairo;  // NOLINT(bugprone-reserved-identifier): the library's own name

namespace gfx {

struct Rect {
  float x = 0.0F;  // left
  float y = 0.0F;  // top
  float w = 0.0F;
  float h = 0.0F;

  bool operator==(const Rect&) const = default;
};

enum class Align { Left = 0, Center = 1, Right = 2 };

// Set-up and frames ---------------------------------------------------

// Makes the measuring context. The argument is not used. Returns false when the text library
// yields none.
bool init(void* unused);

// Frees fonts and images and forgets the current context.
void shutdown();

// The context to draw into, not owned; null switches drawing off. It must live until another one is
// set.
void set_context(cairo_t* cr);

// The language whose letterforms are used where scripts are shared, such as "zh_TW" or "ja". "" for
// the environment's.
void set_language(const std::string& code);

// Does nothing: the layer has no size of its own.
void resize(int w, int h);

// Whether there is a context to draw into.
bool begin();

// Does nothing.
void end();

// The number of drawing calls that have reached a context since the start, so that tests can tell
// whether a frame was redrawn.
std::uint64_t draw_calls();

// Sets every pixel to the colour, which may be transparent.
void clear(unsigned colour);

// Shapes --------------------------------------------------------------

void fill_rect(const Rect& r, unsigned colour);

// A radius beyond half of the shorter side counts as that half.
void fill_round_rect(const Rect& r, float radius, unsigned colour);

// An outline of `width` that lies inside the rectangle.
void stroke_round_rect(const Rect& r, float radius, unsigned colour, float width);

void fill_circle(float cx, float cy, float r, unsigned colour);
void stroke_circle(float cx, float cy, float r, unsigned colour, float width);

// A segment with round ends.
void line(float x0, float y0, float x1, float y1, unsigned colour, float width);

void fill_triangle(float x0, float y0, float x1, float y1, float x2, float y2, unsigned colour);

// Angles in degrees, 0 at twelve o'clock, clockwise. A sweep of 360 or more is a ring without a
// seam; a shorter one has round ends.
void stroke_arc(float cx, float cy, float r, float from_deg, float to_deg, unsigned colour,
                float width);

// A line through n points, given as x, y pairs, with round joins and ends.
void polyline(const float* xy, int n, unsigned colour, float width);

// The area between a line through n points and the horizontal y = base_y, with a gradient from the
// topmost point down to base_y.
void fill_under(const float* xy, int n, float base_y, unsigned top_colour, unsigned bottom_colour);

void fill_rect_vgrad(const Rect& r, unsigned top, unsigned bottom);
void fill_round_rect_vgrad(const Rect& r, float radius, unsigned top, unsigned bottom);

// Limits drawing to the rectangle until the matching pop_clip. Calls nest.
void push_clip(const Rect& r);
void pop_clip();

// Text and images -----------------------------------------------------

// One line inside the rectangle, cut at its edges, never shrunk. `vcenter` centres it vertically,
// else it starts at the top.
void text(const Rect& r, const std::string& utf8, float size, unsigned colour, Align align,
          bool bold, bool vcenter);

// The same with an outline of one pixel around the glyphs, for text over a background of several
// colours.
void text_with_halo(const Rect& r, const std::string& utf8, float size, unsigned colour,
                    unsigned halo, Align align, bool bold, bool vcenter);

// A paragraph of regular weight, wrapped to the rectangle's width and cut at its edges. Returns the
// height of the whole text, 0 when nothing was drawn.
float text_wrapped(const Rect& r, const std::string& utf8, float size, unsigned colour,
                   Align align);

// The height text_wrapped needs at a width; 0 for an empty text.
float wrapped_height(const std::string& utf8, float size, float width);

// The width of one line; 0 for an empty text.
float text_width(const std::string& utf8, float size, bool bold);

// How many bytes of the text, in whole characters, are at most max_width wide in regular weight.
int fit_chars(const std::string& utf8, float size, float max_width);

// A PNG in memory, stretched over the rectangle. The image is decoded once and cached by the
// address of its bytes, which must stay valid until shutdown. A damaged image draws nothing.
void image_png(const unsigned char* data, std::size_t size, const Rect& r);

}  // namespace gfx
