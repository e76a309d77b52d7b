// DESIGN: functions that not every SDL, display or desktop offers are looked up once at run time;
// the program does without missing ones.

#include <dlfcn.h>

#include "app/environment.h"
#include "app/logger.h"
#include "platform_private.h"
#include "posix/child.h"
#include "x11.h"

namespace {

constexpr const char* kSdlLibrary = "libSDL2-2.0.so.0";

platform::WideTicks g_ticks;  // main thread

// The library handles are kept, so that functions stay valid.
template <typename Function>
Function symbol(void* library, const char* name) {
  return library == nullptr ? nullptr : reinterpret_cast<Function>(dlsym(library, name));
}

}  // namespace

namespace compat {

void ignore_x11_errors() {
#ifdef SDL_VIDEO_DRIVER_X11
  const bool chosen = SDL_GetCurrentVideoDriver() != nullptr;
  if (!(chosen ? platform::video_driver_is("x11") : environment::is_set("DISPLAY"))) return;
  if (const platform::X11Functions* x11 = platform::x11_functions())
    x11->set_error_handler([](Display*, XErrorEvent*) { return 0; });
#endif
}

std::uint64_t ticks() {
  return platform::widen(g_ticks, SDL_GetTicks());
}

void* sdl_symbol(const char* name) {
  static void* const library = dlopen(kSdlLibrary, RTLD_LAZY);
  return symbol<void*>(library, name);
}

void always_on_top(SDL_Window* window, bool on) {
  using Function = void (*)(SDL_Window*, SDL_bool);
  static const auto set = reinterpret_cast<Function>(sdl_symbol("SDL_SetWindowAlwaysOnTop"));
  if (set != nullptr) set(window, on ? SDL_TRUE : SDL_FALSE);
}

// Not by SDL_OpenURL, which starts the same program, but with our ignored and blocked signals.
bool open_url(const std::string& address) {
  return child::start({"xdg-open", address});
}

void x11_aspect_hint([[maybe_unused]] int w, [[maybe_unused]] int h) {
#ifdef SDL_VIDEO_DRIVER_X11
  const auto window = platform::x11_window();
  if (!window) return;
  XSizeHints hints{};
  long supplied = 0;
  if (window->x11.normal_hints(window->display, window->id, &hints, &supplied) == 0)
    hints = XSizeHints{};
  hints.flags = w > 0 ? hints.flags | PAspect : hints.flags & ~PAspect;
  hints.min_aspect.x = hints.max_aspect.x = w;
  hints.min_aspect.y = hints.max_aspect.y = h;
  window->x11.set_normal_hints(window->display, window->id, &hints);
  window->x11.flush(window->display);
#endif
}

}  // namespace compat

namespace platform {

std::uint64_t ticks_ms() {
  return compat::ticks();
}

void open_uri(const std::string& address) {
  if (!compat::open_url(address)) logger::warn("Cannot open address: " + address);
}

}  // namespace platform
