// DESIGN: the loop waits for events instead of polling, lets the interface advance, and then does
// as little as possible: nothing, copying the moving parts, or redrawing the layers. Set-up is a
// list of steps; a failed step ends the run with a line in the log.

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "app/environment.h"
#include "app/logger.h"
#include "app/settings.h"
#include "desktop/desktop.h"
#include "frame_stats.h"
#include "gfx/gfx.h"
#include "platform_private.h"
#include "reader/reader.h"

namespace {

using platform::ticks_ms;
using Clock = std::chrono::steady_clock;

constexpr int kFirstTimeoutMs = 1;
constexpr int kKeysTimeoutMs = 1;
constexpr int kLateTimeoutMs = 1;
constexpr std::uint64_t kFocusedFrameMs = 16;
constexpr std::uint64_t kUnfocusedFrameMs = 33;
constexpr std::uint64_t kRepeatMs = 500;
constexpr int kIconPixels = 64;
constexpr int kKeptBytes = 32 << 20;  // the most that the library takes for a threshold

bool g_running = true;

// The loop's state from pass to pass.
struct Loop {
  std::uint64_t started_at = 0;
  Clock::time_point begun_at;  // the last picture, before it was put together
  std::uint64_t presented_at = 0;
  bool visible = true;
  bool animating = false;
  bool unsettled = false;  // since the picture on the screen something has moved, or it moves in it
  bool first_frame = true;
  std::uint64_t repeat_until = 0;
};

// Set-up --------------------------------------------------------------

void set_hints() {
  SDL_SetHint("SDL_NO_SIGNAL_HANDLERS", "1");
  SDL_SetHint("SDL_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR", "0");
  SDL_SetHint("SDL_MOUSE_FOCUS_CLICKTHROUGH", "1");
  // SDL's default is so large that a press beside a knob and one on it would be a double click.
  SDL_SetHint("SDL_MOUSE_DOUBLE_CLICK_RADIUS", "5");
  // A program that is open all day must not keep the screen from going dark.
  SDL_SetHint("SDL_VIDEO_ALLOW_SCREENSAVER", "1");
  SDL_SetHint("SDL_RENDER_BATCHING", "1");
}

// SDL falls back to a driver without any screen, with which nobody could see the program or find
// out why the sound has changed.
bool shows_nothing() {
  return std::getenv("SDL_VIDEODRIVER") == nullptr &&
         std::strcmp(SDL_GetCurrentVideoDriver(), "offscreen") == 0;
}

bool init_video() {
  if (std::getenv("SDL_VIDEODRIVER") == nullptr && environment::is_set("DISPLAY")) {
    // By a hint, as other threads read the environment by now.
    SDL_SetHint("SDL_VIDEODRIVER", "x11");
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
      logger::warn(std::string("X11 not reachable (") + SDL_GetError() +
                   "), trying the SDL default");
      SDL_SetHint("SDL_VIDEODRIVER", nullptr);
      // Not SDL_Quit, which would forget the hints and restart the clock.
      SDL_QuitSubSystem(SDL_INIT_VIDEO);
    }
  } else {
    SDL_InitSubSystem(SDL_INIT_VIDEO);
  }
  if (SDL_WasInit(SDL_INIT_VIDEO) == 0 && SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
    logger::error(std::string("SDL_Init: ") + SDL_GetError());
    return false;
  }
  if (!shows_nothing()) return true;
  logger::error("SDL_Init: No display");
  SDL_QuitSubSystem(SDL_INIT_VIDEO);
  return false;
}

// SDL's software renderer would show its picture through an OpenGL texture, which takes three times
// the time and four times the memory of showing it directly. X11 can do the latter, Wayland cannot.
void prefer_direct_picture() {
  if (platform::video_driver_is("x11")) SDL_SetHint("SDL_FRAMEBUFFER_ACCELERATION", "0");
}

