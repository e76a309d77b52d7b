// The interface: the window's contents and its reaction to input. It draws through gfx, acts
// through audio and platform, and edits the one Settings record in place.
//
// Vocabulary: the *full* view is the main window, *collapsed* when its sliders are folded away; the
// *compact* view is the small strip. Positions and sizes are logical pixels: window points divided
// by the view's zoom. The *base* layer contains everything that does not move, the *strips* are
// pictures of all segments of the bars and meters, from which the lit ones are copied, and the
// *overlay* is on top. A *gain* is in dB, within eq::kMaxGainDb.
//
// Lifecycle: init; per frame on_frame and, if take_dirty returns true, draw_base and draw_overlay;
// at the end persist and shutdown. Thread: the main thread only. Values out of range are clamped
// silently.
#pragma once

#include <string>
#include <vector>

#include "gfx/gfx.h"

struct DevicePresets;
struct Settings;

namespace ui {

// Lifecycle -----------------------------------------------------------

// Opens the settings panel when the window first shows. Called before init.
void open_settings_at_start();

// A crash report was found at start: shows the note that offers it to the user. May be called
// before init.
void set_crash_report(const std::string& text);

// Imports a file (see import_file) once the window shows. Called before init.
void import_at_start(const std::string& path);

// Sets the presets of output devices (not owned) and sends their curves to the engine; null
// remembers them for this run only. Called before init.
//   keep_choice  the first device that plays gets the settings' preset and curve
void set_device_presets(DevicePresets* presets, bool keep_choice);

// Sets the settings (not owned), which are edited in place until shutdown; null shows a view
// without settings.
//   autostart  the settings panel's first value of "start at login"
void init(Settings* settings, bool autostart);
void shutdown();

// Stores the window's position and size in the settings and saves them; a failed save is tried
// again a minute later.
void persist();

// Frames --------------------------------------------------------------

// Advances animation, spectrum, meters and delayed saving to platform::ticks_ms(). Returns true
// while something moves.
bool on_frame();

// Returns whether the layers' contents have changed since the last call, and resets that.
bool take_dirty();

// The size of the current view at zoom 1.
void reference_size(int* w, int* h);

// How a window of w x h points shows the view.
struct View {
  float zoom = 1.0F;  // points per logical pixel, 0.25 at least
  float w = 0.0F;     // logical size
  float h = 0.0F;
};
View view_for(int w, int h);

// Device pixels per logical pixel, for snapping segments; values that are not positive count as 1.
void set_pixel_scale(float scale);

// Whether animations are skipped. Set before each frame.
void set_reduced_motion(bool reduced);

// Each paints a layer of w x h. draw_overlay returns whether it drew anything.
void draw_base(int w, int h);
bool draw_overlay(int w, int h);

// The moving parts ----------------------------------------------------

// The places of the segments, as last painted. A rectangle without a width is not shown.
struct BarView {
  gfx::Rect bars;
  gfx::Rect meters;
  gfx::Rect glass;
  bool show_glass = false;
  bool compact = false;
};
BarView bar_view();

// Columns of segments, in whole device pixels.
struct SegmentGeom {
  int columns = 0;
  float column_width = 0.0F;
  float gap = 0.0F;             // between columns
  float segment_height = 0.0F;  // the lit part
  float pitch = 0.0F;           // from one segment to the next
  int segments = 0;             // per column, 4 at least
};
inline constexpr int kBars = 31;
inline constexpr int kMeters = 2;
SegmentGeom bar_geom(float w, float h, bool compact);
SegmentGeom meter_geom(float w, float h);

// For each column the number of lit segments (0 to n) and the segment of the peak cap (-1 for
// none).
void bar_segments(int n, int lit[kBars], int peak[kBars]);
void meter_segments(int n, int lit[kMeters], int peak[kMeters]);

// The brightness of the segments in a strip.
inline constexpr int kUnlit = 0;
inline constexpr int kLit = 1;
inline constexpr int kPeak = 2;  // the brightest
inline constexpr int kModes = 3;

// Paint all segments of an area of w x h at the origin.
void paint_bars(int mode, float w, float h, bool compact);
void paint_meters(int mode, float w, float h);

// The brightness of the top lit segment and the peak cap: on a light background the brightest would
// not be seen.
int cap_mode();

// The sheen over the spectrum panel, of w x h at the origin.
void paint_glass(float w, float h);

// The program's icon at the origin.
void paint_logo(float size);

// The animated product name. No glyphs in a view that has none.
struct TitleGlyph {
  std::string text;
  float x = 0.0F;  // offset from the title's position
  float width = 0.0F;
};
struct TitleView {
  float x = 0.0F;
  float y = 0.0F;
  float size = 0.0F;    // of the font
  float height = 0.0F;  // of a glyph's picture
  std::vector<TitleGlyph> glyphs;
};
inline constexpr float kGlyphMargin = 8.0F;  // extra width of a glyph's picture
// The result is valid until the next call.
const TitleView& title_view();

// Paints a glyph in white, to be tinted, centred in (0, 0, w + kGlyphMargin, h).
void paint_glyph(const std::string& text, float size, float w, float h);

// The tint of glyph i of n at t seconds, 0xAARRGGBB, opaque.
unsigned title_color(int i, int n, double t);

// Input, in logical pixels --------------------------------------------

enum class Key { Escape = 0, Enter = 1, Backspace = 2 };

void on_mouse_move(float x, float y);
void on_mouse_down(float x, float y);  // the left button
void on_mouse_up();
void on_mouse_leave();
void on_double_click(float x, float y);      // replaces the second on_mouse_down
void on_wheel(float x, float y, int steps);  // -1 away from the user, +1 towards
void on_key(Key key);
void on_text(const std::string& text);  // ignored where no text can be typed

// The pointer shapes, and the one for a position.
inline constexpr int kCursorArrow = 0;
inline constexpr int kCursorHand = 1;
inline constexpr int kCursorMove = 2;  // the window can be moved here
inline constexpr int kCursorDrag = 3;  // a slider is being dragged
int cursor_at(float x, float y);

// Leaves the compact view if necessary and opens the settings panel.
void open_settings();

// Imports an equalizer file of another program: in the full view, the sliders glide to its curve
// and the save dialog opens with its name. They glide back unless the user saves. The reason for
// refusing a file is logged, and shown for five seconds.
void import_file(const std::string& path);

}  // namespace ui
