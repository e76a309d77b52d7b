// DESIGN: a press is handled in two steps: find the element under it (in the table of the top
// layer, as last painted), and do what that element does (press). Elements under a layer are never
// found. Only a list handles its input itself, because its rows are not elements of the window.
#include <algorithm>
#include <array>
#include <cmath>

#include "app/addresses.h"
#include "app/autostart.h"
#include "crash/crash_handler.h"
#include "lists.h"
#include "platform/platform.h"
#include "presets.h"
#include "state.h"
#include "ui/commands.h"

namespace ui {

namespace {

constexpr float kStepDb = 0.5F;

int hit(float x, float y) {
  return top_layer().hit(x, y, state().settings->active);
}

// Sliders -------------------------------------------------------------

float& gain_of(int slider) {
  return gain_at(&state().settings->curve, slider - kHitSlider);
}

float bounded(float gain_db) {
  return std::clamp(gain_db, -eq::kMaxGainDb, eq::kMaxGainDb);
}

void set_gain(int slider, float gain_db) {
  gain_of(slider) = bounded(std::round(gain_db / kStepDb) * kStepDb);
}

void drag_to(float y) {
  const State& s = state();
  set_gain(s.look.drag, y_to_gain(s.view, y - s.drag_dy));
}

void press_slider(int code, float y) {
  State& s = state();
  stop_glide();
  s.look.drag = code;
  const float knob = gain_to_y(s.view, gain_of(code));
  s.drag_dy = std::fabs(y - knob) <= kHalfGrip ? y - knob : 0.0F;
  drag_to(y);
}

void reset_slider(int code) {
  stop_glide();
  state().look.drag = kHitNone;
  gain_of(code) = 0.0F;
}

// Elements ------------------------------------------------------------

void flip(const Switch& which) {
  State& s = state();
  const bool on = !switch_on(which);
  if (which.setting != nullptr) {
    s.settings->*which.setting = on;
  } else if (autostart::set(on, "")) {
    s.look.autostart = on;
  }
}

void close_compact() {
  persist();
  platform::quit();
}

void end_crash_note(bool send) {
  if (send) {
    crash_handler::send_report();
  } else {
    crash_handler::clear_report();
  }
  state().look.crash_note = false;
}

// The action of an element that does not depend on the position.
void act(int code) {
  Settings& s = *state().settings;
  if (const Switch* found = find_switch(code)) return flip(*found);
  switch (code) {
    case kHitNone:
    case kHitSaveCancel:
      return close_save();
    case kHitPower:
    case kHitMiniPower:
      return toggle_equalizer();
    case kHitPresets:
      return open_presets();
    case kHitCompact:
      return set_compact(true);
    case kHitSettings:
      return open_settings();
    case kHitFlat:
      return choose_builtin("preset_flat");
    case kHitDevice:
      return open_devices();
    case kHitChannel:
    case kHitChannel + 1:
    case kHitChannel + 2:
      s.channel = code - kHitChannel;
      return;
    case kHitBack:
      return set_compact(false);
    case kHitLanguage:
      return open_languages();
    case kHitDark:
      s.theme = "dark";
      return;
    case kHitLight:
      s.theme = "light";
      return;
    case kHitHomepage:
      return platform::open_uri(kHomepage);
    case kHitReport:
      return platform::open_uri(std::string("mailto:") + kSupportMail);
    case kHitPanelClose:
      state().look.settings_open = false;
      return;
    case kHitSave:
      return open_save();
    case kHitSaveOk:
      return commit_save();
    case kHitSaveName:
      return select_none();
    case kHitCollapse:
      return toggle_collapsed();
    case kHitMute:
      return toggle_mute();
    case kHitClose:
      return close_compact();
    case kHitCrashSend:
      return end_crash_note(true);
    case kHitCrashDiscard:
      return end_crash_note(false);
    case kHitNote:
      return audio::setup_devices();
    default:
      return;
  }
}

// A layer that opens under the pointer takes the hover from the button that opened it.
void press(float x, float y) {
  const int code = hit(x, y);
  note_press(code);
  if (code == kHitPopup) {
    popup_press(x, y);
    return;
  }
  if (is_slider(code)) {
    press_slider(code, y);
  } else {
    act(code);
  }
  if (state().look.drag == kHitNone) state().look.hover = hit(x, y);
}

// The views and layers that are open.
auto layers() {
  const State& s = state();
  return std::array{s.settings->compact, s.look.settings_open, s.look.popup.open, s.look.save.open,
                    s.look.crash_note};
}

}  // namespace

void press_element(int code) {
  act(code);
  state().look.hover = kHitNone;  // the pointer is elsewhere
}

void set_slider(int code, float gain_db) {
  stop_glide();
  set_gain(code, gain_db);
}

void on_mouse_move(float x, float y) {
  Look& look = state().look;
  if (look.drag != kHitNone) {
    drag_to(y);
    follow_settings();
    return;
  }
  look.hover = hit(x, y);
  if (look.hover == kHitPopup) popup_move(x, y);
}

void on_mouse_down(float x, float y) {
  const auto before = layers();
  press(x, y);
  state().layer_changed = layers() != before;
  follow_settings();
}

void on_mouse_up() {
  note_release();
  state().look.drag = kHitNone;
}

void on_mouse_leave() {
  Look& look = state().look;
  if (look.drag != kHitNone) return;
  note_release();  // outside the window the release may not be reported
  look.popup.hover = -1;
  look.popup.hover_delete = false;
  look.hover = kHitNone;
}

void on_double_click(float x, float y) {
  const State& s = state();
  if (s.look.popup.open) return;
  const int code = hit(x, y);
  if (code == kHitBody) {
    set_compact(false);  // the first press moved the window and did not come here
  } else if (s.layer_changed) {
    return;  // the second was meant for what the first has removed
  } else if (is_slider(code)) {
    reset_slider(code);
  } else {
    press(x, y);  // two quick presses on a button are two presses
  }
  follow_settings();
}

void on_wheel(float x, float y, int steps) {
  const int code = hit(x, y);
  hide_tip();
  if (code == kHitPopup) popup_wheel(steps);
  if (!is_slider(code)) return;
  stop_glide();
  gain_of(code) = bounded(gain_of(code) - static_cast<float>(steps) * kStepDb);
  follow_settings();
}

void on_key(Key key) {
  State& s = state();
  hide_tip();
  // The note about a crash is above everything else and takes no keys.
  if (s.look.crash_note && !s.settings->compact) return;
  if (s.look.save.open) {
    save_key(key);
  } else if (key != Key::Escape) {
    return;
  } else if (s.look.popup.open) {
    close_popup();
  } else {
    s.look.settings_open = false;
  }
  follow_settings();
}

void on_text(const std::string& text) {
  if (state().look.save.open) save_text(text);
}

int cursor_at(float x, float y) {
  const State& s = state();
  if (s.look.drag != kHitNone) return kCursorDrag;
  switch (hit(x, y)) {
    case kHitNone:
    case kHitPanel:
    case kHitCrashNote:
      return kCursorArrow;
    case kHitPopup:
      return inside(s.list.rect, x, y) ? kCursorHand : kCursorArrow;
    case kHitBody:
      return platform::compact_framed() ? kCursorArrow : kCursorMove;
    default:
      return kCursorHand;
  }
}

}  // namespace ui
