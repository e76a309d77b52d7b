// DESIGN: the window manager is asked to keep the window's shape (a hint that X11 knows). Where it
// does not, the size is put right a moment after the last change, when the user has let go.
//
// What a window manager has taken into its hands (maximized in any direction, full screen, tiled)
// stays as it is, without the hint, and so does a size that it holds on to: the views fill any
// shape. One that was refused is not asked for again until the size changes once more.

#include <algorithm>
#include <cstdint>

#include "platform_private.h"

namespace {

using platform::Size;

constexpr std::uint64_t kRestMs = 250;
constexpr int kTolerance = 2;  // points that rounding may leave

Size g_reference;                // the view's size at zoom 1; 0 x 0 before it is known
Size g_hinted;                   // the shape that the window manager knows; 0 x 0: none
Size g_last;                     // the window size last known to be right
Size g_kept;                     // the size that the window kept when another was asked for
std::uint64_t g_correct_at = 0;  // 0: nothing to correct

Size current_size() {
  Size size;
  SDL_GetWindowSize(platform::window(), &size.w, &size.h);
  return size;
}

bool differ(Size a, Size b) {
  return std::abs(a.w - b.w) >= kTolerance || std::abs(a.h - b.h) >= kTolerance;
}

void hint(Size shape) {
  if (shape == g_hinted) return;
  g_hinted = shape;
  compat::x11_aspect_hint(platform::window(), shape.w, shape.h);
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

Size wanted_size(Size now) {
  const Size minimum = restore_minimum(now);
  const auto area = platform::usable_area(SDL_GetWindowDisplayIndex(platform::window()));
  return corrected_size(now, g_last, g_reference, minimum,
                        area ? std::optional(Size{area->w, area->h}) : std::nullopt);
}

}  // namespace

namespace platform {

void adopt_aspect() {
  Size reference;
  ui::reference_size(&reference.w, &reference.h);
  if (reference == g_reference) return;
  g_reference = reference;
  g_kept = {};
  note_window_size();
  hint(window_state().taken ? Size{} : reference);
}

void note_window_size() {
  g_last = current_size();
  schedule_aspect_correction();  // whether it was granted
}

void schedule_aspect_correction() {
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
  hint(state.taken ? Size{} : g_reference);
  if (state.taken || state.size == g_kept || state.size.w < 1 || state.size.h < 1) {
    g_last = state.size;
    return;
  }
  const Size wanted = wanted_size(state.size);
  g_last = wanted;
  g_kept = {};
  if (!differ(wanted, state.size)) return;
  SDL_SetWindowSize(window(), wanted.w, wanted.h);
  update_scale();
  invalidate_layers();
  g_kept = state.size;  // if that is what the next look finds, it was refused
  schedule_aspect_correction();
}

}  // namespace platform
