// The functions of the X11 library that the window needs, looked up at run time: without X11
// nothing is loaded. Thread: the main thread only.
//
// Include it after all other headers: X11 defines macros such as None.
#pragma once

#include <SDL_syswm.h>

#ifdef SDL_VIDEO_DRIVER_X11

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <initializer_list>
#include <optional>

namespace platform {

struct X11Functions {
  decltype(XChangeProperty)* change_property = nullptr;
  decltype(XCreateGC)* create_gc = nullptr;
  decltype(XDefaultScreen)* default_screen = nullptr;
  decltype(XFlush)* flush = nullptr;
  decltype(XFree)* free = nullptr;
  decltype(XGetGeometry)* geometry = nullptr;
  decltype(XGetSelectionOwner)* selection_owner = nullptr;
  decltype(XGetWMNormalHints)* normal_hints = nullptr;
  decltype(XGetWindowAttributes)* attributes = nullptr;
  decltype(XGetWindowProperty)* property = nullptr;
  decltype(XGrabServer)* grab_server = nullptr;
  decltype(XIfEvent)* await_event = nullptr;
  decltype(XInitImage)* init_image = nullptr;
  decltype(XInternAtom)* intern_atom = nullptr;
  decltype(XKeysymToString)* key_name = nullptr;
  decltype(XLookupString)* lookup_key = nullptr;
  decltype(XPutImage)* put_image = nullptr;
  decltype(XSendEvent)* send_event = nullptr;
  decltype(XSetErrorHandler)* set_error_handler = nullptr;
  decltype(XSetWMNormalHints)* set_normal_hints = nullptr;
  decltype(XTranslateCoordinates)* translate = nullptr;
  decltype(XUngrabServer)* ungrab_server = nullptr;
};

// Null if the library or one of the functions is missing. Loads the library: call it only if X11
// may be in use.
const X11Functions* x11_functions();

// The program's window and the connection to its X server.
struct X11Window {
  const X11Functions& x11;
  Display* display;  // SDL's connection
  Window id;

  // The X atom of a name.
  Atom atom(const char* name) const { return x11.intern_atom(display, name, False); }

  // Sends a client message of 32-bit values (up to five) about the window to the window manager.
  void tell_manager(const char* type, std::initializer_list<long> values) const;
};

// Empty if the window is not an X11 window.
std::optional<X11Window> x11_window();

}  // namespace platform

#endif
