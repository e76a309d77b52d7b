// The sizes of the views in logical pixels, and how small the window may become. What knows only
// numbers (the rules of the window) shares them with what draws.
#pragma once

namespace ui {

struct ViewSize {
  int w = 0;
  int h = 0;

  bool operator==(const ViewSize&) const = default;
};

inline constexpr ViewSize kFullSize{960, 640};
inline constexpr ViewSize kCollapsedSize{960, 340};  // the full view with its sliders folded away
inline constexpr ViewSize kCompactSize{420, 132};

// The full view, collapsed or not, is not shown narrower, in window points; the compact view not
// below its size.
inline constexpr int kLeastFullWidth = 480;

constexpr ViewSize view_size(bool compact, bool collapsed) {
  if (compact) return kCompactSize;
  return collapsed ? kCollapsedSize : kFullSize;
}

// The smallest size of the window that shows a view, in its shape.
constexpr ViewSize least_size(bool compact, bool collapsed) {
  const ViewSize size = view_size(compact, collapsed);
  return compact ? size : ViewSize{kLeastFullWidth, kLeastFullWidth * size.h / size.w};
}

}  // namespace ui
