// The layout: sizes of the window and of texts in, rectangles out. Pure; lengths are in logical
// pixels.
#pragma once

#include <vector>

#include "elements.h"
#include "gains.h"

namespace ui {

inline constexpr float kMargin = 18.0F;  // of the window
inline constexpr float kInset = 14.0F;   // of a panel
// A press within this distance of a knob's centre does not move it.
inline constexpr float kHalfGrip = 11.0F;

// Views ---------------------------------------------------------------

// A view: its elements, and areas that cannot be pressed.
struct Layout {
  Layer layer;
  Rect logo;
  Rect title;
  Rect spectrum;  // the panel with the bars
  Rect bars;
  Rect meters;
  Rect sliders;  // the panel with the sliders
  Rect hint;
  Rect status;
  float rule_x = 0.0F;  // the line between preamp and bands
  float track_top = 0.0F;
  float track_bottom = 0.0F;
};

// Widths of the labels that determine sizes.
struct LabelWidths {
  float channel[kChannels]{};
  float flat = 0.0F;
};

Layout full_layout(float w, float h, bool collapsed, const LabelWidths& labels);
Layout compact_layout(float w, float h, bool framed);

// The position of a gain on a slider's track, and the gain at a position (not rounded, not
// bounded).
float gain_to_y(const Layout& layout, float gain_db);
float y_to_gain(const Layout& layout, float y);

// Layers above the view -----------------------------------------------

struct SettingsLayout {
  Layer layer;
  Rect panel;
  Rect appearance;       // the row of two buttons; not a button itself
  Rect language_button;  // within its row
  Rect about;
};
// `rows` are the rows' codes from the top, kHitDark standing for the row with the two buttons.
// `close` is the width of the closing button's label. `rtl`: laid out from right to left.
SettingsLayout settings_layout(float w, float h, const std::vector<int>& rows, float close,
                               bool rtl);

struct DialogLayout {
  Layer layer;
  Rect card;
};
// The save dialog; the widths are its buttons' labels'.
DialogLayout dialog_layout(float w, float h, float save_label, float cancel_label, bool rtl);

struct PopupLayout {
  Layer layer;
  Rect rect;
  int first = 0;    // first visible row
  int visible = 0;  // number of visible rows
};
inline constexpr float kRowHeight = 28.0F;
inline constexpr float kPopupPadding = 4.0F;
inline constexpr float kRowStart = 28.0F;    // room for the mark of the chosen row
inline constexpr float kRowEnd = 10.0F;      // room for the scroll mark
inline constexpr float kDeleteZone = 34.0F;  // at the end of a row that can be deleted

// A list of `count` rows, the widest of which needs `row_width`, below or above its button and at
// least as wide. `first` is the preferred top row.
PopupLayout popup_layout(float w, float h, const Rect& button, int count, float row_width,
                         int first, bool rtl);

// Whether there is more room for the list below its button than above.
bool opens_down(float h, const Rect& button, int count);

// The row at a point, counted from the first of the list; -1 for none.
int row_at(const PopupLayout& popup, int count, float x, float y);

// A note's card in the middle of an area. `text` is the width of its text on one line.
float note_width(const Rect& area, float text);
Rect note_card(const Rect& area, float width, float text_height);

struct CrashLayout {
  Layer layer;
  Rect card;
};
float crash_text_width(float w);
CrashLayout crash_layout(float w, float h, float text_height, float send_label, float discard_label,
                         bool rtl);

}  // namespace ui
