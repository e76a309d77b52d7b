// DESIGN: what not every SDL, display or desktop offers is looked up while the program runs, once,
// and done without where it is missing. The X11 library is the one SDL itself uses; where there is
// no X server it is never loaded.

#include <dlfcn.h>

#include "app/environment.h"
#include "app/logger.h"
#include "platform_private.h"
#include "posix/child.h"

// After all our headers: X11 defines words like None as macros.
#include <SDL_syswm.h>
#ifdef SDL_VIDEO_DRIVER_X11
#include <X11/Xutil.h>
#endif

namespace {

constexpr const char* kSdlLibrary = "libSDL2-2.0.so.0";

platform::WideTicks g_ticks;  // main thread

// The handles are kept: what was looked up must stay valid.
template <typename Function>
Function symbol(void* library, const char* name) {
  return library == nullptr ? nullptr : reinterpret_cast<Function>(dlsym(library, name));
}

void* x11_library() {
  static void* const library = dlopen("libX11.so.6", RTLD_LAZY);
  return library;
}

#ifdef SDL_VIDEO_DRIVER_X11

struct X11Hints {
  decltype(&XGetWMNormalHints) get = nullptr;
  decltype(&XSetWMNormalHints) set = nullptr;
  decltype(&XFlush) flush = nullptr;
};

X11Hints load_x11_hints() {
  void* library = x11_library();
  return {symbol<decltype(&XGetWMNormalHints)>(library, "XGetWMNormalHints"),
          symbol<decltype(&XSetWMNormalHints)>(library, "XSetWMNormalHints"),
          symbol<decltype(&XFlush)>(library, "XFlush")};
}

#endif

}  // namespace

namespace compat {

void ignore_x11_errors() {
#ifdef SDL_VIDEO_DRIVER_X11
  const bool chosen = SDL_GetCurrentVideoDriver() != nullptr;
  if (!(chosen ? platform::video_driver_is("x11") : environment::is_set("DISPLAY"))) return;
  using Set = decltype(&XSetErrorHandler);
  if (const auto set = reinterpret_cast<Set>(x11_symbol("XSetErrorHandler")); set != nullptr)
    set([](Display*, XErrorEvent*) { return 0; });
#endif
}

std::uint64_t ticks() {
  return platform::widen(g_ticks, SDL_GetTicks());
}

void* sdl_symbol(const char* name) {
  static void* const library = dlopen(kSdlLibrary, RTLD_LAZY);
  return symbol<void*>(library, name);
}

void* x11_symbol(const char* name) {
  return symbol<void*>(x11_library(), name);
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

void x11_aspect_hint([[maybe_unused]] SDL_Window* window, [[maybe_unused]] int w,
                     [[maybe_unused]] int h) {
#ifdef SDL_VIDEO_DRIVER_X11
  SDL_SysWMinfo info{};
  SDL_VERSION(&info.version)
  if (SDL_GetWindowWMInfo(window, &info) != SDL_TRUE || info.subsystem != SDL_SYSWM_X11) return;
  static const X11Hints x11 = load_x11_hints();
  if (x11.get == nullptr || x11.set == nullptr || x11.flush == nullptr) return;
  Display* display = info.info.x11.display;
  XSizeHints hints{};
  long supplied = 0;
  if (x11.get(display, info.info.x11.window, &hints, &supplied) == 0) hints = XSizeHints{};
  hints.flags = w > 0 ? hints.flags | PAspect : hints.flags & ~PAspect;
  hints.min_aspect.x = hints.max_aspect.x = w;
  hints.min_aspect.y = hints.max_aspect.y = h;
  x11.set(display, info.info.x11.window, &hints);
  x11.flush(display);
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
