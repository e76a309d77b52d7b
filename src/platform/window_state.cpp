// DESIGN: SDL believes that a size it has asked for was granted, and knows only of windows that are
// maximized in both directions. What has really become of the window stands in a property that the
// window manager keeps, and in the display server's own record of its size.

#include <array>
#include <cstring>

#include "platform_private.h"

// After all our headers: X11 defines words like None as macros.
#include <SDL_syswm.h>
#ifdef SDL_VIDEO_DRIVER_X11
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#endif

namespace {

#ifdef SDL_VIDEO_DRIVER_X11

constexpr std::array kTaken{"_NET_WM_STATE_FULLSCREEN", "_NET_WM_STATE_MAXIMIZED_VERT",
                            "_NET_WM_STATE_MAXIMIZED_HORZ", "_NET_WM_STATE_TILED"};
constexpr long kMostStates = 64;

struct X11 {
  template <typename Function>
  static void find(Function** function, const char* name) {
    *function = reinterpret_cast<Function*>(compat::x11_symbol(name));
  }
  X11() {
    find(&atom, "XInternAtom");
    find(&property, "XGetWindowProperty");
    find(&geometry, "XGetGeometry");
    find(&free, "XFree");
    find(&send, "XSendEvent");
    find(&flush, "XFlush");
  }
  [[nodiscard]] bool complete() const {
    return atom != nullptr && property != nullptr && geometry != nullptr && free != nullptr &&
           send != nullptr && flush != nullptr;
  }
  decltype(XInternAtom)* atom = nullptr;
  decltype(XGetWindowProperty)* property = nullptr;
  decltype(XGetGeometry)* geometry = nullptr;
  decltype(XFree)* free = nullptr;
  decltype(XSendEvent)* send = nullptr;
  decltype(XFlush)* flush = nullptr;
};

bool has_taken_state(const X11& x11, Display* display, Window window) {
  Atom type = 0;
  int format = 0;
  unsigned long count = 0;
  unsigned long left = 0;
  unsigned char* data = nullptr;
  const Atom state = x11.atom(display, "_NET_WM_STATE", False);
  if (x11.property(display, window, state, 0, kMostStates, False, XA_ATOM, &type, &format, &count,
                   &left, &data) != Success ||
      data == nullptr)
    return false;
  bool taken = false;
  for (unsigned long i = 0; format == 32 && i < count; ++i) {
    unsigned long atom = 0;  // a property's 32-bit values come as longs
    std::memcpy(&atom, data + i * sizeof atom, sizeof atom);
    for (const char* name : kTaken)
      taken = taken || atom == x11.atom(display, name, False);
  }
  x11.free(data);
  return taken;
}

// Null where this is not X11. Otherwise the display and the window are filled in.
const X11* x11_of(Display** display, Window* window) {
  SDL_SysWMinfo info{};
  SDL_VERSION(&info.version)
  if (SDL_GetWindowWMInfo(platform::window(), &info) != SDL_TRUE || info.subsystem != SDL_SYSWM_X11)
    return nullptr;
  static const X11 x11;
  *display = info.info.x11.display;
  *window = info.info.x11.window;
  return x11.complete() ? &x11 : nullptr;
}

bool ask_x11(platform::WindowState* state) {
  Display* display = nullptr;
  Window window = 0;
  const X11* found = x11_of(&display, &window);
  if (found == nullptr) return false;
  const X11& x11 = *found;
  state->taken = has_taken_state(x11, display, window);
  Window root = 0;
  int x = 0;
  int y = 0;
  unsigned w = 0;
  unsigned h = 0;
  unsigned border = 0;
  unsigned depth = 0;
  if (x11.geometry(display, window, &root, &x, &y, &w, &h, &border, &depth) != 0)
    state->size = {static_cast<int>(w), static_cast<int>(h)};
  return true;
}

bool send_size(platform::Size real) {
  Display* display = nullptr;
  Window window = 0;
  const X11* x11 = x11_of(&display, &window);
  if (x11 == nullptr) return false;
  XEvent event{};
  event.xconfigure.type = ConfigureNotify;
  event.xconfigure.event = event.xconfigure.window = window;
  SDL_GetWindowPosition(platform::window(), &event.xconfigure.x, &event.xconfigure.y);
  // SDL compares with the last such event, which may have had this size: first another one.
  for (const int more : {1, 0}) {
    event.xconfigure.width = real.w + more;
    event.xconfigure.height = real.h;
    x11->send(display, window, False, StructureNotifyMask, &event);
  }
  x11->flush(display);
  return true;
}

#else

bool send_size(platform::Size) {
  return false;
}

bool ask_x11(platform::WindowState*) {
  return false;
}

#endif

}  // namespace

namespace platform {

WindowState window_state() {
  WindowState state;
  SDL_GetWindowSize(window(), &state.size.w, &state.size.h);
  if (!ask_x11(&state))
    state.taken = window_has(SDL_WINDOW_FULLSCREEN) || window_has(SDL_WINDOW_MAXIMIZED);
  return state;
}

bool report_size(Size real) {
  return real.w > 0 && real.h > 0 && send_size(real);
}

}  // namespace platform
