// DESIGN: the window manager is asked to keep the window's shape (a hint that X11 knows). Where it
// does not, the size is put right a moment after the last change, when the person has let go.

#include <cstdint>

#include "platform_private.h"

namespace {

constexpr std::uint64_t kRestMs = 250;
constexpr int kTolerance = 2;  // points that rounding may leave

platform::Size g_reference;      // the view's size at zoom 1; 0 x 0 before it is known
platform::Size g_last;           // the window size last known to be right
std::uint64_t g_correct_at = 0;  // 0: nothing to correct

platform::Size current_size() {
  platform::Size size;
  SDL_GetWindowSize(platform::window(), &size.w, &size.h);
  return size;
}

bool shape_is_ours(platform::Size now) {
  const Uint32 flags = SDL_GetWindowFlags(platform::window());
  const Uint32 foreign = SDL_WINDOW_FULLSCREEN | SDL_WINDOW_MAXIMIZED;
  return (flags & foreign) == 0 && now.w >= 1 && now.h >= 1 && g_reference.w > 0 &&
         g_reference.h > 0;
}

platform::Size wanted_size(platform::Size now) {
  platform::Size minimum;
  SDL_GetWindowMinimumSize(platform::window(), &minimum.w, &minimum.h);
  const auto area = platform::usable_area(SDL_GetWindowDisplayIndex(platform::window()));
  return corrected_size(now, g_last, g_reference, minimum,
                        area ? std::optional(platform::Size{area->w, area->h}) : std::nullopt);
}

}  // namespace

namespace platform {

void adopt_aspect() {
  Size reference;
  ui::reference_size(&reference.w, &reference.h);
  if (reference == g_reference) return;
  g_reference = reference;
  note_window_size();
  compat::x11_aspect_hint(window(), reference.w, reference.h);
}

void note_window_size() {
  g_last = current_size();
}

void schedule_aspect_correction() {
  if (g_reference.w > 0 && g_reference.h > 0) g_correct_at = ticks_ms() + kRestMs;
}

void correct_aspect() {
  if (g_correct_at == 0 || ticks_ms() < g_correct_at) return;
  g_correct_at = 0;
  const Size now = current_size();
  g_last = shape_is_ours(now) ? wanted_size(now) : now;
  if (std::abs(g_last.w - now.w) < kTolerance && std::abs(g_last.h - now.h) < kTolerance) return;
  SDL_SetWindowSize(window(), g_last.w, g_last.h);
  update_scale();
  invalidate_layers();
}

}  // namespace platform
