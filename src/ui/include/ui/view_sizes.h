// The sizes of the views in logical pixels, and the smallest sizes of the window: shared by the
// drawing code and the window's rules.
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

// Least width of the full view, collapsed or not, in window points. The compact view's least size
// is its own size.
inline constexpr int kLeastFullWidth = 480;

constexpr ViewSize view_size(bool compact, bool collapsed) {
  if (compact) return kCompactSize;
  return collapsed ? kCollapsedSize : kFullSize;
}

// The smallest size of the window for a view, with the view's aspect ratio.
constexpr ViewSize least_size(bool compact, bool collapsed) {
  const ViewSize size = view_size(compact, collapsed);
  return compact ? size : ViewSize{kLeastFullWidth, kLeastFullWidth * size.h / size.w};
}

}  // namespace ui
