// DESIGN: a frame is nothing but copies of textures: base, bars, meters, glass, title, overlay. No
// drawing happens here except when a strip is missing, and nothing is allocated while everything is
// in place. What is lit in a column is contiguous, so it is one copy however many segments it has.

#include <algorithm>
#include <array>

#include "frame_stats.h"
#include "platform_private.h"

namespace {

using platform::Strip;
using Strips = std::array<Strip, ui::kModes>;

Strips g_bars;
Strips g_meters;
Strip g_glass;

struct GlyphStrip {
  std::string text;
  Strip strip;
};
std::vector<GlyphStrip> g_title;

constexpr double kMsPerSecond = 1000.0;

SDL_Rect sdl_rect(const platform::Area& a) {
  return {a.x, a.y, a.w, a.h};
}

// Copies the logical rectangle (x, y, w, h) of a strip whose origin is at (ox, oy) on the screen.
void copy_part(SDL_Texture* texture, float x, float y, float w, float h, float ox, float oy) {
  platform::Size size;
  if (texture == nullptr || SDL_QueryTexture(texture, nullptr, nullptr, &size.w, &size.h) != 0)
    return;
  const auto part = platform::part_of(size, platform::pixel_scale(), x, y, w, h, ox, oy);
  if (!part) return;
  const SDL_Rect from = sdl_rect(part->from);
  const SDL_Rect to = sdl_rect(part->to);
  SDL_RenderCopy(platform::renderer(), texture, &from, &to);
}

bool shown(const gfx::Rect& r) {
  return r.w > 0.0F && r.h > 0.0F;
}

// Fetching one strip may empty the cache and so take another one away; the second round finds room.
template <typename Paint>
void prepare(Strips& strips, const char* name, const gfx::Rect& area, Paint paint) {
  for (int round = 0; round < 2; ++round) {
    for (int n = 0; n < ui::kModes; ++n) {
      Strip& strip = strips[static_cast<std::size_t>(n)];
      if (!platform::is_current(strip, area.w, area.h))
        platform::fetch(strip, name, n, area.w, area.h, [&] { paint(n); });
    }
  }
}

void copy_columns(const Strips& strips, const gfx::Rect& area, const ui::SegmentGeom& g,
                  const int* lit, const int* peak) {
  SDL_Texture* bright = strips[ui::kPeak].texture;
  const auto top_of = [&](int segment) {
    return area.h - static_cast<float>(segment) * g.pitch - g.segment_height;
  };
  copy_part(strips[ui::kUnlit].texture, 0.0F, 0.0F, area.w, area.h, area.x, area.y);
  for (int i = 0; i < g.columns; ++i) {
    const float x = static_cast<float>(i) * (g.column_width + g.gap);
    const int n = std::min(g.segments, lit[i]);
    if (n > 1) {
      const float y = top_of(n - 2);
      copy_part(strips[ui::kLit].texture, x, y, g.column_width, area.h - y, area.x, area.y);
    }
    if (n > 0)
      copy_part(bright, x, top_of(n - 1), g.column_width, g.segment_height, area.x, area.y);
    if (peak[i] >= std::max(n, 0))
      copy_part(bright, x, top_of(peak[i]), g.column_width, g.segment_height, area.x, area.y);
  }
}

void copy_bars(const ui::BarView& bars) {
  const gfx::Rect& area = bars.bars;
  if (!shown(area)) return;
  prepare(g_bars, "bars", area, [&](int n) { ui::paint_bars(n, area.w, area.h, bars.compact); });
  const ui::SegmentGeom geom = ui::bar_geom(area.w, area.h, bars.compact);
  std::array<int, ui::kBars> lit{};
  std::array<int, ui::kBars> peak{};
  ui::bar_segments(geom.segments, lit.data(), peak.data());
  copy_columns(g_bars, area, geom, lit.data(), peak.data());
}

void copy_meters(const gfx::Rect& area) {
  if (!shown(area)) return;
  prepare(g_meters, "meters", area, [&](int n) { ui::paint_meters(n, area.w, area.h); });
  const ui::SegmentGeom geom = ui::meter_geom(area.w, area.h);
  std::array<int, ui::kMeters> lit{};
  std::array<int, ui::kMeters> peak{};
  ui::meter_segments(geom.segments, lit.data(), peak.data());
  copy_columns(g_meters, area, geom, lit.data(), peak.data());
}

void copy_glass(const gfx::Rect& area) {
  if (!shown(area)) return;
  if (!platform::is_current(g_glass, area.w, area.h))
    platform::fetch(g_glass, "glass", 0, area.w, area.h, [&] { ui::paint_glass(area.w, area.h); });
  copy_part(g_glass.texture, 0.0F, 0.0F, area.w, area.h, area.x, area.y);
}

SDL_Texture* glyph_texture(GlyphStrip& entry, const ui::TitleView& title,
                           const ui::TitleGlyph& glyph) {
  const float w = glyph.width + ui::kGlyphMargin;
  if (entry.text != glyph.text || !platform::is_current(entry.strip, w, title.height)) {
    entry.text = glyph.text;
    platform::fetch(entry.strip, "glyph-" + glyph.text, 0, w, title.height,
                    [&] { ui::paint_glyph(glyph.text, title.size, glyph.width, title.height); });
  }
  return entry.strip.texture;
}

void copy_title() {
  const ui::TitleView& title = ui::title_view();
  g_title.resize(title.glyphs.size());
  const double t = static_cast<double>(platform::ticks_ms()) / kMsPerSecond;
  for (std::size_t i = 0; i < title.glyphs.size(); ++i) {
    const ui::TitleGlyph& glyph = title.glyphs[i];
    if (glyph.text == " ") continue;
    SDL_Texture* texture = glyph_texture(g_title[i], title, glyph);
    if (texture == nullptr) continue;
    const unsigned c =
        ui::title_color(static_cast<int>(i), static_cast<int>(title.glyphs.size()), t);
    SDL_SetTextureColorMod(texture, static_cast<Uint8>(c >> 16U), static_cast<Uint8>(c >> 8U),
                           static_cast<Uint8>(c));
    copy_part(texture, 0.0F, 0.0F, glyph.width + ui::kGlyphMargin, title.height,
              title.x + glyph.x - ui::kGlyphMargin / 2.0F, title.y);
  }
}

void draw_frame() {
  const platform::stats::Scope scope(platform::stats::Phase::Compose);
  SDL_SetRenderDrawColor(platform::renderer(), 0, 0, 0, SDL_ALPHA_OPAQUE);
  SDL_RenderClear(platform::renderer());
  platform::copy_base();
  const ui::BarView bars = ui::bar_view();
  copy_bars(bars);
  copy_meters(bars.meters);
  if (bars.show_glass) copy_glass(bars.glass);
  copy_title();
  platform::copy_overlay();
  // Copies are only noted down so far; in the statistics they belong to this phase.
  if constexpr (platform::stats::kEnabled) SDL_RenderFlush(platform::renderer());
}

}  // namespace

namespace platform {

void compose() {
  draw_frame();
  const platform::stats::Scope scope(platform::stats::Phase::Present);
  SDL_RenderPresent(renderer());
}

}  // namespace platform
