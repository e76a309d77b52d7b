// DESIGN: the changes from frame to frame are small. SDL shares its picture with the X server and
// waits for an answer after every frame before drawing again, which costs the server more than the
// pictures do. Instead, small parts are sent within the request, without waiting. From time to time
// SDL's way is used anyway, so that a slow server never lags far behind.

#include "platform_private.h"

#include "x11.h"

namespace {

#ifdef SDL_VIDEO_DRIVER_X11

constexpr int kMostPixels = 16384;  // in a frame; for more, sharing is cheaper
constexpr int kMostUnawaited = 15;  // frames in a row
constexpr int kPixelBits = 32;

// The target of the parts. Graphics contexts are freed with the connection.
struct Target {
  Window window = 0;
  GC gc = nullptr;
  int depth = 0;  // 0: not known
};

int g_unawaited = 0;

const Target& target(const platform::X11Window& window) {
  static Target known;
  if (known.window == window.id) return known;
  known = {window.id, window.x11.create_gc(window.display, window.id, 0, nullptr), 0};
  XWindowAttributes attributes{};
  if (window.x11.attributes(window.display, window.id, &attributes) != 0)
    known.depth = attributes.depth;
  return known;
}

bool few(const std::vector<SDL_Rect>& parts) {
  int pixels = 0;
  for (const SDL_Rect& part : parts)
    pixels += part.w * part.h;
  return pixels <= kMostPixels;
}

bool put(const std::vector<SDL_Rect>& parts) {
  const auto window = platform::x11_window();
  if (!window) return false;
  const SDL_Surface* surface = SDL_GetWindowSurface(platform::window());
  if (surface == nullptr || surface->format->BitsPerPixel == 0 ||
      surface->format->BytesPerPixel * 8 != kPixelBits)
    return false;
  const Target& to = target(*window);
  XImage image{};
  image.width = surface->w;
  image.height = surface->h;
  image.format = ZPixmap;
  image.data = static_cast<char*>(surface->pixels);
  image.byte_order = image.bitmap_bit_order = LSBFirst;
  image.bitmap_unit = image.bitmap_pad = image.bits_per_pixel = kPixelBits;
  image.depth = to.depth;
  image.bytes_per_line = surface->pitch;
  if (to.depth == 0 || to.gc == nullptr || window->x11.init_image(&image) == 0) return false;
  for (const SDL_Rect& part : parts) {
    window->x11.put_image(window->display, to.window, to.gc, &image, part.x, part.y, part.x, part.y,
                          static_cast<unsigned>(part.w), static_cast<unsigned>(part.h));
  }
  window->x11.flush(window->display);
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
