// DESIGN: two pictures of the window's size. The base layer is opaque and contains everything that
// does not move; the overlay is above the moving parts. Both are redrawn only when the interface
// reports a change; the moving parts are copied between them.

#include <cmath>

#include "gfx/gfx.h"
#include "platform_private.h"

namespace {

struct Layer {
  cairo_surface_t* surface = nullptr;  // in device pixels
  SDL_Texture* texture = nullptr;      // of the same size
  std::int32_t width = 0;
  std::int32_t height = 0;
  bool ready = false;  // base: up to date; overlay: holds something to show
};

Layer g_base;
Layer g_over;

void destroy(Layer& layer) {
  if (layer.texture != nullptr) SDL_DestroyTexture(layer.texture);
  if (layer.surface != nullptr) cairo_surface_destroy(layer.surface);
  layer = Layer{};
}

void layer_size(Layer& layer, int w, int h, bool opaque) {
  if (layer.surface != nullptr && layer.width == w && layer.height == h) return;
  destroy(layer);
  layer.surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
  cairo_surface_set_device_scale(layer.surface, platform::pixel_scale(), platform::pixel_scale());
  layer.texture = SDL_CreateTexture(platform::renderer(), SDL_PIXELFORMAT_ARGB8888,
                                    SDL_TEXTUREACCESS_STREAMING, w, h);
  if (layer.texture != nullptr) {
    SDL_SetTextureBlendMode(layer.texture, opaque ? SDL_BLENDMODE_NONE : platform::blend_mode());
  }
  layer.width = w;
  layer.height = h;
}

// Runs `draw` on an empty surface. Returns what it returns, true when it drew something.
template <typename Draw>
bool redraw(const Layer& layer, Draw draw) {
  const double scale = platform::pixel_scale();
  cairo_surface_set_device_scale(layer.surface, scale, scale);
  cairo_t* cr = cairo_create(layer.surface);
  cairo_set_operator(cr, CAIRO_OPERATOR_CLEAR);
  cairo_paint(cr);
  cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
  gfx::set_context(cr);
  const bool drawn = draw(static_cast<int>(std::ceil(platform::view().w)),
                          static_cast<int>(std::ceil(platform::view().h)));
  gfx::set_context(nullptr);
  cairo_destroy(cr);
  cairo_surface_flush(layer.surface);
  return drawn;
}

void upload(const Layer& layer) {
  const unsigned char* pixels = cairo_image_surface_get_data(layer.surface);
  if (layer.texture == nullptr || pixels == nullptr) return;
  SDL_UpdateTexture(layer.texture, nullptr, pixels, cairo_image_surface_get_stride(layer.surface));
}

void copy(const Layer& layer) {
  if (layer.texture != nullptr)
    SDL_RenderCopy(platform::renderer(), layer.texture, nullptr, nullptr);
}

}  // namespace

namespace platform {

void draw_layers() {
  const Size size = output_size();
  layer_size(g_base, size.w, size.h, true);
  redraw(g_base, [](int w, int h) {
    ui::draw_base(w, h);
    return true;
  });
  upload(g_base);
  g_base.ready = true;

  layer_size(g_over, size.w, size.h, false);
  invalidate_frame();
  g_over.ready = redraw(g_over, ui::draw_overlay);
  if (!g_over.ready) return;
  adapt_alpha(g_over.surface);
  upload(g_over);
}

void invalidate_layers() {
  g_base.ready = false;
}

bool layers_ready() {
  return g_base.ready;
}

void destroy_layers() {
  destroy(g_base);
  destroy(g_over);
}

void copy_base() {
  copy(g_base);
}

void copy_overlay() {
  if (g_over.ready) copy(g_over);
}

}  // namespace platform
