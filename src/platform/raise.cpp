// DESIGN: window managers rightly refuse the keyboard to a window that was not used last; but here
// the user has just asked for it, in another process. Under X11 the request is made as a pager's,
// with the current time; SDL's own is a program's, with the time of its last event. Under Wayland
// only a token counts, which SDL takes from the environment when it shows a window. Other threads
// may read the environment meanwhile, and programs that are started inherit it: nothing is put
// there needlessly.

#include <cstdlib>
#include <optional>
#include <utility>

#include "platform_private.h"
#include "x11.h"

namespace {

#ifdef SDL_VIDEO_DRIVER_X11

constexpr long kFromPager = 2;

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

// The server's time, obtained from an empty property change.
Time present_time(const platform::X11Window& window) {
  Mark mark{window.id, window.atom("_VELMORA_TIME")};
  const unsigned char nothing = 0;
  window.x11.change_property(window.display, window.id, mark.atom, XA_STRING, 8, PropModeAppend,
                             &nothing, 0);
  XEvent event{};
  window.x11.await_event(window.display, &event, is_marked, reinterpret_cast<XPointer>(&mark));
  return event.xproperty.time;
}

// Does nothing but under X11.
void activate_as_pager() {
  if (const auto window = platform::x11_window())
    window->tell_manager("_NET_ACTIVE_WINDOW",
                         {kFromPager, static_cast<long>(present_time(*window))});
}

#else

void activate_as_pager() {}

#endif

std::optional<platform::Point> g_place;  // of the window that we have hidden

// Window managers treat a window that is shown again as a new one, and place it again. SDL calls a
// minimised one hidden, too, but that has kept its place.
void show_again(const desktop::Activation& activation) {
  SDL_Window* window = platform::window();
  if (!activation.token.empty() && platform::video_driver_is("wayland"))
    setenv("XDG_ACTIVATION_TOKEN", activation.token.c_str(), 1);
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
  activate_as_pager();
}

void hide_window() {
  if (window_has(SDL_WINDOW_HIDDEN)) return;
  g_place = lasting_place();
  SDL_HideWindow(platform::window());
}

}  // namespace platform
