// Inside the window platform. Only the sources of this folder include this.
//
//   app_sdl.cpp       run_gui: start, frame loop, teardown
//   window.cpp        the window: its modes, size and place, and the scale of what it shows
//   raise.cpp         brings it to the front
//   window_state.cpp  the window's real state and size, as the window manager has set them
//   aspect.cpp        keeps the window in the shape of its view
//   renderer.cpp      the renderer, and the report about the graphics
//   layers.cpp        the base and overlay layers that the interface draws into
//   strips.cpp        the cache of pictures from which moving parts are copied
//   compose.cpp       puts layers, bars, meters and title on the screen
//   direct.cpp        sends small parts to an X server without waiting for it
//   input.cpp         passes events to the interface; pointers, the frameless window's border
//   keys.cpp          keys, first offered to a screen reader that listens to them
//   calls.cpp         calls over the session bus
//   reader.cpp        the window for a screen reader, and its commands
//   signals.cpp       requests to end and to raise the window
//   compat.cpp        time, and functions that not every SDL or display has
//   x11.cpp           the functions of the X11 library that we call
//   xsettings.cpp     the desktop's settings for programs on its X server
//   window_rules.cpp  the decisions behind it, pure
//   frame_stats.h     how long the phases of a frame take, in debug builds
//
// Vocabulary: *window points* are the desktop's unit for windows; a *logical pixel* is the
// interface's unit, `view().zoom` points wide; a *device pixel* is the renderer's: pixel_scale() of
// them make a logical pixel.
//
// There is one window and one renderer. Thread: the main thread only, but for the signal handler.
#pragma once

#include <SDL.h>
#include <cairo.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "desktop/desktop.h"
#include "platform/platform.h"
#include "ui/ui.h"
#include "window_rules.h"

struct Settings;

