// What the sources of the interface share. Main thread only.
//
//   ui.cpp            the state, its lifecycle, the window's size, the switch between the views
//   frame.cpp         one frame: glide, caret, status of the engine, spectrum, delayed saving
//   input.cpp         hit testing and what presses, keys and the wheel do
//   layout.cpp        where everything is: sizes in, rectangles out, nothing else
//   segments.cpp      geometry, state and pictures of the bars, the meters, the title
//   text.cpp          UTF-8, shortening, direction
//   widgets.cpp       buttons and icons
//   full_view.cpp     the main window            sliders.cpp  its sliders and response curve
//   compact_view.cpp  the strip
//   popup.cpp         lists that drop down: presets, devices, languages
//   presets.cpp       choosing, naming and saving presets, without drawing
//   save_dialog.cpp   the dialog for a preset's name
//   settings_panel.cpp
//   overlay.cpp       what lies above the bars: notes, then panel, dialog, popup
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "app/settings.h"
#include "audio/audio.h"
#include "dsp/analyzer.h"
#include "dsp/eq_dsp.h"
#include "gfx/gfx.h"
#include "ui/theme.h"
#include "ui/ui.h"

namespace ui {

using gfx::Align;
using gfx::Rect;

// Gains
// --------------------------------------------------------------------------------------------------------------

// The ten bands and, as number 10, the preamp.
inline constexpr int kGains = eq::kBands + 1;
inline constexpr int kPreamp = eq::kBands;
inline constexpr float kMaxGainDb = 12.0F;

float& gain_at(eq::Curve* curve, int i);
float gain_at(const eq::Curve& curve, int i);

// Hit codes: one per element
// -----------------------------------------------------------------------------------------

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

inline bool is_slider(int hit) {
  return hit >= kHitSlider && hit <= kHitPreamp;
}

// Where everything is
// -----------------------------------------------------------------------------------------------

inline constexpr float kMargin = 18.0F;  // of the window
inline constexpr float kInset = 14.0F;   // of a panel
inline constexpr float kFullWidth = 960.0F;
inline constexpr float kFullHeight = 640.0F;
inline constexpr float kCollapsedHeight = 340.0F;
inline constexpr float kMiniWidth = 420.0F;
inline constexpr float kMiniHeight = 132.0F;
inline constexpr float kHalfGrip = 11.0F;  // a press that near a knob's centre does not move it

// The rectangles of the view as last painted; an empty one is not there. What is drawn is hit.
struct Layout {
  // full view
  Rect logo;
  Rect title;
  Rect power;
  Rect presets;
  Rect save;
  Rect compact;
  Rect settings;
  Rect collapse;
  Rect spectrum;  // the panel with the bars
  Rect mute;      // both views
  Rect channel[3];
  Rect bars;     // both views
  Rect meters;   // both views
  Rect sliders;  // the panel with the sliders
  Rect flat;
  Rect hint;
  Rect device;
  Rect status;
  Rect slider[kGains];
  float rule_x = 0.0F;  // the line between preamp and bands
  float track_top = 0.0F;
  float track_bottom = 0.0F;
  // compact view
  Rect close;
  Rect back;
};

// Widths of the labels that sizes depend on, in pixels.
struct LabelWidths {
  float channel[3]{};
  float flat = 0.0F;
};

Layout full_layout(float w, float h, bool collapsed, const LabelWidths& labels);
Layout compact_layout(float w, float h, bool framed);

struct SettingsLayout {
  Rect panel;
  Rect autostart;
  Rect eq_on_start;
  Rect on_top;
  Rect language;
  Rect language_button;  // within the row
  Rect appearance;       // the row of the next two
  Rect dark;
  Rect light;
  Rect about;
  Rect homepage;
  Rect report;
  Rect close;
};
// rtl: the controls of the rows are at the left
SettingsLayout settings_layout(float w, float h, float close_label, bool rtl);

struct DialogLayout {
  Rect card;
  Rect name;
  Rect save;
  Rect cancel;
};
DialogLayout dialog_layout(float w, float h, float save_label, float cancel_label);

// True when the point is inside: left and top edge included, right and bottom edge not.
bool inside(const Rect& r, float x, float y);
Rect inset(const Rect& r, float by);

// Where a gain is on a slider's track, and which gain is at a place (not rounded, not bounded).
float gain_to_y(const Layout& layout, float gain_db);
float y_to_gain(const Layout& layout, float y);

// State
// --------------------------------------------------------------------------------------------------------------

struct Glide {
  bool running = false;
  float from[kGains]{};
  eq::Curve to;
  std::uint64_t start_ms = 0;
};

enum class RowKind { Heading, BuiltinPreset, UserPreset, Device, Language };

struct PopupRow {
  RowKind kind = RowKind::Heading;
  std::string text;   // as shown
  std::string value;  // preset key or name, device name, language code
  bool chosen = false;
};

struct Popup {
  bool open = false;
  std::vector<PopupRow> rows;
  Rect (*anchor)() = nullptr;  // where the button it belongs to is now
  Rect rect;                   // as last painted
  int hover = -1;              // row
  bool hover_delete = false;
  int first = 0;    // first visible row
  int visible = 0;  // how many fit, as last painted
};
inline constexpr float kRowHeight = 28.0F;
inline constexpr float kPopupPadding = 4.0F;
inline constexpr float kDeleteZone = 34.0F;

struct SaveDialog {
  bool open = false;
  std::string name;       // UTF-8
  bool selected = false;  // the whole name is: typing replaces it
  DialogLayout layout;
};
inline constexpr int kMaxName = 32;  // code points
inline constexpr std::size_t kMaxPresets = 100;

struct CrashNote {
  bool shown = false;
  std::string text;
  Rect card;
  Rect send;
  Rect discard;
};

struct State {
  Settings* settings = nullptr;  // never null after the first use
  bool attached = false;         // they are the program's, not a stand-in
  bool dirty = true;
  std::uint64_t save_at = 0;  // ms, 0: nothing to save
  std::uint64_t last_frame = 0;
  float pixel_scale = 1.0F;
  int hover = kHitNone;
  int drag = kHitNone;
  float drag_dy = 0.0F;        // from the knob's centre to the pointer
  bool layer_changed = false;  // the last press opened or closed a layer, or changed the view
  Layout layout;
  Glide glide;
  Popup popup;
  SaveDialog save;
  CrashNote crash;
  bool settings_open = false;
  SettingsLayout panel;
  bool autostart = false;
  bool caret_on = true;
  Rect note_click;
  audio::Status status;
  analyzer::Ballistics bars;
  analyzer::PeakMeter meter[kMeters];
};

// The one state of the interface.
State& state();

// Shorthand for what nearly every change needs.
void set_dirty();
void schedule_save();  // in 1200 ms, and every further change starts anew
void push_curve();     // the settings' curve to the engine
void set_compact(bool on);
void toggle_collapsed();

// Presets
// ------------------------------------------------------------------------------------------------------------

// Starts the glide of all gains from where they are.
void start_glide(const eq::Curve& to);
void stop_glide();

// Resolves the chosen preset. Returns false, and writes nothing, when it names none. Either pointer
// may be null.
bool selected_curve(eq::Curve* out, std::string* name);

// The chosen preset as shown, with a mark when the curve was changed since.
std::string preset_label();

void choose_builtin(const std::string& key);
void choose_user(const std::string& name);
void delete_user(const std::string& name);
int find_user(const std::string& name);  // index, or -1

void open_save();
void close_save();
void commit_save();
// The name as it would be stored: without outer blanks and line breaks.
std::string trimmed_name(const std::string& name);

// Popups
// -------------------------------------------------------------------------------------------------------------

void open_presets();
void open_devices();
void open_languages();
void close_popup();
void popup_move(float x, float y);
void popup_press(float x, float y);
void popup_wheel(int steps);
// How many rows fit into a window of this height, of those there are.
void place_popup(Popup* popup, float w, float h);
void draw_popup(float w, float h);

// Text
// ---------------------------------------------------------------------------------------------------------------

// Text from outside made fit to be drawn in one line: invalid bytes and control characters
// replaced, direction overrides left out, at most 200 characters.
std::string one_line(std::string_view text);

// The text, or its beginning and an ellipsis where it is wider than max_width.
std::string shorten(const std::string& text, float size, float max_width, bool bold = false);

// The largest size from `size` down to `least` at which the text is at most max_width wide.
float fit_size(const std::string& text, float size, float least, float max_width, bool bold);

// Replaces the first "%s" or "%d".
std::string with_argument(std::string text, std::string_view argument);

// A part of a line that keeps its own direction, whatever surrounds it.
std::string isolated(const std::string& text);
// A line whose direction is the language's, even if it starts with a foreign word.
std::string directed(const std::string& text);
bool starts_rtl(std::string_view text);

Align start_align();  // left, or right in languages that are written from there

// Widgets
// ------------------------------------------------------------------------------------------------------------

// The colour of secondary text. The palette's own is too faint on some of its surfaces; this one
// has a contrast of 4.5 : 1 at least on all of them.
unsigned quiet_text();
void button_bg(const Rect& r, bool hovered);
void button_label(const Rect& r, const std::string& text, float size, bool hovered, bool bold);
void panel_bg(const Rect& r, float radius);
void shadow(const Rect& r, float radius);
void mute_button(const Rect& r, bool hovered);
void power_symbol(float cx, float cy, float radius, float width, unsigned colour);
void icon_corners(float cx, float cy, bool expand, unsigned colour);
void icon_save(float cx, float cy, unsigned colour);
void icon_gear(float cx, float cy, unsigned colour);
void icon_cross(float cx, float cy, float size, unsigned colour);
void icon_check(float cx, float cy, unsigned colour);
void icon_chevron(float cx, float cy, bool up, unsigned colour);

// Views
// --------------------------------------------------------------------------------------------------------------

void draw_full(float w, float h);
void draw_sliders();
void draw_compact(float w, float h);
void draw_settings_panel(float w, float h);
void draw_save_dialog(float w, float h);

// What the engine is doing, as the status line and the note tell it.
const char* status_note_key();  // null: nothing to explain

}  // namespace ui
