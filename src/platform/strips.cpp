// DESIGN: pictures that are copied in parts or tinted every frame are drawn once and kept as
// textures under a name made of everything they depend on. Users keep a handle (Strip), so that a
// frame needs no lookup. The cache is small: instead of choosing an entry to drop, it is emptied.

#include <algorithm>
#include <cmath>
#include <map>

#include "gfx/gfx.h"
#include "platform_private.h"
#include "ui/theme.h"

namespace {

constexpr std::size_t kMostEntries = 24;  // limit before it is emptied

std::map<std::string, SDL_Texture*> g_cache;
unsigned g_generation = 1;  // counts how often the cache was emptied

int pixels(float logical) {
  const auto n = std::lround(static_cast<double>(logical) * platform::pixel_scale());
  return std::max(1, static_cast<int>(n));
}

void paint_into(cairo_surface_t* surface, const std::function<void()>& paint) {
  cairo_t* cr = cairo_create(surface);
  gfx::set_context(cr);
  paint();
  gfx::set_context(nullptr);
  cairo_destroy(cr);
  cairo_surface_flush(surface);
}

SDL_Texture* upload(cairo_surface_t* surface, int w, int h) {
  const unsigned char* data = cairo_image_surface_get_data(surface);
  if (data == nullptr) return nullptr;
  SDL_Texture* texture = SDL_CreateTexture(platform::renderer(), SDL_PIXELFORMAT_ARGB8888,
                                           SDL_TEXTUREACCESS_STATIC, w, h);
  if (texture == nullptr) return nullptr;
  platform::adapt_alpha(surface);
  SDL_UpdateTexture(texture, nullptr, data, cairo_image_surface_get_stride(surface));
  SDL_SetTextureBlendMode(texture, platform::blend_mode());
  return texture;
}

SDL_Texture* make(float w, float h, const std::function<void()>& paint) {
  const double scale = platform::pixel_scale();
  const int width = pixels(w);
  const int height = pixels(h);
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
  cairo_surface_set_device_scale(surface, scale, scale);
  paint_into(surface, paint);
  SDL_Texture* texture = upload(surface, width, height);
  cairo_surface_destroy(surface);
  return texture;
}

}  // namespace

namespace platform {

bool is_current(const Strip& strip, float w, float h) {
  // Exact comparisons: any other size is requested again.
  return strip.generation == g_generation && !(strip.w < w) && !(strip.w > w) && !(strip.h < h) &&
         !(strip.h > h) && strip.dark == theme::dark() && !(strip.pixel_scale < pixel_scale()) &&
         !(strip.pixel_scale > pixel_scale());
}

void fetch(Strip& strip, const std::string& name, int n, float w, float h,
           const std::function<void()>& paint) {
  const std::string entry = key(name, n, w, h, theme::dark(), pixel_scale());
  auto found = g_cache.find(entry);
  if (found == g_cache.end()) {
    if (g_cache.size() > kMostEntries) clear_cache();
    // A failed one is stored, too, so that it is not tried again every frame.
    found = g_cache.emplace(entry, make(w, h, paint)).first;
  }
  strip = {found->second, w, h, pixel_scale(), theme::dark(), g_generation};
}

unsigned cache_generation() {
  return g_generation;
}

void clear_cache() {
  for (const auto& [name, texture] : g_cache) {
    if (texture != nullptr) SDL_DestroyTexture(texture);
  }
  g_cache.clear();
  ++g_generation;
}

}  // namespace platform
