// DESIGN: SDL assumes that a requested size was granted, and knows only windows that are maximized
// in both directions. The window's real state is in a property that the window manager maintains,
// and its real size is known to the display server. Events that SDL has missed are sent to it as if
// from the display server.

#include <cstring>

#include "platform_private.h"
#include "x11.h"

namespace {

#ifdef SDL_VIDEO_DRIVER_X11

constexpr const char* kHigh = "_NET_WM_STATE_MAXIMIZED_VERT";
constexpr const char* kWide = "_NET_WM_STATE_MAXIMIZED_HORZ";
constexpr const char* kFullScreen = "_NET_WM_STATE_FULLSCREEN";
constexpr const char* kTiled = "_NET_WM_STATE_TILED";
constexpr long kMostStates = 64;
constexpr long kRemove = 0;
constexpr long kAdd = 1;
constexpr long kFromPager = 2;

void read_states(const platform::X11Window& window, platform::WindowState* state) {
  Atom type = 0;
  int format = 0;
  unsigned long count = 0;
  unsigned long left = 0;
  unsigned char* data = nullptr;
  if (window.x11.property(window.display, window.id, window.atom("_NET_WM_STATE"), 0, kMostStates,
                          False, XA_ATOM, &type, &format, &count, &left, &data) != Success ||
      data == nullptr)
    return;
  for (unsigned long i = 0; format == 32 && i < count; ++i) {
    unsigned long atom = 0;  // a property's 32-bit values come as longs
    std::memcpy(&atom, data + i * sizeof atom, sizeof atom);
    const auto is = [&](const char* name) { return atom == window.atom(name); };
    state->high = state->high || is(kHigh);
    state->wide = state->wide || is(kWide);
    state->taken = state->taken || is(kFullScreen) || is(kTiled);
  }
  window.x11.free(data);
  state->taken = state->taken || state->high || state->wide;
}

bool ask_x11(platform::WindowState* state) {
  const auto window = platform::x11_window();
  if (!window) return false;
  read_states(*window, state);
  Window root = 0;
  int x = 0;
  int y = 0;
  unsigned w = 0;
  unsigned h = 0;
  unsigned border = 0;
  unsigned depth = 0;
  if (window->x11.geometry(window->display, window->id, &root, &x, &y, &w, &h, &border, &depth) !=
      0)
    state->size = {static_cast<int>(w), static_cast<int>(h)};
  Window child = 0;
  window->x11.translate(window->display, window->id, root, 0, 0, &state->place.x, &state->place.y,
                        &child);
  return true;
}

bool send_size(platform::Size real) {
  const auto window = platform::x11_window();
  if (!window) return false;
  XEvent event{};
  event.xconfigure.type = ConfigureNotify;
  event.xconfigure.event = event.xconfigure.window = window->id;
  SDL_GetWindowPosition(platform::window(), &event.xconfigure.x, &event.xconfigure.y);
  // SDL compares with the last such event, which may have had this size: first another one.
  for (const int more : {1, 0}) {
    event.xconfigure.width = real.w + more;
    event.xconfigure.height = real.h;
    window->x11.send_event(window->display, window->id, False, StructureNotifyMask, &event);
  }
  window->x11.flush(window->display);
  return true;
}

void send_release() {
  const auto window = platform::x11_window();
  if (!window) return;
  XEvent event{};
  event.xbutton.type = ButtonRelease;
  event.xbutton.window = window->id;
  event.xbutton.button = Button1;
  event.xbutton.state = Button1Mask;
  event.xbutton.same_screen = True;
  SDL_GetMouseState(&event.xbutton.x, &event.xbutton.y);
  window->x11.send_event(window->display, window->id, False, ButtonReleaseMask, &event);
  window->x11.flush(window->display);
}

// Asks the window manager to change two states at once; the second may be null.
void change_states(long action, const char* first, const char* second) {
  const auto window = platform::x11_window();
  if (!window) return;
  const auto atom = [&](const char* name) {
    return name == nullptr ? 0 : static_cast<long>(window->atom(name));
  };
  window->tell_manager("_NET_WM_STATE", {action, atom(first), atom(second), kFromPager});
}

void maximize_again(const platform::WindowState& state) {
  const char* first = state.high ? kHigh : kWide;
  const char* second = state.high && state.wide ? kWide : nullptr;
  change_states(kRemove, first, second);
  change_states(kAdd, first, second);
}

void leave_states() {
  change_states(kRemove, kHigh, kWide);
  change_states(kRemove, kFullScreen, nullptr);
}

#else

bool send_size(platform::Size) {
  return false;
}

void send_release() {}

void maximize_again(const platform::WindowState&) {}

void leave_states() {}

bool ask_x11(platform::WindowState*) {
  return false;
}

#endif

}  // namespace

namespace platform {

WindowState window_state() {
  WindowState state;
  SDL_GetWindowSize(window(), &state.size.w, &state.size.h);
  SDL_GetWindowPosition(window(), &state.place.x, &state.place.y);
  if (!ask_x11(&state))
    state.taken = window_has(SDL_WINDOW_FULLSCREEN) || window_has(SDL_WINDOW_MAXIMIZED);
  return state;
}

bool report_size(Size real) {
  return real.w > 0 && real.h > 0 && send_size(real);
}

void report_release() {
  send_release();
}

void fill_again(const WindowState& state) {
  if (state.high || state.wide) maximize_again(state);
}

void end_managed_state() {
  if (!window_state().taken) return;
  // SDL's way first, for displays other than X11.
  if (window_has(SDL_WINDOW_MAXIMIZED)) SDL_RestoreWindow(window());
  leave_states();
}

}  // namespace platform
