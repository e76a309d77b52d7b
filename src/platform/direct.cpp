// DESIGN: what changes from frame to frame is small. SDL shares its picture with the X server and
// waits for an answer after every frame, so that the picture may be drawn on; that costs the server
// more than the pictures. Small parts are sent along with the request instead, and nobody waits.
// From time to time SDL's way is taken all the same, so that a slow server never lags far behind.

#include "platform_private.h"

// After all our headers: X11 defines words like None as macros.
#include <SDL_syswm.h>
#ifdef SDL_VIDEO_DRIVER_X11
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#endif

namespace {

#ifdef SDL_VIDEO_DRIVER_X11

constexpr int kMostPixels = 16384;  // in a frame: more of them are better shared
constexpr int kMostUnawaited = 15;  // frames in a row
constexpr int kPixelBits = 32;

struct X11 {
  template <typename Function>
  static void find(Function** function, const char* name) {
    *function = reinterpret_cast<Function*>(compat::x11_symbol(name));
  }
  X11() {
    find(&attributes, "XGetWindowAttributes");
    find(&gc, "XCreateGC");
    find(&image, "XInitImage");
    find(&put, "XPutImage");
    find(&flush, "XFlush");
  }
  [[nodiscard]] bool complete() const {
    return attributes != nullptr && gc != nullptr && image != nullptr && put != nullptr &&
           flush != nullptr;
  }
  decltype(XGetWindowAttributes)* attributes = nullptr;
  decltype(XCreateGC)* gc = nullptr;
  decltype(XInitImage)* image = nullptr;
  decltype(XPutImage)* put = nullptr;
  decltype(XFlush)* flush = nullptr;
};

// Where parts are put. Graphics contexts are freed with the connection.
struct Target {
  Window window = 0;
  GC gc = nullptr;
  int depth = 0;  // 0: not known
};

int g_unawaited = 0;

const Target& target(const X11& x11, Display* display, Window window) {
  static Target known;
  if (known.window == window) return known;
  known = {window, x11.gc(display, window, 0, nullptr), 0};
  XWindowAttributes attributes{};
  if (x11.attributes(display, window, &attributes) != 0) known.depth = attributes.depth;
  return known;
}

bool few(const std::vector<SDL_Rect>& parts) {
  int pixels = 0;
  for (const SDL_Rect& part : parts)
    pixels += part.w * part.h;
  return pixels <= kMostPixels;
}

bool put(const std::vector<SDL_Rect>& parts) {
  SDL_SysWMinfo info{};
  SDL_VERSION(&info.version)
  if (SDL_GetWindowWMInfo(platform::window(), &info) != SDL_TRUE || info.subsystem != SDL_SYSWM_X11)
    return false;
  const SDL_Surface* surface = SDL_GetWindowSurface(platform::window());
  if (surface == nullptr || surface->format->BitsPerPixel == 0 ||
      surface->format->BytesPerPixel * 8 != kPixelBits)
    return false;
  static const X11 x11;
  if (!x11.complete()) return false;
  Display* display = info.info.x11.display;
  const Target& to = target(x11, display, info.info.x11.window);
  XImage image{};
  image.width = surface->w;
  image.height = surface->h;
  image.format = ZPixmap;
  image.data = static_cast<char*>(surface->pixels);
  image.byte_order = image.bitmap_bit_order = LSBFirst;
  image.bitmap_unit = image.bitmap_pad = image.bits_per_pixel = kPixelBits;
  image.depth = to.depth;
  image.bytes_per_line = surface->pitch;
  if (to.depth == 0 || to.gc == nullptr || x11.image(&image) == 0) return false;
  for (const SDL_Rect& part : parts) {
    x11.put(display, to.window, to.gc, &image, part.x, part.y, part.x, part.y,
            static_cast<unsigned>(part.w), static_cast<unsigned>(part.h));
  }
  x11.flush(display);
  return true;
}

#endif

}  // namespace

namespace platform {

bool put_small([[maybe_unused]] const std::vector<SDL_Rect>& parts) {
#ifdef SDL_VIDEO_DRIVER_X11
  if (g_unawaited < kMostUnawaited && few(parts) && put(parts)) {
    ++g_unawaited;
    return true;
  }
  g_unawaited = 0;
#endif
  return false;
}

}  // namespace platform
