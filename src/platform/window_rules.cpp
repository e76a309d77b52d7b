// DESIGN: arithmetic on plain records, so that every rule about the window can be tested without
// one. The callers query the display and apply the results.

#include "window_rules.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>

#include "ui/view_sizes.h"

namespace platform {

namespace {

constexpr int kLeastSavedHeight = 120;  // of the full view

// What stays free for a panel and for the frame of the window manager's.
constexpr int kSpareWidth = 20;
constexpr int kSpareHeight = 60;

constexpr int kTitleMiddle = 10;        // below the top edge
constexpr int kSmallWindowWidth = 600;  // narrower ones go into the corner
constexpr int kCornerMargin = 24;
constexpr Area kUnknownDisplay{0, 0, 1920, 1080};

constexpr int kBorder = 10;
constexpr int kCorner = 18;

constexpr std::uint64_t kRepeatedPressMs = 3;

int rounded(double v) {
  return static_cast<int>(std::lround(v));
}

Size scaled(Size reference, double s) {
  return {std::max(1, rounded(reference.w * s)), std::max(1, rounded(reference.h * s))};
}

// Wide arithmetic: a saved position may be any number.
bool title_is_on(const Area& a, Point window, int width) {
  const std::int64_t x = std::int64_t{window.x} + width / 2;
  const std::int64_t y = std::int64_t{window.y} + kTitleMiddle;
  return x >= a.x && x < std::int64_t{a.x} + a.w && y >= a.y && y < std::int64_t{a.y} + a.h;
}

// Cuts [from, from + length) to [0, limit) and moves `to` along.
void cut(int& from, int& length, int& to, int limit) {
  const int before = std::max(0, -from);
  from += before;
  to += before;
  length = std::min(length - before, limit - from);
}

}  // namespace

std::uint64_t widen(WideTicks& ticks, std::uint32_t reading) {
  if (reading < ticks.last) ticks.high += std::uint64_t{1} << 32U;
  ticks.last = reading;
  return ticks.high + reading;
}

int idle_wait_ms(bool at_rest, std::chrono::nanoseconds passed) {
  using std::chrono::milliseconds;
  constexpr milliseconds kIdle{20};
  constexpr int kIdleAtRestMs = 50;
  if (at_rest) return kIdleAtRestMs;
  const auto left = std::chrono::floor<milliseconds>(kLongestFrame - passed);
  return static_cast<int>(std::clamp(left, milliseconds{1}, kIdle).count());
}

Size mode_reference(bool compact, bool collapsed) {
  const ui::ViewSize size = ui::view_size(compact, collapsed);
  return {size.w, size.h};
}

Size mode_minimum(bool compact, bool collapsed) {
  const ui::ViewSize size = ui::least_size(compact, collapsed);
  return {size.w, size.h};
}

Size mode_size(bool compact, bool collapsed, Size saved, std::optional<Area> usable) {
  const Size reference = mode_reference(compact, collapsed);
  const bool known = usable && usable->w > 0;
  if (compact && !known) return reference;
  const bool sensible = compact ? saved.w >= reference.w && saved.h >= reference.h
                                : saved.w >= ui::kLeastFullWidth && saved.h >= kLeastSavedHeight;
  Size wanted = sensible ? saved : reference;
  if (known) {
    wanted.w = std::min(wanted.w, usable->w - kSpareWidth);
    wanted.h = std::min(wanted.h, usable->h - kSpareHeight);
  }
  return scaled(reference, std::min(static_cast<double>(wanted.h) / reference.h,
                                    static_cast<double>(wanted.w) / reference.w));
}

Point place_for(Point saved, Size window, const std::vector<Area>& displays,
                std::optional<Area> first) {
  if (saved.x != -1 && saved.y != -1) {
    const auto on = [saved, window](const Area& a) { return title_is_on(a, saved, window.w); };
    if (std::any_of(displays.begin(), displays.end(), on)) return saved;
  }
  const Area area = first.value_or(kUnknownDisplay);
  if (window.w < kSmallWindowWidth) {
    return {area.x + area.w - window.w - kCornerMargin, area.y + area.h - window.h - kCornerMargin};
  }
  return {area.x + (area.w - window.w) / 2, area.y + (area.h - window.h) / 2};
}

bool differ(Size a, Size b) {
  return std::abs(a.w - b.w) >= kTolerance || std::abs(a.h - b.h) >= kTolerance;
}

Size right_size(const Rested& window) {
  constexpr int kAtOnce = 2;  // a user's drag of an edge takes more
  const Size now = window.now;
  if (window.refused || now.w < 1 || now.h < 1 || (window.may_be_tiled && window.steps <= kAtOnce))
    return now;
  return differ(now, window.asked) ? window.last : window.asked;
}

Size corrected_size(Size now, Size last, Size reference, Size minimum, std::optional<Size> usable) {
  const double rw = reference.w;
  const double rh = reference.h;
  Size size = now;
  if (std::abs(now.w - last.w) / rw >= std::abs(now.h - last.h) / rh) {
    size.h = rounded(size.w * rh / rw);
  } else {
    size.w = rounded(size.h * rw / rh);
  }
  if (size.w < minimum.w || size.h < minimum.h) {
    size = scaled(reference, std::max(minimum.h / rh, minimum.w / rw));
  }
  if (usable && usable->w > 0 && (size.w > usable->w || size.h > usable->h)) {
    const double s = std::min(usable->h / rh, usable->w / rw);
    size = {static_cast<int>(std::floor(rw * s)), static_cast<int>(std::floor(rh * s))};
  }
  size = {std::max(1, size.w), std::max(1, size.h)};
  return differ(size, now) ? size : now;
}

Border border_at(Point p, Size window) {
  const bool top = p.y < kBorder;
  const bool bottom = p.y >= window.h - kBorder;
  const bool left = p.x < kBorder;
  const bool right = p.x >= window.w - kBorder;
  const bool near_top = p.y < kCorner;
  const bool near_bottom = p.y >= window.h - kCorner;
  const bool near_left = p.x < kCorner;
  const bool near_right = p.x >= window.w - kCorner;
  if ((top && near_left) || (left && near_top)) return Border::TopLeft;
  if ((top && near_right) || (right && near_top)) return Border::TopRight;
  if ((bottom && near_left) || (left && near_bottom)) return Border::BottomLeft;
  if ((bottom && near_right) || (right && near_bottom)) return Border::BottomRight;
  if (top) return Border::Top;
  if (bottom) return Border::Bottom;
  if (left) return Border::Left;
  return right ? Border::Right : Border::None;
}

int resize_cursor(Border border) {
  switch (border) {
    case Border::TopLeft:
    case Border::BottomRight:
      return kResizeNwse;
    case Border::TopRight:
    case Border::BottomLeft:
      return kResizeNesw;
    case Border::Left:
    case Border::Right:
      return kResizeWe;
    case Border::Top:
    case Border::Bottom:
      return kResizeNs;
    case Border::None:
      break;
  }
  return -1;
}

DoubleClick double_click(std::optional<std::int32_t> ms, std::optional<std::int32_t> distance) {
  constexpr std::int32_t kLongest = 5000;
  constexpr std::int32_t kFarthest = 50;
  DoubleClick most;
  if (ms && *ms > 0) most.ms = static_cast<std::uint64_t>(std::min(*ms, kLongest));
  if (distance && *distance >= 0) most.distance = std::min(*distance, kFarthest);
  return most;
}

bool is_double_click(const DoubleClick& most, std::uint64_t elapsed_ms, Point first, Point second) {
  return elapsed_ms <= most.ms && std::abs(second.x - first.x) <= most.distance &&
         std::abs(second.y - first.y) <= most.distance;
}

bool is_repeated_press(std::uint64_t elapsed_ms, Point first, Point second) {
  return elapsed_ms <= kRepeatedPressMs && first == second;
}

std::string key(const std::string& name, int n, float w, float h, bool dark, double scale) {
  std::array<char, 128> text{};
  std::snprintf(text.data(), text.size(), "-%d-%.1fx%.1f-0-%d-%.4f", n, static_cast<double>(w),
                static_cast<double>(h), dark ? 1 : 0, scale);
  return name + text.data();
}

std::optional<Part> part_of(Size texture_pixels, double scale, float x, float y, float w, float h,
                            float ox, float oy) {
  const int width = rounded(static_cast<double>(w) * scale);
  const int height = rounded(static_cast<double>(h) * scale);
  Part part{{rounded(static_cast<double>(x) * scale), rounded(static_cast<double>(y) * scale),
             width, height},
            {rounded((static_cast<double>(x) + ox) * scale),
             rounded((static_cast<double>(y) + oy) * scale), width, height}};
  // SDL would cut the source only and stretch what is left.
  cut(part.from.x, part.from.w, part.to.x, texture_pixels.w);
  cut(part.from.y, part.from.h, part.to.y, texture_pixels.h);
  part.to.w = part.from.w;
  part.to.h = part.from.h;
  if (part.from.w <= 0 || part.from.h <= 0) return std::nullopt;
  return part;
}

std::array<Span, 2> changed_segments(const Column& before, const Column& now) {
  std::array<Span, 2> spans;
  // The topmost lit one is brighter: it changes, too.
  if (before.lit != now.lit) {
    spans[0] = {std::max(0, std::min(before.lit, now.lit) - 1), std::max(before.lit, now.lit) - 1};
  }
  if (before.peak != now.peak) {
    const auto [low, high] = std::minmax({before.peak, now.peak});
    spans[1] = {low < 0 ? high : low, high};
  }
  return spans;
}

bool is_software_rasterizer(std::string_view name) {
  constexpr std::array<std::string_view, 5> kNames{"llvmpipe", "softpipe", "swrast", "lavapipe",
                                                   "software rasterizer"};
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return name.starts_with("SWR") ||
         std::any_of(kNames.begin(), kNames.end(),
                     [&](std::string_view n) { return lower.find(n) != std::string::npos; });
}

void to_straight_alpha(std::uint32_t* pixels, std::size_t n) {
  for (std::uint32_t* p = pixels; p != pixels + n; ++p) {
    const std::uint32_t alpha = *p >> 24U;
    if (alpha == 0 || alpha == 255) continue;
    const auto straight = [alpha](std::uint32_t channel) {
      return std::min(255U, (channel * 255U + alpha / 2U) / alpha);
    };
    *p = alpha << 24U | straight(*p >> 16U & 255U) << 16U | straight(*p >> 8U & 255U) << 8U |
         straight(*p & 255U);
  }
}

}  // namespace platform
