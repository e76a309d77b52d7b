// DESIGN: the window manager is asked to keep the window's shape (by an X11 hint). If it does not,
// the size is corrected a moment after the last change, when the user has let go.
//
// A window that the window manager has maximized in any direction, made full screen or tiled is
// left alone, without the hint, and so is a size that it insists on: the views fill any shape. A
// window that still has the size from before our last request has not been resized by the user: the
// request was refused or will be carried out later, and no other is made.
//
// Under Wayland SDL does not report tiles. But a user drags an edge in many steps, whereas a
// compositor puts a window into a tile at once. So there a size that came in one step stays, except
// the strip's.
//
// SDL assumes that every request has been granted. So for a while after each one the real size is
// checked, before a picture is drawn for a wrong one.

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "platform_private.h"

namespace {

using platform::Size;

constexpr std::uint64_t kRestMs = 250;
constexpr std::uint64_t kWatchMs = 2000;  // after a request

Size g_reference;  // the view's size at zoom 1; 0 x 0 before it is known
Size g_hinted;     // the shape that the window manager knows; 0 x 0: none
Size g_asked;      // the size last asked for
Size g_last;       // the window size last known to be right, or asked for
std::optional<platform::WindowState> g_free;  // as it was before it was taken, in this view
bool g_free_strip = false;                    // whether that is the strip
bool g_was_taken = false;
Size g_kept;                      // the size from before the last request; 0 x 0: not any more
Size g_reported;                  // the size last sent to SDL since then
std::uint64_t g_watch_until = 0;  // 0: SDL knows the window's size
std::uint64_t g_correct_at = 0;   // 0: nothing to correct
Size g_latest;                    // the last size that the window was seen with,
int g_steps = 0;                  // and how many it has had since it last rested

// The size that SDL assumes.
Size current_size() {
  Size size;
  SDL_GetWindowSize(platform::window(), &size.w, &size.h);
  return size;
}

void hint(Size shape) {
  if (shape == g_hinted) return;
  g_hinted = shape;
  compat::x11_aspect_hint(shape.w, shape.h);
}

bool has_view_shape(Size size) {
  return g_reference.w > 0 && std::abs(size.w * g_reference.h - size.h * g_reference.w) <=
                                  platform::kTolerance * g_reference.w;
}

// Removes the hint from a window that the window manager has maximized or tiled. Some have limited
// its size by the hint and do not check again.
void lift_hint(const platform::WindowState& state) {
  const bool limited = g_hinted.w > 0 && has_view_shape(state.size);
  hint({});
  if (limited) platform::fill_again(state);
  g_was_taken = true;
}

// The least size of the view, once the window may follow it again.
Size restore_minimum(Size now) {
  const Size least = platform::least_window_size();
  Size present;
  SDL_GetWindowMinimumSize(platform::window(), &present.w, &present.h);
  if (present == least || now.w < least.w || now.h < least.h) return present;
  SDL_SetWindowMinimumSize(platform::window(), least.w, least.h);
  return least;
}

Size wanted_size(Size now, bool was_taken) {
  const Size minimum = restore_minimum(now);
  // The view may be another one than when the window was taken: its width counts.
  const Size last = was_taken ? Size{0, now.h} : g_last;
  const auto area = platform::usable_area(SDL_GetWindowDisplayIndex(platform::window()));
  return corrected_size(now, last, g_reference, minimum,
                        area ? std::optional(Size{area->w, area->h}) : std::nullopt);
}

}  // namespace

namespace platform {

void adopt_aspect() {
  Size reference;
  ui::reference_size(&reference.w, &reference.h);
  if (reference == g_reference) return;
  g_reference = reference;
  if (std::exchange(g_free_strip, compact()) != compact()) g_free.reset();
  g_kept = {};
  note_window_size(current_size());
  hint(window_state().taken ? Size{} : reference);
}

void note_window_size(Size size) {
  g_asked = g_last = size;
  schedule_aspect_correction();  // to see whether it was granted
}

void ask_for_size(Size size) {
  const Size before = window_state().size;
  g_kept = differ(before, size) ? before : Size{};
  g_reported = {};
  g_watch_until = ticks_ms() + kWatchMs;
  SDL_SetWindowSize(window(), size.w, size.h);
  note_window_size(size);
}

bool report_missed_size() {
  if (g_watch_until == 0) return false;
  const Size real = window_state().size;
  if (real == current_size()) {
    if (real == g_asked || ticks_ms() >= g_watch_until) g_watch_until = 0;
    return false;
  }
  // Only once: if SDL ignores it, the picture is drawn anyway, and the size is checked again later.
  return std::exchange(g_reported, real) != real && report_size(real);
}

std::optional<Size> lasting_size() {
  const WindowState state = window_state();
  const Size size = !state.taken ? state.size : g_free ? g_free->size : Size{};
  if (size.w < 1 || size.h < 1) return std::nullopt;
  return differ(size, g_last) ? size : g_last;
}

std::optional<Point> lasting_place() {
  const WindowState state = window_state();
  if (!state.taken) return state.place;
  return g_free ? std::optional(g_free->place) : std::nullopt;
}

void schedule_aspect_correction() {
  const Size now = current_size();
  if (std::exchange(g_latest, now) != now) ++g_steps;
  if (g_reference.w > 0 && g_reference.h > 0) g_correct_at = ticks_ms() + kRestMs;
}

void correct_aspect() {
  if (g_correct_at == 0 || ticks_ms() < g_correct_at) return;
  g_correct_at = 0;
  const WindowState state = window_state();
  if (differ(state.size, current_size()) && report_size(state.size)) {
    schedule_aspect_correction();
    return;
  }
  const int steps = std::exchange(g_steps, 0);
  if (state.taken) return lift_hint(state);
  hint(g_reference);
  settle_place();
  g_free = state;
  const bool was_taken = std::exchange(g_was_taken, false);
  if (state.size != g_kept) g_kept = {};
  const bool may_be_tiled = video_driver_is("wayland") && !compact();
  g_last = right_size({state.size, g_asked, g_last, g_kept.w > 0, may_be_tiled, steps});
  if (!differ(state.size, g_last)) return;
  g_last = wanted_size(state.size, was_taken);
  if (g_last == state.size) return;
  ask_for_size(g_last);
  update_scale();
  invalidate_layers();
}

}  // namespace platform
