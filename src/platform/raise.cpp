// DESIGN: window managers refuse the keyboard to a window that was not used last, and rightly so;
// but here the user has just asked for it, in another process. Under X11 that is expressed by
// asking as a pager does, with the present time; SDL asks as a program, with the time of its own
// last event. Under Wayland only a token counts, which SDL takes from the environment when it shows
// a window.

#include <cstdlib>
#include <optional>
#include <utility>

#include "platform_private.h"

// After all our headers: X11 defines words like None as macros.
#include <SDL_syswm.h>
#ifdef SDL_VIDEO_DRIVER_X11
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#endif

namespace {

#ifdef SDL_VIDEO_DRIVER_X11

constexpr long kFromPager = 2;

struct X11 {
  template <typename Function>
  static void find(Function** function, const char* name) {
    *function = reinterpret_cast<Function*>(compat::x11_symbol(name));
  }
  X11() {
    find(&atom, "XInternAtom");
    find(&change, "XChangeProperty");
    find(&send, "XSendEvent");
    find(&await, "XIfEvent");
    find(&flush, "XFlush");
  }
  [[nodiscard]] bool complete() const {
    return atom != nullptr && change != nullptr && send != nullptr && await != nullptr &&
           flush != nullptr;
  }
  decltype(XInternAtom)* atom = nullptr;
  decltype(XChangeProperty)* change = nullptr;
  decltype(XSendEvent)* send = nullptr;
  decltype(XIfEvent)* await = nullptr;
  decltype(XFlush)* flush = nullptr;
};

struct Mark {
  Window window;
  Atom atom;
};

Bool is_marked(Display*, XEvent* event, XPointer data) {
  const auto* mark = reinterpret_cast<const Mark*>(data);
  return event->type == PropertyNotify && event->xproperty.window == mark->window &&
                 event->xproperty.atom == mark->atom
             ? True
             : False;
}

// The server's time: that of a change that changes nothing.
Time present_time(const X11& x11, Display* display, Window window) {
  Mark mark{window, x11.atom(display, "_VELMORA_TIME", False)};
  const unsigned char nothing = 0;
  x11.change(display, window, mark.atom, XA_STRING, 8, PropModeAppend, &nothing, 0);
  XEvent event{};
  x11.await(display, &event, is_marked, reinterpret_cast<XPointer>(&mark));
  return event.xproperty.time;
}

// Returns false where this is not X11.
bool activate_as_pager(SDL_Window* sdl_window) {
  SDL_SysWMinfo info{};
  SDL_VERSION(&info.version)
  if (SDL_GetWindowWMInfo(sdl_window, &info) != SDL_TRUE || info.subsystem != SDL_SYSWM_X11)
    return false;
  static const X11 x11;
  if (!x11.complete()) return false;
  Display* display = info.info.x11.display;
  XEvent event{};
  event.xclient.type = ClientMessage;
  event.xclient.window = info.info.x11.window;
  event.xclient.message_type = x11.atom(display, "_NET_ACTIVE_WINDOW", False);
  event.xclient.format = 32;
  event.xclient.data.l[0] = kFromPager;
  event.xclient.data.l[1] = static_cast<long>(present_time(x11, display, info.info.x11.window));
  x11.send(display, DefaultRootWindow(display), False,
           SubstructureRedirectMask | SubstructureNotifyMask, &event);
  x11.flush(display);
  return true;
}

#else

bool activate_as_pager(SDL_Window*) {
  return false;
}

#endif

std::optional<platform::Point> g_place;  // of the window that we have hidden

// Window managers treat a window that is shown again as a new one, and place it again. SDL calls a
// minimised one hidden, too, but that has kept its place.
void show_again(const desktop::Activation& activation) {
  SDL_Window* window = platform::window();
  if (!activation.token.empty()) setenv("XDG_ACTIVATION_TOKEN", activation.token.c_str(), 1);
  SDL_ShowWindow(window);
  const auto place = std::exchange(g_place, std::nullopt);
  if (!place || !platform::video_driver_is("x11")) return;
  SDL_PumpEvents();
  SDL_SetWindowPosition(window, place->x, place->y);
}

}  // namespace

namespace platform {

void raise_window(const desktop::Activation& activation) {
  SDL_Window* window = platform::window();
  if (window_has(SDL_WINDOW_HIDDEN)) show_again(activation);
  // Restoring a maximized window would shrink it.
  if (window_has(SDL_WINDOW_MINIMIZED)) SDL_RestoreWindow(window);
  SDL_RaiseWindow(window);
  activate_as_pager(window);
}

void hide_window() {
  if (window_has(SDL_WINDOW_HIDDEN)) return;
  Point place;
  platform::window_pos(&place.x, &place.y);
  g_place = place;
  SDL_HideWindow(platform::window());
}

}  // namespace platform
