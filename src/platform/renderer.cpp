// DESIGN: one renderer, accelerated if possible, else in software. It may be lost while the program
// runs; everything made with it is then rebuilt. All pictures come from cairo with premultiplied
// alpha, which accelerated renderers blend directly; for others the pictures are converted when
// they are uploaded.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

#include "app/logger.h"
#include "crash/crash_handler.h"
#include "platform_private.h"

namespace {

SDL_Renderer* g_renderer = nullptr;
SDL_BlendMode g_premul = SDL_BLENDMODE_BLEND;
bool g_software = false;  // no graphics card draws
bool g_device_lost = false;
std::uint64_t g_retry_at = 0;  // time of a later attempt, in ticks_ms(); never set so far

constexpr unsigned kGlVendor = 0x1F00;
constexpr unsigned kGlRenderer = 0x1F01;
constexpr unsigned kGlVersion = 0x1F02;

std::string or_question_mark(const char* text) {
  return text == nullptr ? "?" : text;
}

std::string dotted(const SDL_version& v) {
  return std::to_string(v.major) + "." + std::to_string(v.minor) + "." + std::to_string(v.patch);
}

SDL_RendererInfo renderer_info() {
  SDL_RendererInfo info{};
  SDL_GetRendererInfo(g_renderer, &info);
  return info;
}

bool accelerated(const SDL_RendererInfo& info) {
  return (info.flags & SDL_RENDERER_ACCELERATED) != 0;
}

void log_available() {
  std::string names;
  for (int i = 0; i < SDL_GetNumRenderDrivers(); ++i) {
    SDL_RendererInfo info{};
    if (SDL_GetRenderDriverInfo(i, &info) != 0) continue;
    if (!names.empty()) names += ", ";
    names += or_question_mark(info.name);
  }
  logger::info("Renderers available: " + names);
}

void log_chosen(const SDL_RendererInfo& info) {
  logger::info("Video: " + or_question_mark(SDL_GetCurrentVideoDriver()) + ", Renderer " +
               or_question_mark(info.name) +
               (accelerated(info) ? " (accelerated)" : " (software!)") +
               ((info.flags & SDL_RENDERER_PRESENTVSYNC) != 0 ? ", vsync" : ", no vsync"));
}

SDL_BlendMode choose_blend_mode() {
  const SDL_BlendMode premultiplied = SDL_ComposeCustomBlendMode(
      SDL_BLENDFACTOR_ONE, SDL_BLENDFACTOR_ONE_MINUS_SRC_ALPHA, SDL_BLENDOPERATION_ADD,
      SDL_BLENDFACTOR_ONE, SDL_BLENDFACTOR_ONE_MINUS_SRC_ALPHA, SDL_BLENDOPERATION_ADD);
  SDL_Texture* probe =
      SDL_CreateTexture(g_renderer, SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_STATIC, 1, 1);
  const bool works = probe != nullptr && SDL_SetTextureBlendMode(probe, premultiplied) == 0;
  if (probe != nullptr) SDL_DestroyTexture(probe);
  return works ? premultiplied : SDL_BLENDMODE_BLEND;
}

std::string versions_line(const SDL_RendererInfo& info) {
  SDL_version linked;
  SDL_GetVersion(&linked);
  SDL_version compiled;
  SDL_VERSION(&compiled)
  return "SDL " + dotted(linked) + " (built with " + dotted(compiled) + "), video " +
         or_question_mark(SDL_GetCurrentVideoDriver()) + ", renderer " +
         or_question_mark(info.name) + (accelerated(info) ? " accelerated" : " software") +
         ", max texture " + std::to_string(info.max_texture_width) + "x" +
         std::to_string(info.max_texture_height);
}

bool is_opengl(const SDL_RendererInfo& info) {
  const std::string name = or_question_mark(info.name);
  return name == "opengl" || name.starts_with("opengles");
}

using GetString = const unsigned char* (*)(unsigned);

// Null if the driver lacks this function.
GetString opengl_question() {
  return reinterpret_cast<GetString>(SDL_GL_GetProcAddress("glGetString"));
}

std::string opengl_text(GetString get, unsigned name) {
  return or_question_mark(reinterpret_cast<const char*>(get(name)));
}

// Empty when the driver says nothing.
std::string opengl_line() {
  const GetString get = opengl_question();
  if (get == nullptr) return {};
  return "OpenGL: " + opengl_text(get, kGlRenderer) + " | " + opengl_text(get, kGlVersion) + " | " +
         opengl_text(get, kGlVendor);
}

// Whether the environment names a driver, which is then used.
bool named_driver() {
  const char* wanted = SDL_GetHint(SDL_HINT_RENDER_DRIVER);
  return wanted != nullptr && *wanted != '\0';
}

// Software OpenGL takes three times the time and memory of SDL's software renderer, and threads of
// its own.
bool suitable(const SDL_RendererInfo& info) {
  if (named_driver() || !is_opengl(info)) return true;
  const GetString get = opengl_question();
  return get == nullptr || !platform::is_software_rasterizer(opengl_text(get, kGlRenderer));
}

// Without a graphics card in the kernel there is only software OpenGL. Finding that out from OpenGL
// itself would cost 200 ms and 60 MB, which would not be freed.
bool has_graphics_card() {
  constexpr std::array kAccess{"/dev/dri", "/dev/nvidiactl", "/dev/dxg", "/dev/mali0",
                               "/dev/kgsl-3d0"};
  if (named_driver()) return true;
  return std::any_of(kAccess.begin(), kAccess.end(),
                     [](const char* path) { return access(path, F_OK) == 0; });
}

// The first driver that uses a graphics card; null if there is none.
SDL_Renderer* accelerated_renderer() {
  if (!has_graphics_card()) return nullptr;
  SDL_Renderer* found = SDL_CreateRenderer(platform::window(), -1,
                                           SDL_RENDERER_ACCELERATED | SDL_RENDERER_PRESENTVSYNC);
  SDL_RendererInfo info{};
  if (found == nullptr || SDL_GetRendererInfo(found, &info) != 0 || suitable(info)) return found;
  SDL_DestroyRenderer(found);
  return nullptr;
}

std::string display_line(int i) {
  SDL_DisplayMode mode{};
  SDL_GetCurrentDisplayMode(i, &mode);
  SDL_Rect bounds{};
  SDL_GetDisplayBounds(i, &bounds);
  float dpi = 0.0F;
  SDL_GetDisplayDPI(i, &dpi, nullptr, nullptr);
  std::array<char, 128> numbers{};
  std::snprintf(numbers.data(), numbers.size(), ", %dx%d at %d,%d, %d Hz, %.0f dpi", mode.w, mode.h,
                bounds.x, bounds.y, mode.refresh_rate, static_cast<double>(dpi));
  return "Display " + std::to_string(i) + ": " + or_question_mark(SDL_GetDisplayName(i)) +
         numbers.data();
}

std::vector<std::string> graphics_lines(const SDL_RendererInfo& info) {
  std::vector<std::string> lines{versions_line(info)};
  if (is_opengl(info)) {
    if (std::string line = opengl_line(); !line.empty()) lines.push_back(std::move(line));
  }
  for (int i = 0; i < SDL_GetNumVideoDisplays(); ++i)
    lines.push_back(display_line(i));
  return lines;
}

}  // namespace

