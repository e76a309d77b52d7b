// DESIGN: SDL believes that a size it has asked for was granted, and knows only of windows that are
// maximized in both directions. What has really become of the window stands in a property that the
// window manager keeps, and in the display server's own record of its size. What SDL has missed is
// sent to it as an event of the display server's.

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

constexpr const char* kHigh = "_NET_WM_STATE_MAXIMIZED_VERT";
constexpr const char* kWide = "_NET_WM_STATE_MAXIMIZED_HORZ";
constexpr const char* kFullScreen = "_NET_WM_STATE_FULLSCREEN";
constexpr const char* kTiled = "_NET_WM_STATE_TILED";
constexpr long kMostStates = 64;
constexpr long kRemove = 0;
constexpr long kAdd = 1;
constexpr long kFromPager = 2;

struct X11 {
  template <typename Function>
  static void find(Function** function, const char* name) {
    *function = reinterpret_cast<Function*>(compat::x11_symbol(name));
  }
  X11() {
    find(&atom, "XInternAtom");
    find(&property, "XGetWindowProperty");
    find(&geometry, "XGetGeometry");
    find(&translate, "XTranslateCoordinates");
    find(&free, "XFree");
    find(&send, "XSendEvent");
    find(&flush, "XFlush");
  }
  [[nodiscard]] bool complete() const {
    return atom != nullptr && property != nullptr && geometry != nullptr && translate != nullptr &&
           free != nullptr && send != nullptr && flush != nullptr;
  }
  decltype(XInternAtom)* atom = nullptr;
  decltype(XGetWindowProperty)* property = nullptr;
  decltype(XGetGeometry)* geometry = nullptr;
  decltype(XTranslateCoordinates)* translate = nullptr;
  decltype(XFree)* free = nullptr;
  decltype(XSendEvent)* send = nullptr;
  decltype(XFlush)* flush = nullptr;
};

void read_states(const X11& x11, Display* display, Window window, platform::WindowState* state) {
  Atom type = 0;
  int format = 0;
  unsigned long count = 0;
  unsigned long left = 0;
  unsigned char* data = nullptr;
  const Atom property = x11.atom(display, "_NET_WM_STATE", False);
  if (x11.property(display, window, property, 0, kMostStates, False, XA_ATOM, &type, &format,
                   &count, &left, &data) != Success ||
      data == nullptr)
    return;
  for (unsigned long i = 0; format == 32 && i < count; ++i) {
    unsigned long atom = 0;  // a property's 32-bit values come as longs
    std::memcpy(&atom, data + i * sizeof atom, sizeof atom);
    const auto is = [&](const char* name) { return atom == x11.atom(display, name, False); };
    state->high = state->high || is(kHigh);
    state->wide = state->wide || is(kWide);
    state->taken = state->taken || is(kFullScreen) || is(kTiled);
  }
  x11.free(data);
  state->taken = state->taken || state->high || state->wide;
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
  read_states(x11, display, window, state);
  Window root = 0;
  int x = 0;
  int y = 0;
  unsigned w = 0;
  unsigned h = 0;
  unsigned border = 0;
  unsigned depth = 0;
  if (x11.geometry(display, window, &root, &x, &y, &w, &h, &border, &depth) != 0)
    state->size = {static_cast<int>(w), static_cast<int>(h)};
  Window child = 0;
  x11.translate(display, window, root, 0, 0, &state->place.x, &state->place.y, &child);
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

void send_release() {
  Display* display = nullptr;
  Window window = 0;
  const X11* x11 = x11_of(&display, &window);
  if (x11 == nullptr) return;
  XEvent event{};
  event.xbutton.type = ButtonRelease;
  event.xbutton.window = window;
  event.xbutton.button = Button1;
  event.xbutton.state = Button1Mask;
  event.xbutton.same_screen = True;
  SDL_GetMouseState(&event.xbutton.x, &event.xbutton.y);
  x11->send(display, window, False, ButtonReleaseMask, &event);
  x11->flush(display);
}

// Asks the window manager to change two states at once; the second may be null.
void change_states(long action, const char* first, const char* second) {
  Display* display = nullptr;
  Window window = 0;
  const X11* x11 = x11_of(&display, &window);
  if (x11 == nullptr) return;
  const auto atom = [&](const char* name) {
    return name == nullptr ? 0 : static_cast<long>(x11->atom(display, name, False));
  };
  XEvent event{};
  event.xclient.type = ClientMessage;
  event.xclient.window = window;
  event.xclient.message_type = x11->atom(display, "_NET_WM_STATE", False);
  event.xclient.format = 32;
  event.xclient.data.l[0] = action;
  event.xclient.data.l[1] = atom(first);
  event.xclient.data.l[2] = atom(second);
  event.xclient.data.l[3] = kFromPager;
  x11->send(display, DefaultRootWindow(display), False,
            SubstructureRedirectMask | SubstructureNotifyMask, &event);
  x11->flush(display);
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

void take_back() {
  if (!window_state().taken) return;
  // SDL's way first, for displays other than X11.
  if (window_has(SDL_WINDOW_MAXIMIZED)) SDL_RestoreWindow(window());
  leave_states();
}

}  // namespace platform
