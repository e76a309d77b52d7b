// Decisions of the window platform that need no window: sizes, places, borders, copied parts, names
// of cached textures. Pure: no SDL, no state.
//
// Units are window points unless a name says pixels. Nothing fails; resulting sizes are at least 1
// x 1.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

struct Size {
  int w = 0;
  int h = 0;

  bool operator==(const Size&) const = default;
};

struct Point {
  int x = 0;
  int y = 0;

  bool operator==(const Point&) const = default;
};

struct Area {
  int x = 0;
  int y = 0;
  int w = 0;
  int h = 0;

  bool operator==(const Area&) const = default;
};

// Time ----------------------------------------------------------------

// A 32-bit millisecond counter that wraps around after 49 days, made 64 bits wide.
struct WideTicks {
  std::uint64_t high = 0;
  std::uint32_t last = 0;
};
std::uint64_t widen(WideTicks& ticks, std::uint32_t reading);

// While the full view's title shines, the longest time between two frames.
inline constexpr std::chrono::milliseconds kLongestFrame{49};

// How long to wait for an event while nothing moves, when the last frame was begun this long ago:
// not beyond the moment in which more than kLongestFrame has passed. At least 1.
//   at_rest   nothing shines, so no frame is due
int idle_wait_ms(bool at_rest, std::chrono::nanoseconds passed);

// Modes ---------------------------------------------------------------

// The size of a mode at zoom 1.
Size mode_reference(bool compact, bool collapsed);

// The smallest size the user may drag the window to.
Size mode_minimum(bool compact, bool collapsed);

// The initial size of a mode: the saved one if it is sensible, reduced to the usable area of the
// display and the reference's aspect ratio. `usable` is empty if unknown.
Size mode_size(bool compact, bool collapsed, Size saved, std::optional<Area> usable);

// The position of a window: the saved one if the middle of its title strip would be on a display,
// else the middle of the first display, or for a small window its lower right corner.
//   saved     -1 in either coordinate: none
//   displays  the usable areas of all displays that have one
//   first     the usable area of display 0, if it is known
Point place_for(Point saved, Size window, const std::vector<Area>& displays,
                std::optional<Area> first);

// Shape ---------------------------------------------------------------

// Two sizes are the same but for rounding while they are less than this apart, in points.
inline constexpr int kTolerance = 2;
bool differ(Size a, Size b);

// A window that rests after a resize, and that the window manager has not taken into its hands.
struct Rested {
  Size now;
  Size asked;                 // what was last asked for
  Size last;                  // the last correct size
  bool refused = false;       // it has kept the size from before that request
  bool may_be_tiled = false;  // and nobody would say so
  int steps = 0;              // how many sizes it has had until it rested
};

// The size that is right for it. From any other one, but for rounding, it is put into shape.
Size right_size(const Rested& window);

// The size that restores the shape of the reference after a resize; the side that moved more wins.
// The present size, where that is the same but for rounding.
//   last     the last correct size
//   usable   the size of the display's usable area, which is not exceeded; empty when not known
Size corrected_size(Size now, Size last, Size reference, Size minimum, std::optional<Size> usable);

// Frameless border ----------------------------------------------------

// The parts of a frameless window's border that can be dragged.
enum class Border { None, TopLeft, TopRight, BottomLeft, BottomRight, Top, Bottom, Left, Right };

// The border is 10 points wide, a corner reaches 18 points along both of its edges.
Border border_at(Point p, Size window);

// Which of the four resize pointers belongs to a border; -1 for none.
inline constexpr int kResizeNwse = 0;
inline constexpr int kResizeNesw = 1;
inline constexpr int kResizeWe = 2;
inline constexpr int kResizeNs = 3;
inline constexpr int kResizeCursors = 4;
int resize_cursor(Border border);

// The limits of a double click, unless the desktop sets its own. SDL itself allows a distance of 32
// points.
struct DoubleClick {
  std::uint64_t ms = 500;
  int distance = 5;  // points, in either direction
};

// The desktop's limits, if they make sense.
DoubleClick double_click(std::optional<std::int32_t> ms, std::optional<std::int32_t> distance);

// Whether two presses make a double click.
bool is_double_click(const DoubleClick& most, std::uint64_t elapsed_ms, Point first, Point second);

// Whether a press is the one before it, reported once more: nobody presses twice that fast. SDL 3
// does so on X11 with presses of no length.
bool is_repeated_press(std::uint64_t elapsed_ms, Point first, Point second);

// Textures ------------------------------------------------------------

// The cache's name for a picture of w x h logical pixels at `scale` device pixels each.
std::string key(const std::string& name, int n, float w, float h, bool dark, double scale);

// A rectangle of a texture and where on the screen it goes, both in device pixels and of one size.
struct Part {
  Area from;
  Area to;
};

// The part (x, y, w, h) of a picture that is at (ox, oy), all in logical pixels, cut to the
// texture. Empty if nothing is left.
std::optional<Part> part_of(Size texture_pixels, double scale, float x, float y, float w, float h,
                            float ox, float oy);

// The state of a column of segments: how many are lit from the bottom, and the segment of the peak
// cap, -1 for none.
struct Column {
  int lit = 0;
  int peak = -1;

  bool operator==(const Column&) const = default;
};

// Segments from first to last, counted from the bottom; none where last < first.
struct Span {
  int first = 0;
  int last = -1;

  bool operator==(const Span&) const = default;
};

// The segments that look different: around the top lit one, and at the peak cap.
std::array<Span, 2> changed_segments(const Column& before, const Column& now);

// Renderers -----------------------------------------------------------

// Whether the OpenGL renderer of this name (GL_RENDERER) is a software renderer.
bool is_software_rasterizer(std::string_view name);

// Turns n pixels with premultiplied alpha (0xAARRGGBB) into pixels with straight alpha.
void to_straight_alpha(std::uint32_t* pixels, std::size_t n);

}  // namespace platform
