// Inside the window platform. Only the sources of this folder include this.
//
//   app_sdl.cpp       run_gui: start, frame loop, teardown
//   window.cpp        the window: its modes, size and place, and the scale of what it shows
//   raise.cpp         brings it to the front
//   window_state.cpp  what the window manager has made of the window
//   aspect.cpp        keeps the window in the shape of its view
//   renderer.cpp      the renderer and what is reported about the graphics
//   layers.cpp        the base and overlay layers that the interface draws into
//   strips.cpp        the cache of pictures from which moving parts are copied
//   compose.cpp       puts layers, bars, meters and title on the screen
//   direct.cpp        sends what is small to an X server without waiting for it
//   input.cpp         events to the interface, pointers, the border of the frameless window
//   keys.cpp          keys, first offered to a screen reader that listens to them
//   calls.cpp         what is asked over the session bus
//   reader.cpp        the window for a screen reader, and what it asks for
//   signals.cpp       requests to end and to raise the window
//   compat.cpp        time, and what not every SDL or display offers
//   x11.cpp           what is called of the X11 library
//   xsettings.cpp     what a desktop tells the programs on its X server
//   window_rules.cpp  the decisions behind it, pure
//   frame_stats.h     where the time of a frame goes, in debug builds
//
// Vocabulary: *window points* are what the desktop measures windows in; a *logical pixel* is what
// the interface measures in, `view().zoom` points wide; a *device pixel* is one of the renderer's,
// of which pixel_scale() make a logical pixel.
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

// Makes the hidden window. The settings are not owned and must outlive it. Returns false after
// logging why.
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

// Makes the window the compact or the full one: frame, size, place, stacking. The window manager
// follows reliably only once the window is shown.
void apply_mode(bool compact, bool on_top);

// Puts the window where apply_mode wanted it, if the window manager has added or taken a frame
// since. Call it once it rests.
void settle_place();

// Reads the window's and the renderer's size into view() and pixel_scale(). A changed scale empties
// the cache.
void update_scale();

// Forgets the scale, so that the next update_scale finds it changed.
void forget_scale();

const ui::View& view();
double pixel_scale();  // device pixels per logical pixel

// The part of a display that panels leave free. Empty where the display does not say.
std::optional<Area> usable_area(int display);

// raise.cpp -----------------------------------------------------------

// Brings the window to the front and gives it the keyboard, also from the icons.
//   activation  what a launcher gave who asks for it; may be empty
void raise_window(const desktop::Activation& activation);

// Takes the window from the screen, icons and lists of windows, until it is raised.
void hide_window();

// window_state.cpp ----------------------------------------------------

struct WindowState {
  bool taken = false;  // maximized, also in one direction, full screen or tiled
  bool high = false;   // maximized vertically
  bool wide = false;   // maximized horizontally
  Size size;           // what the window really has, without its frame
  Point place;
};
WindowState window_state();

// Tells SDL the size that the window really has, by the event that it has missed; no request goes
// to the window manager. Returns false where SDL knows by itself.
bool report_size(Size real);

// Tells SDL that the left button was released, where the window has missed it.
void report_release();

// Has a maximized window maximized once more, after what limited its size was lifted.
void fill_again(const WindowState& state);

// Ends every state in which the window manager decides about the size.
void take_back();

// aspect.cpp ----------------------------------------------------------

// Takes over the current view's shape when it is a new one, and tells the window manager. Call it
// before a size of the new shape is asked for, too: the window manager holds on to the old one.
void adopt_aspect();

// Asks for a size of the view's shape: what comes of it is nothing the user did.
void ask_for_size(Size size);

// The view has this size where nothing else decides about the window's.
void note_window_size(Size size);

// Whether SDL believes in a size that the window does not have, and has just been told the real
// one: a picture of that size can be drawn once the event is handled. Call it before drawing.
bool report_missed_size();

// The window's size and place as they are worth being kept: those that it returns to where the
// window manager has taken it, and a size that the window manager has only rounded as it was asked
// for. Empty where nothing is known.
std::optional<Size> lasting_size();
std::optional<Point> lasting_place();

// The window's size has changed: look at its shape when it has come to rest.
void schedule_aspect_correction();

// Does so, once it is time.
void correct_aspect();

// renderer.cpp --------------------------------------------------------

