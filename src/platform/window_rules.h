// The decisions of the window platform that need no window: sizes, places, borders, the shape of a
// copied part, the name of a cached texture. Pure: no SDL, no state.
//
// Units are window points unless a name says pixels. Nothing fails; a size that comes out is at
// least 1 x 1.
#pragma once

#include <array>
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

// Where the full view's title shines, a frame is due when the last one is older.
inline constexpr std::uint64_t kLongestFrameMs = 49;

// How long to wait for an event while nothing moves, when the last frame is `passed_ms` old: not
// beyond the next one that is due. At least 1.
//   at_rest   nothing shines, so that none is due
int idle_wait_ms(bool at_rest, std::uint64_t passed_ms);

// Modes ---------------------------------------------------------------

// The size of a mode at zoom 1.
Size mode_reference(bool compact, bool collapsed);

// The smallest size the user may drag the window to.
Size mode_minimum(bool compact, bool collapsed);

// The size a mode starts with: the saved one where that is a sensible size, shrunk to the usable
// area of the display and to the shape of the reference. `usable` is empty when it is not known.
Size mode_size(bool compact, bool collapsed, Size saved, std::optional<Area> usable);

// Where a window goes: to the saved position when the middle of its title strip is on one of the
// displays there, else to the middle of the first display, a small window to its lower right
// corner.
//   saved     -1 in either coordinate: none
//   displays  the usable areas of all displays that have one
//   first     the usable area of display 0, if it is known
Point place_for(Point saved, Size window, const std::vector<Area>& displays,
                std::optional<Area> first);

// Shape ---------------------------------------------------------------

// The size that restores the shape of the reference after a resize; the side that moved more wins.
//   last     the size that was last known to be right
//   usable   the size of the display's usable area, which is not exceeded; empty when not known
Size corrected_size(Size now, Size last, Size reference, Size minimum, std::optional<Size> usable);

// Frameless border ----------------------------------------------------

// What the user grabs at the edge of a window without a frame.
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

// How far apart two presses of a double click are at most, unless the desktop says otherwise. SDL
// itself allows 32 points.
struct DoubleClick {
  std::uint64_t ms = 500;
  int distance = 5;  // points, in either direction
};

// The desktop's own numbers, where there are any that make sense.
DoubleClick double_click(std::optional<std::int32_t> ms, std::optional<std::int32_t> distance);

// Whether a press that follows another one makes a double click of it.
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

// The part (x, y, w, h) of a picture that lies at (ox, oy), all in logical pixels, cut to the
// texture. Empty when nothing of it is left.
std::optional<Part> part_of(Size texture_pixels, double scale, float x, float y, float w, float h,
                            float ox, float oy);

// What a column of segments shows: how many are lit from the bottom, and the segment of the peak
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

// Which segments look different: around the height of the lit ones, and at the peak cap.
std::array<Span, 2> changed_segments(const Column& before, const Column& now);

// Renderers -----------------------------------------------------------

// Whether what OpenGL calls its renderer (GL_RENDERER) computes on the processor.
bool is_software_rasterizer(std::string_view name);

// Turns n pixels with premultiplied alpha (0xAARRGGBB) into pixels with straight alpha.
void to_straight_alpha(std::uint32_t* pixels, std::size_t n);

}  // namespace platform
