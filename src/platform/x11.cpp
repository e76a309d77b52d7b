// DESIGN: the library is the one that SDL itself loads. Its handle is kept, so that functions stay
// valid.

#include <dlfcn.h>

#include <algorithm>

#include "platform_private.h"
#include "x11.h"

#ifdef SDL_VIDEO_DRIVER_X11

namespace {

constexpr const char* kLibrary = "libX11.so.6";

class Finder {
 public:
  template <typename Function>
  void operator()(Function** function, const char* name) {
    if (library_ != nullptr) *function = reinterpret_cast<Function*>(dlsym(library_, name));
    complete_ = complete_ && *function != nullptr;
  }
  bool complete() const { return complete_; }

 private:
  void* library_ = dlopen(kLibrary, RTLD_LAZY);
  bool complete_ = true;
};

std::optional<platform::X11Functions> find_all() {
  platform::X11Functions x11;
  Finder find;
  find(&x11.attributes, "XGetWindowAttributes");
  find(&x11.await_event, "XIfEvent");
  find(&x11.change_property, "XChangeProperty");
  find(&x11.create_gc, "XCreateGC");
  find(&x11.default_screen, "XDefaultScreen");
  find(&x11.flush, "XFlush");
  find(&x11.free, "XFree");
  find(&x11.geometry, "XGetGeometry");
  find(&x11.grab_server, "XGrabServer");
  find(&x11.init_image, "XInitImage");
  find(&x11.intern_atom, "XInternAtom");
  find(&x11.key_name, "XKeysymToString");
  find(&x11.lookup_key, "XLookupString");
  find(&x11.normal_hints, "XGetWMNormalHints");
  find(&x11.property, "XGetWindowProperty");
  find(&x11.put_image, "XPutImage");
  find(&x11.selection_owner, "XGetSelectionOwner");
  find(&x11.send_event, "XSendEvent");
  find(&x11.set_error_handler, "XSetErrorHandler");
  find(&x11.set_normal_hints, "XSetWMNormalHints");
  find(&x11.translate, "XTranslateCoordinates");
  find(&x11.ungrab_server, "XUngrabServer");
  return find.complete() ? std::optional(x11) : std::nullopt;
}

}  // namespace

namespace platform {

const X11Functions* x11_functions() {
  static const std::optional<X11Functions> found = find_all();
  return found ? &*found : nullptr;
}

std::optional<X11Window> x11_window() {
  SDL_SysWMinfo info{};
  SDL_VERSION(&info.version)
  if (SDL_GetWindowWMInfo(window(), &info) != SDL_TRUE || info.subsystem != SDL_SYSWM_X11)
    return std::nullopt;
  const X11Functions* x11 = x11_functions();
  if (x11 == nullptr) return std::nullopt;
  return X11Window{*x11, info.info.x11.display, info.info.x11.window};
}

void X11Window::tell_manager(const char* type, std::initializer_list<long> values) const {
  XEvent event{};
  event.xclient.type = ClientMessage;
  event.xclient.window = id;
  event.xclient.message_type = atom(type);
  event.xclient.format = 32;
  std::copy(values.begin(), values.end(), event.xclient.data.l);
  x11.send_event(display, DefaultRootWindow(display), False,
                 SubstructureRedirectMask | SubstructureNotifyMask, &event);
  x11.flush(display);
}

}  // namespace platform

#endif