void set_icon() {
  cairo_surface_t* picture =
      cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kIconPixels, kIconPixels);
  cairo_t* cr = cairo_create(picture);
  gfx::set_context(cr);
  ui::paint_logo(static_cast<float>(kIconPixels));
  gfx::set_context(nullptr);
  cairo_destroy(cr);
  cairo_surface_flush(picture);
  SDL_Surface* icon = SDL_CreateRGBSurfaceWithFormatFrom(
      cairo_image_surface_get_data(picture), kIconPixels, kIconPixels, 32,
      cairo_image_surface_get_stride(picture), SDL_PIXELFORMAT_ARGB8888);
  if (icon != nullptr) {
    SDL_SetWindowIcon(platform::window(), icon);
    SDL_FreeSurface(icon);
  }
  cairo_surface_destroy(picture);
}

void show_window(const Settings& s) {
  platform::apply_mode(s.compact, s.compact_on_top);
  SDL_ShowWindow(platform::window());
  // SDL learns here how thick the window manager's frame is, without which the window would start
  // lower from run to run.
  SDL_PumpEvents();
  platform::apply_mode(s.compact, s.compact_on_top);
  // Where SDL knows an on-screen keyboard it waits to be asked for text.
  if (SDL_IsTextInputActive() == SDL_FALSE) SDL_StartTextInput();
}

// Frames --------------------------------------------------------------

bool changes_window(const SDL_Event& event) {
  return event.type == SDL_WINDOWEVENT && event.window.event != SDL_WINDOWEVENT_ENTER &&
         event.window.event != SDL_WINDOWEVENT_LEAVE;
}

// A picture that is presented while the window's frame or size changes can be lost silently, so
// whole pictures are repeated for a while.
void repeat_frames(Loop& loop) {
  loop.repeat_until = ticks_ms() + kRepeatMs;
}

// Waits for events are whole milliseconds; what is left of one until a frame is due is slept here.
void sleep_until_due(const Loop& loop) {
  const auto left = platform::kLongestFrame - (Clock::now() - loop.begun_at);
  if (left < std::chrono::milliseconds{1}) std::this_thread::sleep_for(left);
}

void handle_events(Loop& loop, int timeout_ms) {
  SDL_Event event;
  if (SDL_WaitEventTimeout(&event, timeout_ms) == 0) return sleep_until_due(loop);
  do {
    if (changes_window(event)) repeat_frames(loop);
    if (!platform::hold_back(event)) platform::handle(event);
  } while (SDL_PollEvent(&event) != 0);
}

void handle_signals() {
  if (platform::quit_requested()) g_running = false;
  if (platform::take_raise_request()) platform::raise_window({});
}

bool on_frame() {
  const platform::stats::Scope scope(platform::stats::Phase::OnFrame);
  ui::set_reduced_motion(platform::less_motion());
  return ui::on_frame();
}

bool update_visibility(Loop& loop) {
  const Uint32 hidden = SDL_WINDOW_HIDDEN | SDL_WINDOW_MINIMIZED;
  const bool visible = (SDL_GetWindowFlags(platform::window()) & hidden) == 0;
  if (visible != loop.visible)
    logger::info(visible ? "Window visible again" : "Window not visible - display paused");
  loop.visible = visible;
  return visible;
}

// While something moves: sleeps until the next frame is due, so that a frame takes one wake-up
// instead of one for events and one for the time. Returns how long to wait for events then.
int pace(const Loop& loop) {
  const bool focused = (SDL_GetWindowFlags(platform::window()) & SDL_WINDOW_INPUT_FOCUS) != 0;
  const std::uint64_t interval = focused ? kFocusedFrameMs : kUnfocusedFrameMs;
  const std::uint64_t passed = ticks_ms() - loop.presented_at;
  if (passed >= interval) return kLateTimeoutMs;
  SDL_Delay(static_cast<Uint32>(interval - passed));
  return 0;
}

// Whether there is a title whose colours move.
bool shines() {
  return !platform::compact() && !platform::less_motion();
}

