// The state of the interface: one record, read and changed by all sources of this folder. Main
// thread only.
//
//   ui.cpp              the state, its lifecycle, the effects of a change, the switch of views
//   frame.cpp           one frame: status of the engine, spectrum, delayed saving
//   glide.cpp           the sliders' animation to a preset
//   accessible.cpp      the window in words, for screen readers
//   input.cpp           presses, keys and the wheel
//   feedback.cpp        feedback to the pointer: pressed buttons, sliding switches, names
//   layout.cpp          where everything is
//   segments.cpp        the bars, the meters and the title, which move
//   text.cpp            shortening, direction
//   widgets.cpp         buttons and icons
//   full_view.cpp       the main window          sliders.cpp  its sliders and response curve
//   compact_view.cpp    the strip
//   popup.cpp           a list that drops down   lists.cpp    the contents of the lists
//   presets.cpp         choosing and naming presets
//   device_presets.cpp  a preset for each output device
//   save_dialog.cpp     the dialog for a preset's name
//   import.cpp          equalizer files of other programs, and the notice about a refused one
//   settings_panel.cpp  the settings panel
//   status_view.cpp     the engine's state in words
//   overlay.cpp         the layers above the bars: notes, panel, dialog, list
#pragma once

#include <cstdint>
#include <string>

#include "app/settings.h"
#include "audio/audio.h"
#include "dsp/analyzer.h"
#include "feedback.h"
#include "glide.h"
#include "import.h"
#include "layout.h"
#include "popup.h"
#include "save_dialog.h"
#include "status_view.h"
#include "ui/ui.h"
#include "ui/view_sizes.h"

namespace ui {

// What the layers show, in addition to the settings. Equal records give equal pictures.
struct Look {
  int hover = kHitNone;  // element under the pointer
  int drag = kHitNone;   // slider that is being dragged
  Feedback feedback;
  Glide glide;
  Popup popup;
  SaveDialog save;
  Notice notice;
  bool crash_note = false;
  bool settings_open = false;
  bool autostart = false;  // as the settings panel shows it
  audio::Status status;
  ChosenDevice chosen;
  bool bypassed = false;  // wanted, and not applied for longer than the engine needs

  bool operator==(const Look&) const = default;
};

struct State {
  Settings* settings = nullptr;  // never null after the first use
  bool attached = false;         // they are the program's, not a stand-in
  Look look;
  Touch touch;
  float drag_dy = 0.0F;        // from the knob's centre to the pointer
  bool layer_changed = false;  // the last press opened or closed a layer, or changed the view

  // The last values that were acted on; a difference is acted on again.
  Settings followed;          // what the engine has but for the curve, and what will be saved
  eq::Curve heard;            // which it has instead
  Settings drawn;             // what was drawn,
  Look drawn_look;            // and this,
  bool stale = true;          // or nothing yet
  std::uint64_t save_at = 0;  // ms, 0: nothing to save
  std::uint64_t last_frame = 0;
  std::uint64_t devices_at = 0;   // when the device list was looked at
  std::uint64_t in_force_at = 0;  // when the engine last did what is wanted, or could not know it
  float pixel_scale = 1.0F;
  ViewSize before_fold;  // the window before its sliders were last folded away or out, in points,
  ViewSize after_fold;   // and what became of it
  bool reduced_motion = false;

  // As last painted
  Layout view;
  Rect note;  // about the engine's state; empty when there is none
  SettingsLayout panel;
  DialogLayout dialog;
  PopupLayout list;
  CrashLayout crash;

  analyzer::Ballistics bars;
  analyzer::PeakMeter meter[kMeters];
};

// The one state of the interface.
State& state();

// Applies changed settings to the engine, the theme and the language, and schedules a save 1.2 s
// after the last change. Called after input and once a frame.
void follow_settings();
void save_later();  // in 1.2 s

bool hovered(int code);

void set_compact(bool on);
void toggle_collapsed();

// Input that has no position: a press on an element, and a gain in dB.
void press_element(int code);
void set_slider(int code, float gain_db);

// The table of the top layer, for hit testing.
const Layer& top_layer();

}  // namespace ui
