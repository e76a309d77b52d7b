// DESIGN: a frame is nothing but copies of textures: base, bars, meters, glass, title, overlay.
// Nothing is drawn here unless a strip is missing, and nothing is allocated otherwise. The lit part
// of a column is contiguous, so it takes one copy however many segments it has.
//
// With a graphics card whole frames are composed. Without one, only the places whose segments or
// title have changed are composed again, from all layers there, and only they are sent to the
// screen.

#include <algorithm>
#include <array>

#include "frame_stats.h"
#include "platform_private.h"

namespace {

using platform::Column;
using platform::Strip;
using Strips = std::array<Strip, ui::kModes>;

struct GlyphStrip {
  std::string text;
  Strip strip;
  unsigned colour = 0;  // as shown
};

// Columns of segments: where they are, their pictures, what they show and what they are to show.
struct Group {
  gfx::Rect area;
  ui::SegmentGeom geom;
  Strips strips;
  std::array<Column, ui::kBars> shown;
  std::array<Column, ui::kBars> now;
};

Group g_bars;
Group g_meters;
Strip g_glass;
gfx::Rect g_glass_area;
std::vector<GlyphStrip> g_title;
std::vector<SDL_Rect> g_changed;  // kept for its memory
bool g_whole = true;              // the screen's content cannot be reused

SDL_Rect sdl_rect(const platform::Area& a) {
  return {a.x, a.y, a.w, a.h};
}

// Copies the logical rectangle (x, y, w, h) of a strip whose origin is at (ox, oy) on the screen.
void copy_part(SDL_Texture* texture, const gfx::Rect& r, float ox, float oy) {
  platform::Size size;
  if (texture == nullptr || SDL_QueryTexture(texture, nullptr, nullptr, &size.w, &size.h) != 0)
    return;
  const auto part = platform::part_of(size, platform::pixel_scale(), r.x, r.y, r.w, r.h, ox, oy);
  if (!part) return;
  const SDL_Rect from = sdl_rect(part->from);
  const SDL_Rect to = sdl_rect(part->to);
  SDL_RenderCopy(platform::renderer(), texture, &from, &to);
}

bool shown(const gfx::Rect& r) {
  return r.w > 0.0F && r.h > 0.0F;
}

// Columns -------------------------------------------------------------

template <typename Paint>
void prepare(Group& group, const char* name, Paint paint) {
  for (int n = 0; n < ui::kModes; ++n) {
    Strip& strip = group.strips[static_cast<std::size_t>(n)];
    if (!platform::is_current(strip, group.area.w, group.area.h))
      platform::fetch(strip, name, n, group.area.w, group.area.h, [&] { paint(n); });
  }
}

template <int Count>
void read_columns(Group& group, void (*segments)(int, int*, int*)) {
  std::array<int, Count> lit{};
  std::array<int, Count> peak{};
  segments(group.geom.segments, lit.data(), peak.data());
  for (std::size_t i = 0; i < Count; ++i)
    group.now[i] = {std::clamp(lit[i], 0, group.geom.segments), peak[i]};
}

void read_bars(const ui::BarView& view) {
  g_bars.area = view.bars;
  g_meters.area = view.meters;
  if (shown(view.bars)) {
    prepare(g_bars, "bars",
            [&](int n) { ui::paint_bars(n, view.bars.w, view.bars.h, view.compact); });
    g_bars.geom = ui::bar_geom(view.bars.w, view.bars.h, view.compact);
    read_columns<ui::kBars>(g_bars, ui::bar_segments);
  }
  if (shown(view.meters)) {
    prepare(g_meters, "meters", [&](int n) { ui::paint_meters(n, view.meters.w, view.meters.h); });
    g_meters.geom = ui::meter_geom(view.meters.w, view.meters.h);
    read_columns<ui::kMeters>(g_meters, ui::meter_segments);
  }
}

// The place of the segments first to last of a column, counted from the bottom, within its area.
gfx::Rect segments_of(const Group& group, int column, int first, int last) {
  const ui::SegmentGeom& g = group.geom;
  const auto top = [&](int segment) {
    return group.area.h - static_cast<float>(segment) * g.pitch - g.segment_height;
  };
  const float y = top(last);
  return {static_cast<float>(column) * (g.column_width + g.gap), y, g.column_width,
          top(first) + g.segment_height - y};
}

void copy_column(const Group& group, int i) {
  const gfx::Rect& area = group.area;
  const Column& c = group.now[static_cast<std::size_t>(i)];
  const auto copy = [&](int mode, int first, int last) {
    copy_part(group.strips[static_cast<std::size_t>(mode)].texture,
              segments_of(group, i, first, last), area.x, area.y);
  };
  if (c.lit > 1) copy(ui::kLit, 0, c.lit - 2);
  if (c.lit > 0) copy(ui::cap_mode(), c.lit - 1, c.lit - 1);
  if (c.peak >= c.lit) copy(ui::cap_mode(), c.peak, c.peak);
}

void copy_unlit(const Group& group) {
  copy_part(group.strips[ui::kUnlit].texture, {0.0F, 0.0F, group.area.w, group.area.h},
            group.area.x, group.area.y);
}

// Glass and title -----------------------------------------------------

void read_glass(const ui::BarView& view) {
  g_glass_area = view.show_glass ? view.glass : gfx::Rect{};
  const gfx::Rect& a = g_glass_area;
  if (shown(a) && !platform::is_current(g_glass, a.w, a.h))
    platform::fetch(g_glass, "glass", 0, a.w, a.h, [&] { ui::paint_glass(a.w, a.h); });
}

void copy_glass() {
  if (!shown(g_glass_area)) return;
  copy_part(g_glass.texture, {0.0F, 0.0F, g_glass_area.w, g_glass_area.h}, g_glass_area.x,
            g_glass_area.y);
}

gfx::Rect glyph_area(const ui::TitleView& title, const ui::TitleGlyph& glyph) {
  return {title.x + glyph.x - ui::kGlyphMargin / 2.0F, title.y, glyph.width + ui::kGlyphMargin,
          title.height};
}

// Returns whether the title has other colours than before.
bool read_title(double t) {
  const ui::TitleView& title = ui::title_view();
  bool changed = g_title.size() != title.glyphs.size();
  g_title.resize(title.glyphs.size());
  for (std::size_t i = 0; i < title.glyphs.size(); ++i) {
    const ui::TitleGlyph& glyph = title.glyphs[i];
    GlyphStrip& entry = g_title[i];
    const float w = glyph.width + ui::kGlyphMargin;
    if (entry.text != glyph.text || !platform::is_current(entry.strip, w, title.height)) {
      entry.text = glyph.text;
      platform::fetch(entry.strip, "glyph-" + glyph.text, 0, w, title.height,
                      [&] { ui::paint_glyph(glyph.text, title.size, glyph.width, title.height); });
    }
    const unsigned colour =
        ui::title_color(static_cast<int>(i), static_cast<int>(title.glyphs.size()), t);
    changed = changed || entry.colour != colour;
    entry.colour = colour;
  }
  return changed;
}

void copy_title() {
  const ui::TitleView& title = ui::title_view();
  for (std::size_t i = 0; i < title.glyphs.size(); ++i) {
    SDL_Texture* texture = g_title[i].strip.texture;
    if (texture == nullptr || title.glyphs[i].text == " ") continue;
    const unsigned c = g_title[i].colour;
    SDL_SetTextureColorMod(texture, static_cast<Uint8>(c >> 16U), static_cast<Uint8>(c >> 8U),
                           static_cast<Uint8>(c));
    const gfx::Rect area = glyph_area(title, title.glyphs[i]);
    copy_part(texture, {0.0F, 0.0F, area.w, area.h}, area.x, area.y);
  }
}

// Frames --------------------------------------------------------------

// Composes the frame. Returns whether the title's colours have changed.
bool read_all(const ui::BarView& view, double t) {
  bool title_changed = false;
  // Fetching one strip may empty the cache and thus discard others; the second round finds room.
  for (int round = 0; round < 2; ++round) {
    const unsigned generation = platform::cache_generation();
    read_bars(view);
    read_glass(view);
    title_changed = read_title(t) || title_changed;
    if (platform::cache_generation() == generation) break;
  }
  return title_changed;
}

void draw_whole() {
  SDL_RenderSetClipRect(platform::renderer(), nullptr);
  SDL_SetRenderDrawColor(platform::renderer(), 0, 0, 0, SDL_ALPHA_OPAQUE);
  SDL_RenderClear(platform::renderer());
  platform::copy_base();
  for (const Group* group : {&g_bars, &g_meters}) {
    if (!shown(group->area)) continue;
    copy_unlit(*group);
    for (int i = 0; i < group->geom.columns; ++i)
      copy_column(*group, i);
  }
  copy_glass();
  copy_title();
  platform::copy_overlay();
}

// Marks a logical rectangle as changed and limits drawing to it. False if it is not visible.
bool begin_part(const gfx::Rect& r) {
  const platform::Size size = platform::output_size();
  const auto part =
      platform::part_of(size, platform::pixel_scale(), r.x, r.y, r.w, r.h, 0.0F, 0.0F);
  if (!part) return false;
  g_changed.push_back(sdl_rect(part->to));
  SDL_RenderSetClipRect(platform::renderer(), &g_changed.back());
  return true;
}

void draw_changed_columns(Group& group) {
  if (!shown(group.area)) return;
  for (int i = 0; i < group.geom.columns; ++i) {
    const auto n = static_cast<std::size_t>(i);
    for (const platform::Span& span : platform::changed_segments(group.shown[n], group.now[n])) {
      gfx::Rect r = segments_of(group, i, span.first, span.last);
      r.x += group.area.x;
      r.y += group.area.y;
      if (span.last < span.first || !begin_part(r)) continue;
      platform::copy_base();
      copy_unlit(group);
      copy_column(group, i);
      copy_glass();
      platform::copy_overlay();
    }
  }
}

void draw_changed_title() {
  const ui::TitleView& title = ui::title_view();
  if (title.glyphs.empty()) return;
  const gfx::Rect first = glyph_area(title, title.glyphs.front());
  const gfx::Rect last = glyph_area(title, title.glyphs.back());
  if (!begin_part({first.x, first.y, last.x + last.w - first.x, first.h})) return;
  platform::copy_base();
  copy_title();
  platform::copy_overlay();
}

// Sends what was drawn to the screen.
void show(const std::vector<SDL_Rect>& rects) {
  SDL_RenderSetClipRect(platform::renderer(), nullptr);
  SDL_RenderFlush(platform::renderer());
  if (platform::put_small(rects)) return;
  if (SDL_UpdateWindowSurfaceRects(platform::window(), rects.data(),
                                   static_cast<int>(rects.size())) != 0)
    SDL_RenderPresent(platform::renderer());
}

}  // namespace

namespace platform {

void invalidate_frame() {
  g_whole = true;
}

void compose(double t) {
  stats::Scope scope(stats::Phase::Compose);
  const bool title_changed = read_all(ui::bar_view(), t);
  const bool whole = g_whole || !draws_in_software();
  g_changed.clear();
  if (whole) {
    draw_whole();
  } else {
    draw_changed_columns(g_bars);
    draw_changed_columns(g_meters);
    if (title_changed) draw_changed_title();
  }
  g_bars.shown = g_bars.now;
  g_meters.shown = g_meters.now;
  g_whole = false;
  // The copies have only been queued so far; the statistics count them in this phase.
  if constexpr (stats::kEnabled) SDL_RenderFlush(renderer());
  scope.next(stats::Phase::Present);
  if (whole) {
    SDL_RenderPresent(renderer());
  } else if (!g_changed.empty()) {
    show(g_changed);
  }
}

}  // namespace platform
