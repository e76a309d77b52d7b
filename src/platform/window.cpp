// DESIGN: one window for both modes, changed in place. The arithmetic of sizes and places is in
// window_rules; this file queries the display and applies the results.

#include <algorithm>
#include <cmath>
#include <optional>
#include <tuple>
#include <utility>

#include "app/logger.h"
#include "app/settings.h"
#include "platform_private.h"
#include "ui/view_sizes.h"

namespace {

constexpr double kScaleTolerance = 0.0001;
constexpr std::uint64_t kFrameWaitMs = 60;
constexpr int kThickestFrame = 64;

SDL_Window* g_window = nullptr;
Settings* g_settings = nullptr;  // not owned
double g_scale = 1.0;            // device pixels per window point
double g_pixel_scale = 0.0;      // device pixels per logical pixel
ui::View g_view;
std::optional<platform::Point> g_place;  // where it belongs, until it rests

std::vector<platform::Area> usable_areas() {
  std::vector<platform::Area> areas;
  for (int i = 0; i < SDL_GetNumVideoDisplays(); ++i) {
    if (const auto area = platform::usable_area(i)) areas.push_back(*area);
  }
  return areas;
}

// The distance of the window from its requested position, if a frame may explain it. If it is
// farther away, the window manager did not allow the position.
platform::Point off_by(platform::Point wanted) {
  const platform::WindowState now = platform::window_state();
  const platform::Point off{wanted.x - now.place.x, wanted.y - now.place.y};
  const bool near = std::max(std::abs(off.x), std::abs(off.y)) <= kThickestFrame;
  return near && !now.taken ? off : platform::Point{};
}

// Moves the window so that its contents begin there. The window manager and SDL may disagree about
// a frame; the window is then off by its thickness, which is compensated.
void move_to(platform::Point p) {
  platform::Point asked = p;
  for (int tries = 0; tries < 3; ++tries) {
    SDL_SetWindowPosition(g_window, asked.x, asked.y);
    if (platform::window_has(SDL_WINDOW_HIDDEN)) return;
    const auto [right, down] = off_by(p);
    if (right == 0 && down == 0) return;
    if (tries > 0) asked = {asked.x + right, asked.y + down};
  }
}

void place(int x, int y, int w, int h) {
  g_place = platform::place_for({x, y}, {w, h}, usable_areas(), platform::usable_area(0));
  move_to(*g_place);
}

bool has_frame() {
  int top = 0;
  int left = 0;
  int bottom = 0;
  int right = 0;
  // Where there is no such knowledge, the sizes become 0.
  SDL_GetWindowBordersSize(g_window, &top, &left, &bottom, &right);
  return top + left + bottom + right > 0;
}

// The window manager adds and removes its frame with a delay. SDL computes positions from the frame
// it knows; an outdated one would shift the window by its thickness.
void await_frame(bool wanted) {
  const std::uint64_t deadline = platform::ticks_ms() + kFrameWaitMs;
  while (has_frame() != wanted && platform::ticks_ms() < deadline) {
    SDL_Delay(1);
    SDL_PumpEvents();
  }
}

void set_frame(bool compact) {
  const bool changes = platform::window_has(SDL_WINDOW_BORDERLESS) != compact;
  SDL_SetWindowBordered(g_window, compact ? SDL_FALSE : SDL_TRUE);
  if (changes && !platform::window_has(SDL_WINDOW_HIDDEN)) await_frame(!compact);
  const int refused =
      SDL_SetWindowHitTest(g_window, compact ? platform::on_hit_test : nullptr, nullptr);
  if (refused != 0 && compact) {
    logger::warn(std::string("Moving without a frame not available: ") + SDL_GetError());
  }
  SDL_SetWindowResizable(g_window, SDL_TRUE);
}

}  // namespace