namespace platform {

bool create_renderer() {
  log_available();
  g_renderer = accelerated_renderer();
  if (g_renderer == nullptr) g_renderer = SDL_CreateRenderer(window(), -1, SDL_RENDERER_SOFTWARE);
  if (g_renderer == nullptr) {
    logger::error(std::string("SDL_CreateRenderer: ") + SDL_GetError());
    return false;
  }
  const SDL_RendererInfo info = renderer_info();
  g_software = !accelerated(info);
  invalidate_frame();
  log_chosen(info);
  g_premul = choose_blend_mode();
  crash_handler::record_graphics(graphics_lines(info));
  return true;
}

void destroy_renderer() {
  if (g_renderer != nullptr) SDL_DestroyRenderer(g_renderer);
  g_renderer = nullptr;
}

SDL_Renderer* renderer() {
  return g_renderer;
}

bool draws_in_software() {
  return g_software;
}

Size output_size() {
  Size size;
  SDL_GetRendererOutputSize(g_renderer, &size.w, &size.h);
  return size;
}

void set_device_lost() {
  g_device_lost = true;
}

bool recover_renderer() {
  const bool retry = g_retry_at != 0 && ticks_ms() >= g_retry_at;
  if (!g_device_lost && !retry) return true;
  g_device_lost = false;
  logger::warn("Graphics device reset - recreating the renderer");
  clear_cache();
  destroy_layers();
  destroy_renderer();
  if (!create_renderer()) return false;
  g_retry_at = 0;
  forget_scale();
  update_scale();
  return true;
}

SDL_BlendMode blend_mode() {
  return g_premul;
}

void adapt_alpha(cairo_surface_t* surface) {
  if (g_premul != SDL_BLENDMODE_BLEND) return;
  unsigned char* row = cairo_image_surface_get_data(surface);
  const int stride = cairo_image_surface_get_stride(surface);
  const auto width = static_cast<std::size_t>(cairo_image_surface_get_width(surface));
  for (int y = 0; y < cairo_image_surface_get_height(surface); ++y, row += stride) {
    // Cairo aligns its rows for whole pixels.
    to_straight_alpha(reinterpret_cast<std::uint32_t*>(row), width);
  }
  cairo_surface_mark_dirty(surface);
}

}  // namespace platform