// Makes the renderer, accelerated where possible, and describes the graphics in the log and for
// crash reports. Returns false after logging why.
bool create_renderer();
void destroy_renderer();

// Null while there is none.
SDL_Renderer* renderer();

// Whether it draws on the processor.
bool draws_in_software();

// Size of the renderer's picture in device pixels.
Size output_size();

// The graphics device was lost, with all textures.
void set_device_lost();

// Replaces the renderer when it was lost. Returns false when there is no new one to be had.
bool recover_renderer();

// How pictures with transparency are laid over others.
SDL_BlendMode blend_mode();

// Brings a finished picture into the form that blend_mode() expects, in place.
void adapt_alpha(cairo_surface_t* surface);

// layers.cpp ----------------------------------------------------------

// Makes the interface draw both layers and uploads them.
void draw_layers();

// The base layer is out of date, and with it the overlay.
void invalidate_layers();
bool layers_ready();
void destroy_layers();

// Copy a layer over the whole screen; nothing when it has no content.
void copy_base();
void copy_overlay();

// strips.cpp ----------------------------------------------------------

// A user's handle on one cached texture. Reading it costs no allocation as long as nothing changed.
struct Strip {
  SDL_Texture* texture = nullptr;  // the cache's; null when it could not be made
  float w = -1.0F;                 // logical size it was made for
  float h = -1.0F;
  double pixel_scale = 0.0;
  bool dark = false;
  unsigned generation = 0;  // of the cache
};

// Whether the handle is good for this size, the current theme and the current scale.
bool is_current(const Strip& strip, float w, float h);

// Finds the texture by its key, or makes it: `paint` draws w x h logical pixels at the origin
// through gfx. May empty the cache first, so that other handles are no longer current.
void fetch(Strip& strip, const std::string& name, int n, float w, float h,
           const std::function<void()>& paint);

// Destroys every texture.
void clear_cache();

// How often that happened.
unsigned cache_generation();

// compose.cpp ---------------------------------------------------------

// Puts a frame together from what is already drawn, and presents it. In software only what has
// changed since the last one. `t`: the time in seconds, which the title's colours depend on.
void compose(double t);

// The next frame is a whole one.
void invalidate_frame();

// direct.cpp ----------------------------------------------------------

// Sends these parts of the window's picture (device pixels, inside it) to the screen without
// waiting for an answer. Returns false where that is not possible or not cheap: then SDL is to show
// them.
bool put_small(const std::vector<SDL_Rect>& parts);

// input.cpp -----------------------------------------------------------

void open_input();
void close_input();

// Passes one event on to the interface.
void handle(const SDL_Event& event);

// Whether the user wants less motion, as the desktop's portal says, or its X server.
bool less_motion();

// Notices a release that went elsewhere; call it once a frame.
void find_lost_release();

// SDL's question what a press at a point of the frameless window means.
SDL_HitTestResult on_hit_test(SDL_Window* window, const SDL_Point* point, void* user);

// keys.cpp ------------------------------------------------------------

// Whether the event is none to be handled now: it comes back in release_keys unless a screen reader
// takes the key.
bool hold_back(const SDL_Event& event);

// Once a frame: handles what was held back and is not the reader's. Returns whether keys still wait
// for its answer, half a second at most.
bool release_keys();

// calls.cpp -----------------------------------------------------------

// Lets the desktop find the program and call it. The settings are not owned and must outlive the
// calls.
void begin_calls(const Settings* settings);

// Carries out what was asked since the last frame.
void answer_calls();

// reader.cpp ----------------------------------------------------------

// Where there is a screen reader: does what it has asked for since the last frame, or tells it what
// the window shows as painted.
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

// From here on requests that the display refuses do not end the program. SDL wakes itself up by a
// message to the window, over a connection of its own, which may arrive when the window is gone.
// Call it before SDL has a video driver, too: SDL puts the handler of that time back before it
// closes its connections, and hears of the last errors then.
void ignore_x11_errors();

// Does nothing where SDL cannot.
void always_on_top(SDL_Window* window, bool on);

// Returns false when the desktop's program could not be started.
bool open_url(const std::string& address);

// Asks the window manager to keep the window's shape at w : h, 0 : 0 for any shape. Does nothing
// but under X11.
void x11_aspect_hint(int w, int h);

}  // namespace compat