namespace platform {

bool create_window(Settings* settings) {
  g_settings = settings;
  g_window =
      SDL_CreateWindow("Velmora", SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED, ui::kFullSize.w,
                       ui::kFullSize.h, SDL_WINDOW_HIDDEN | SDL_WINDOW_ALLOW_HIGHDPI);
  if (g_window == nullptr) logger::error(std::string("SDL_CreateWindow: ") + SDL_GetError());
  return g_window != nullptr;
}

void destroy_window() {
  if (g_window != nullptr) SDL_DestroyWindow(g_window);
  g_window = nullptr;
}

SDL_Window* window() {
  return g_window;
}

bool window_has(Uint32 flags) {
  return g_window != nullptr && (SDL_GetWindowFlags(g_window) & flags) != 0;
}

bool video_driver_is(std::string_view name) {
  const char* driver = SDL_GetCurrentVideoDriver();
  return driver != nullptr && name == driver;
}

bool compact() {
  return g_settings != nullptr && g_settings->compact;
}

Size least_window_size() {
  return mode_minimum(g_settings->compact, g_settings->collapsed);
}

std::optional<Area> usable_area(int display) {
  SDL_Rect r;
  if (SDL_GetDisplayUsableBounds(display, &r) != 0) return std::nullopt;
  return Area{r.x, r.y, r.w, r.h};
}

void apply_mode(bool compact, bool on_top) {
  const Settings& s = *g_settings;
  const Size saved = compact ? Size{s.mini_w, s.mini_h} : Size{s.win_w, s.win_h};
  const Size size = mode_size(compact, s.collapsed, saved, usable_area(0));
  const Size minimum = mode_minimum(compact, s.collapsed);
  // Most window managers do not resize a maximized window: the strip would fill the screen.
  if (compact) end_managed_state();
  set_frame(compact);
  adopt_aspect();
  SDL_SetWindowMinimumSize(g_window, minimum.w, minimum.h);
  ask_for_size(size);
  compat::always_on_top(g_window, compact && on_top);
  place(compact ? s.mini_x : s.win_x, compact ? s.mini_y : s.win_y, size.w, size.h);
  update_scale();
}

void update_scale() {
  Size size;
  SDL_GetWindowSize(g_window, &size.w, &size.h);
  g_scale = size.w > 0 ? static_cast<double>(output_size().w) / size.w : 1.0;
  g_view = ui::view_for(size.w, size.h);
  const double scale = static_cast<double>(g_view.zoom) * g_scale;
  if (std::abs(scale - g_pixel_scale) > kScaleTolerance) {
    g_pixel_scale = scale;
    clear_cache();
  }
  ui::set_pixel_scale(static_cast<float>(g_pixel_scale));
}

void forget_scale() {
  g_pixel_scale = 0.0;
}

void settle_place() {
  const auto wanted = std::exchange(g_place, std::nullopt);
  if (wanted && off_by(*wanted) != platform::Point{}) move_to(*wanted);
}

const ui::View& view() {
  return g_view;
}

double pixel_scale() {
  return g_pixel_scale;
}

// The interface's calls -----------------------------------------------

void set_compact(bool compact, bool on_top) {
  if (g_window == nullptr) return;
  apply_mode(compact, on_top);
  invalidate_layers();
}

void window_pos(int* x, int* y) {
  // Under Wayland the position is unknown.
  if (g_window == nullptr || video_driver_is("wayland")) return;
  if (const auto place = lasting_place()) std::tie(*x, *y) = std::pair(place->x, place->y);
}

void window_size(int* w, int* h) {
  if (g_window == nullptr) return;
  if (const auto size = lasting_size()) std::tie(*w, *h) = std::pair(size->w, size->h);
}

void resize_window(int w, int h, int min_w, int min_h) {
  if (g_window == nullptr) return;
  adopt_aspect();
  // A maximized window stays as it is, and the other view fills it.
  if (window_state().taken) {
    note_window_size({w, h});
  } else {
    SDL_SetWindowMinimumSize(g_window, min_w, min_h);
    ask_for_size({w, h});
  }
  update_scale();
  invalidate_layers();
}

bool compact_framed() {
  return false;
}

}  // namespace platform