namespace platform {

// window.cpp ----------------------------------------------------------

// Creates the window, hidden. The settings are not owned and must outlive it. Returns false after
// logging the reason.
bool create_window(Settings* settings);
void destroy_window();

// Null while there is none.
SDL_Window* window();

// Whether the window has any of these flags of SDL's.
bool window_has(Uint32 flags);

bool video_driver_is(std::string_view name);

// Whether the settings say compact.
bool compact();

// The smallest size for the current view.
Size least_window_size();

// Applies the compact or the full mode: frame, size, place, stacking. The window manager obeys
// reliably only once the window is shown.
void apply_mode(bool compact, bool on_top);

// Moves the window to where apply_mode wanted it, if the window manager has added or removed its
// frame since. Call it once the window rests.
void settle_place();

// Reads the window's and the renderer's size into view() and pixel_scale(). A changed scale empties
// the cache.
void update_scale();

// Makes the next update_scale find the scale changed.
void forget_scale();

const ui::View& view();
double pixel_scale();  // device pixels per logical pixel

// The part of a display that panels leave free; empty if unknown.
std::optional<Area> usable_area(int display);

// raise.cpp -----------------------------------------------------------

// Brings the window to the front and gives it the keyboard, even if it was minimised.
//   activation  the launcher's proof that the user asked for it; may be empty
void raise_window(const desktop::Activation& activation);

// Removes the window from the screen and from lists of windows, until it is raised.
void hide_window();

// window_state.cpp ----------------------------------------------------

struct WindowState {
  bool taken = false;  // maximized, also in one direction, full screen or tiled
  bool high = false;   // maximized vertically
  bool wide = false;   // maximized horizontally
  Size size;           // the window's real size, without its frame
  Point place;
};
WindowState window_state();

// Sends SDL the event that it has missed, with the window's real size; no request goes to the
// window manager. Returns false if SDL knows the size already.
bool report_size(Size real);

// Sends SDL a release of the left button that the window has missed.
void report_release();

// Maximizes a maximized window once more, after a limit of its size has been lifted.
void fill_again(const WindowState& state);

// Ends every state in which the window manager decides about the size.
void end_managed_state();

// aspect.cpp ----------------------------------------------------------

// Adopts the current view's shape when it is a new one, and sends it to the window manager. Call it
// also before requesting a size of the new shape, because the window manager enforces the old one.
void adopt_aspect();

// Requests a size of the view's shape; the result does not count as the user's doing.
void ask_for_size(Size size);

// Records a size as requested and right for the view, and schedules a check that it was granted.
void note_window_size(Size size);

// Returns true if SDL believed in a wrong size and has just been sent the real one: skip drawing
// until that event is handled. Call it before drawing.
bool report_missed_size();

// The size and place to be saved: those from before the window was maximized or tiled, and a size
// that the window manager merely rounded as it was requested. Empty if unknown.
std::optional<Size> lasting_size();
std::optional<Point> lasting_place();

// The window's size has changed: schedules a check of its shape for when it rests.
void schedule_aspect_correction();

// Carries out a check that is due.
void correct_aspect();

// renderer.cpp --------------------------------------------------------

// Creates the renderer, accelerated if possible, and describes the graphics in the log and for
// crash reports. Returns false after logging the reason.
bool create_renderer();
void destroy_renderer();

// Null while there is none.
SDL_Renderer* renderer();

// Whether it renders in software.
bool draws_in_software();

// Size of the renderer's picture in device pixels.
Size output_size();

// The graphics device was lost, with all textures.
void set_device_lost();

// Replaces a lost renderer. Returns false if no new one can be created.
bool recover_renderer();

// The blend mode for pictures with transparency.
SDL_BlendMode blend_mode();

// Converts a finished picture, in place, to the form that blend_mode() expects.
void adapt_alpha(cairo_surface_t* surface);

// layers.cpp ----------------------------------------------------------

// Makes the interface draw both layers and uploads them.
void draw_layers();

// Marks both layers as out of date.
void invalidate_layers();
bool layers_ready();
void destroy_layers();

// Each copies a layer over the whole screen, unless it is empty.
void copy_base();
void copy_overlay();

// strips.cpp ----------------------------------------------------------

// A handle on one cached texture, kept by its user. Checking it allocates nothing.
struct Strip {
  SDL_Texture* texture = nullptr;  // owned by the cache; null if it could not be created
  float w = -1.0F;                 // logical size it was made for
  float h = -1.0F;
  double pixel_scale = 0.0;
  bool dark = false;
  unsigned generation = 0;  // of the cache
};

// Whether the handle is valid for this size, the current theme and the current scale.
bool is_current(const Strip& strip, float w, float h);

// Finds the texture by its key, or makes it: `paint` draws w x h logical pixels at the origin
// through gfx. May empty the cache first, which invalidates other handles.
void fetch(Strip& strip, const std::string& name, int n, float w, float h,
           const std::function<void()>& paint);

// Destroys every texture.
void clear_cache();

// The number of times that has happened.
unsigned cache_generation();

// compose.cpp ---------------------------------------------------------

// Composes a frame from the existing pictures and presents it; in software only the parts that have
// changed. `t`: the time in seconds, for the title's colours.
void compose(double t);

// Makes the next frame a complete one.
void invalidate_frame();

// direct.cpp ----------------------------------------------------------

// Sends these parts of the window's picture (device pixels, inside it) to the screen without
// waiting for an answer. Returns false if that is impossible or expensive; then SDL has to show
// them.
bool put_small(const std::vector<SDL_Rect>& parts);

// input.cpp -----------------------------------------------------------

void open_input();
void close_input();

// Passes one event on to the interface.
void handle(const SDL_Event& event);

// Whether the user wants less motion, according to the desktop's portal or its X settings.
bool less_motion();

// Detects a release that another window received. Call it once a frame.
void find_lost_release();

// SDL's hit test for the frameless window.
SDL_HitTestResult on_hit_test(SDL_Window* window, const SDL_Point* point, void* user);

// keys.cpp ------------------------------------------------------------

// Returns true if the event must not be handled now: release_keys handles it later, unless a screen
// reader takes the key.
bool hold_back(const SDL_Event& event);

// Once a frame: handles held events that the reader does not take. Returns whether keys still wait
// for its answer, at most half a second.
bool release_keys();

// calls.cpp -----------------------------------------------------------

// Makes the program callable over the session bus. The settings are not owned and must outlive
// that.
void begin_calls(const Settings* settings);

// Carries out the calls since the last frame.
void answer_calls();

// reader.cpp ----------------------------------------------------------

// If there is a screen reader: carries out its commands since the last frame, or else publishes the
// window as painted.
void serve_reader();

// signals.cpp ---------------------------------------------------------

bool quit_requested();
bool take_raise_request();

}  // namespace platform

namespace compat {

// SDL's milliseconds in 64 bits.
std::uint64_t ticks();

// The address of a function of SDL's that older versions lack, or null.
void* sdl_symbol(const char* name);

// From here on a request that the display refuses does not end the program. SDL wakes itself with a
// message to the window over a second connection, which may arrive after the window is gone. Call
// it also before SDL has a video driver: before SDL closes its connections it restores the handler
// of that time, which then receives the last errors.
void ignore_x11_errors();

// No-op if SDL cannot do it.
void always_on_top(SDL_Window* window, bool on);

// Returns false when the desktop's program could not be started.
bool open_url(const std::string& address);

// Asks the window manager to keep the window's shape at w : h, 0 : 0 for any shape. X11 only.
void x11_aspect_hint(int w, int h);

}  // namespace compat