void present(Loop& loop) {
  const std::uint64_t shine = platform::less_motion() ? 0 : ticks_ms();
  platform::compose(static_cast<double>(shine) / 1000.0);
  loop.presented_at = ticks_ms();
  loop.unsettled = loop.animating;
  if (!loop.first_frame) return;
  loop.first_frame = false;
  logger::info("First frame after " + std::to_string(loop.presented_at - loop.started_at) + " ms");
}

void show_frame(Loop& loop) {
  loop.animating = on_frame();
  // What has come to rest is shown once more: a late frame's last step may be a large one.
  loop.unsettled = loop.unsettled || loop.animating;
  platform::adopt_aspect();
  platform::correct_aspect();
  if (platform::report_missed_size()) return;
  platform::update_scale();
  const bool repeating = ticks_ms() < loop.repeat_until;
  if (repeating) platform::invalidate_frame();
  const auto now = Clock::now();
  const bool due = (repeating || shines()) && now - loop.begun_at > platform::kLongestFrame;
  if (ui::take_dirty() || !platform::layers_ready()) {
    const platform::stats::Scope scope(platform::stats::Phase::Draw);
    platform::draw_layers();
  } else if (!due && !loop.unsettled) {
    return;
  }
  loop.begun_at = now;
  present(loop);
}

void run_loop(std::uint64_t started_at) {
  Loop loop;
  loop.started_at = started_at;
  int timeout_ms = kFirstTimeoutMs;
  for (;;) {
    handle_events(loop, timeout_ms);
    const bool keys_wait = platform::release_keys();
    platform::find_lost_release();
    handle_signals();
    platform::answer_calls();
    if (!g_running || !platform::recover_renderer()) return;
    const bool visible = update_visibility(loop);
    if (visible) {
      show_frame(loop);
    } else {
      loop.animating = on_frame();
      loop.begun_at = Clock::now();  // nothing is due
    }
    platform::serve_reader();
    timeout_ms = visible && loop.animating ? pace(loop)
                 : keys_wait               ? kKeysTimeoutMs
                             : platform::idle_wait_ms(!shines(), Clock::now() - loop.begun_at);
  }
}

void close_video() {
  platform::destroy_renderer();
  platform::destroy_window();
  SDL_Quit();
}

void tear_down() {
  ui::persist();
  platform::clear_cache();
  platform::destroy_layers();
  platform::close_input();
  ui::shutdown();
  gfx::shutdown();
  close_video();
}

// Without a graphics card the driver allocates a whole picture in every frame. The C library would
// return that memory to the system each time, and get it back page by page.
void keep_memory_of_frames() {
  mallopt(M_MMAP_THRESHOLD, kKeptBytes);
  mallopt(M_TRIM_THRESHOLD, kKeptBytes);
}

// Creates everything that a window needs. Returns false after logging the reason.
bool set_up(Settings* settings) {
  set_hints();
  keep_memory_of_frames();
  // Twice: SDL sets a handler of its own at the start, and restores this first one before it
  // closes.
  compat::ignore_x11_errors();
  if (!init_video()) return false;
  compat::ignore_x11_errors();
  prefer_direct_picture();
  if (!platform::create_window(settings) || !platform::create_renderer()) {
    close_video();
    return false;
  }
  if (!gfx::init(nullptr)) {
    logger::error("Cairo/Pango not available");
    close_video();
    return false;
  }
  platform::open_input();
  ui::init(settings, false);
  set_icon();
  show_window(*settings);
  return true;
}

}  // namespace

namespace platform {

void prepare_environment() {
  setenv("SDL_VIDEO_X11_WMCLASS", "velmora", 0);
  setenv("SDL_VIDEO_WAYLAND_WMCLASS", "Velmora", 0);  // the menu entry's name, for its icon
}

void quit() {
  g_running = false;
}

}  // namespace platform

int run_gui(Settings* settings) {
  const std::uint64_t started_at = ticks_ms();
  if (!set_up(settings)) return 1;
  platform::begin_calls(settings);
  run_loop(started_at);
  reader::stop();
  desktop::stop();
  tear_down();
  return 0;
}
