// The elements of the window, their hit codes, and the tables of their places. Each layer of the
// window (view, settings panel, save dialog, list, crash note) has one table, made by its layout.
// Painting and hit testing both use it, so the picture and the hits always agree.
#pragma once

#include <vector>

#include "gfx/gfx.h"

namespace ui {

using gfx::Rect;

// The numbers are fixed.
enum Hit : int {
  kHitNone = 0,
  kHitPower = 1,
  kHitPresets = 2,
  kHitCompact = 3,
  kHitSettings = 4,
  kHitFlat = 5,
  kHitDevice = 6,
  kHitChannel = 7,  // 7 stereo, 8 left, 9 right
  kHitSlider = 10,  // 10 to 19 the bands,
  kHitPreamp = 20,  // 20 the preamp
  kHitBack = 21,    // compact view: to the full view
  kHitMiniPower = 22,
  kHitBody = 23,  // compact view: anywhere else
  kHitAutostart = 24,
  kHitEqOnStart = 25,
  kHitOnTop = 26,
  kHitLanguage = 27,
  kHitDark = 28,
  kHitLight = 29,
  kHitHomepage = 32,
  kHitReport = 33,
  kHitPanel = 34,  // background of a panel or dialog
  kHitPopup = 35,
  kHitSave = 36,
  kHitSaveName = 37,
  kHitSaveOk = 38,
  kHitSaveCancel = 39,
  kHitCollapse = 41,
  kHitMute = 42,
  kHitClose = 43,  // compact view
  kHitCrashSend = 44,
  kHitCrashDiscard = 45,
  kHitCrashNote = 46,
  kHitNote = 47,
  kHitPanelClose = 48,
};

inline constexpr int kChannels = 3;  // buttons

inline bool is_slider(int code) {
  return code >= kHitSlider && code <= kHitPreamp;
}

struct Element {
  int code = kHitNone;
  Rect rect;
  bool while_active = false;  // enabled only while the equalizer is on
};

struct Layer {
  std::vector<Element> elements;  // where two overlap, the first is hit
  int elsewhere = kHitNone;       // code of a point that is in none of them

  // Adds an element, unless it has no size.
  void add(int code, const Rect& rect, bool while_active = false);
  // The same for an element above all others of the layer.
  void add_on_top(int code, const Rect& rect);
  // The place of an element; empty if the layer does not have it.
  Rect at(int code) const;
  // The enabled element at a point.
  int hit(float x, float y, bool active) const;
};

// Whether the point is inside; the left and top edges count, the right and bottom edges do not.
bool inside(const Rect& r, float x, float y);
Rect inset(const Rect& r, float by);

}  // namespace ui
