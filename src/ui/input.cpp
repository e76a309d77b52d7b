// DESIGN: a press is answered in two steps: which element is under it (hit, against what was last
// painted), and what that element does (press). Modal layers are a matter of hit alone: what lies
// under one is never found. Only the popup takes its input itself, because its rows are not
// elements of the view.
#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "app/addresses.h"
#include "app/autostart.h"
#include "app/utf8.h"
#include "crash/crash_handler.h"
#include "platform/platform.h"
#include "ui_private.h"

namespace ui {

namespace {

constexpr float kStepDb = 0.5F;

struct Region {
  const Rect& rect;
  int code;
};

template <std::size_t N>
int first_hit(const Region (&regions)[N], float x, float y, int otherwise) {
  const auto* found = std::find_if(std::begin(regions), std::end(regions),
                                   [&](const Region& r) { return inside(r.rect, x, y); });
  return found != std::end(regions) ? found->code : otherwise;
}

int hit_crash_note(float x, float y) {
  const CrashNote& c = state().crash;
  return first_hit({{c.send, kHitCrashSend}, {c.discard, kHitCrashDiscard}}, x, y, kHitCrashNote);
}

int hit_save_dialog(float x, float y) {
  const DialogLayout& d = state().save.layout;
  return first_hit({{d.name, kHitSaveName},
                    {d.save, kHitSaveOk},
                    {d.cancel, kHitSaveCancel},
                    {d.card, kHitPanel}},
                   x, y, kHitNone);
}

int hit_settings(float x, float y) {
  const SettingsLayout& p = state().panel;
  return first_hit({{p.close, kHitPanelClose},
                    {p.autostart, kHitAutostart},
                    {p.eq_on_start, kHitEqOnStart},
                    {p.on_top, kHitOnTop},
                    {p.language, kHitLanguage},
                    {p.dark, kHitDark},
                    {p.light, kHitLight},
                    {p.homepage, kHitHomepage},
                    {p.report, kHitReport},
                    {p.panel, kHitPanel}},
                   x, y, kHitNone);
}

int hit_compact(float x, float y) {
  const Layout& l = state().layout;
  return first_hit(
      {{l.close, kHitClose}, {l.back, kHitBack}, {l.mute, kHitMute}, {l.power, kHitMiniPower}}, x,
      y, kHitBody);
}

int hit_channels(float x, float y) {
  const Layout& l = state().layout;
  return first_hit({{l.channel[0], kHitChannel},
                    {l.channel[1], kHitChannel + 1},
                    {l.channel[2], kHitChannel + 2}},
                   x, y, kHitNone);
}

int hit_sliders(float x, float y) {
  const Layout& l = state().layout;
  for (int i = 0; i < kGains; ++i) {
    if (inside(l.slider[i], x, y)) return kHitSlider + i;
  }
  return kHitNone;
}

int hit_full(float x, float y) {
  const State& s = state();
  const Layout& l = s.layout;
  const bool active = s.settings->active;
  if (inside(l.power, x, y)) return kHitPower;
  if (active) {
    const int code = first_hit({{l.presets, kHitPresets}, {l.save, kHitSave}}, x, y, kHitNone);
    if (code != kHitNone) return code;
  }
  const int code = first_hit({{l.compact, kHitCompact},
                              {l.collapse, kHitCollapse},
                              {l.mute, kHitMute},
                              {l.settings, kHitSettings}},
                             x, y, kHitNone);
  if (code != kHitNone) return code;
  if (!s.settings->collapsed) {
    if (active && inside(l.flat, x, y)) return kHitFlat;
    if (inside(l.device, x, y)) return kHitDevice;
  }
  const int channel = hit_channels(x, y);
  if (channel != kHitNone || s.settings->collapsed || !active) return channel;
  return hit_sliders(x, y);
}

int hit(float x, float y) {
  const State& s = state();
  const bool compact = s.settings->compact;
  if (s.crash.shown && !compact) return hit_crash_note(x, y);
  if (s.save.open) return hit_save_dialog(x, y);
  if (!s.settings_open && inside(s.note_click, x, y)) return kHitNote;
  if (s.settings_open && !compact) return hit_settings(x, y);
  return compact ? hit_compact(x, y) : hit_full(x, y);
}

// Sets one gain from input; the sound follows at once, the file after a pause.
void set_gain(int i, float gain_db) {
  float& gain = gain_at(&state().settings->curve, i);
  if (gain == gain_db) return;
  gain = gain_db;
  push_curve();
  schedule_save();
}

void drag_to(float y) {
  const State& s = state();
  const float v = y_to_gain(s.layout, y - s.drag_dy);
  set_gain(s.drag - kHitSlider, std::clamp(std::round(v * 2.0F) * 0.5F, -kMaxGainDb, kMaxGainDb));
}

void press_slider(int code, float y) {
  State& s = state();
  stop_glide();
  s.drag = code;
  const float knob = gain_to_y(s.layout, gain_at(s.settings->curve, code - kHitSlider));
  s.drag_dy = std::fabs(y - knob) <= kHalfGrip ? y - knob : 0.0F;
  drag_to(y);
  set_dirty();
}

void toggle_active() {
  Settings& s = *state().settings;
  s.active = !s.active;
  state().drag = kHitNone;
  audio::set_active(s.active);
  schedule_save();
}

void toggle_mute() {
  audio::set_mute(!state().status.muted);
}

void set_theme(bool dark) {
  state().settings->theme = dark ? "dark" : "light";
  theme::set_dark(dark);
  schedule_save();
}

void toggle_autostart() {
  State& s = state();
  if (autostart::set(!s.autostart, "")) s.autostart = !s.autostart;
}

void toggle_on_top() {
  state().settings->compact_on_top = !state().settings->compact_on_top;
  schedule_save();
}

void toggle_eq_on_start() {
  state().settings->active_on_start = !state().settings->active_on_start;
  schedule_save();
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
  state().crash = {};
}

void press_nothing() {}

void press_flat() {
  choose_builtin("preset_flat");
}

// What a press on an element does, for all that need neither place nor number.
void (*action_of(int code))() {
  switch (code) {
    case kHitNone:
    case kHitSaveCancel:
      return close_save;
    case kHitPower:
    case kHitMiniPower:
      return toggle_active;
    case kHitPresets:
      return open_presets;
    case kHitCompact:
      return [] { set_compact(true); };
    case kHitSettings:
      return open_settings;
    case kHitFlat:
      return press_flat;
    case kHitDevice:
      return open_devices;
    case kHitBack:
      return [] { set_compact(false); };
    case kHitAutostart:
      return toggle_autostart;
    case kHitEqOnStart:
      return toggle_eq_on_start;
    case kHitOnTop:
      return toggle_on_top;
    case kHitLanguage:
      return open_languages;
    case kHitDark:
      return [] { set_theme(true); };
    case kHitLight:
      return [] { set_theme(false); };
    case kHitHomepage:
      return [] { platform::open_uri(kHomepage); };
    case kHitReport:
      return [] { platform::open_uri(std::string("mailto:") + kSupportMail); };
    case kHitPanelClose:
      return [] { state().settings_open = false; };
    case kHitSave:
      return open_save;
    case kHitSaveOk:
      return commit_save;
    case kHitSaveName:
      return [] { state().save.selected = false; };
    case kHitCollapse:
      return toggle_collapsed;
    case kHitMute:
      return toggle_mute;
    case kHitClose:
      return close_compact;
    case kHitCrashSend:
      return [] { end_crash_note(true); };
    case kHitCrashDiscard:
      return [] { end_crash_note(false); };
    case kHitNote:
      return audio::setup_devices;
    default:
      return press_nothing;
  }
}

void press(int code, float y) {
  if (is_slider(code)) {
    press_slider(code, y);
    return;
  }
  if (code >= kHitChannel && code < kHitChannel + 3) {
    state().settings->channel = code - kHitChannel;
    schedule_save();
  } else {
    action_of(code)();
  }
  set_dirty();
}

void set_hover(int code) {
  if (state().hover == code) return;
  state().hover = code;
  set_dirty();
}

// What opened under the pointer takes the hover from the button that opened it.
void press_at(float x, float y) {
  press(hit(x, y), y);
  if (state().drag == kHitNone) set_hover(state().popup.open ? kHitPopup : hit(x, y));
}

bool popup_on_top() {
  const State& s = state();
  return s.popup.open && !s.save.open && !(s.crash.shown && !s.settings->compact);
}

void dialog_key(Key key) {
  SaveDialog& d = state().save;
  if (key == Key::Escape) {
    close_save();
  } else if (key == Key::Enter) {
    commit_save();
  } else if (d.selected) {
    d.name.clear();
  } else {
    utf8::remove_last(&d.name);
  }
  d.selected = false;
  state().caret_on = true;
}

// Which of the views and layers are there.
auto layers() {
  const State& s = state();
  return std::array{s.settings->compact, s.settings_open, s.popup.open, s.save.open, s.crash.shown};
}

}  // namespace

void on_mouse_move(float x, float y) {
  State& s = state();
  if (s.drag != kHitNone) {
    drag_to(y);
  } else if (popup_on_top()) {
    popup_move(x, y);
    set_hover(kHitPopup);
  } else {
    set_hover(hit(x, y));
  }
}

void on_mouse_down(float x, float y) {
  const auto before = layers();
  if (popup_on_top()) {
    popup_press(x, y);
  } else {
    press_at(x, y);
  }
  state().layer_changed = layers() != before;
}

void on_mouse_up() {
  if (state().drag == kHitNone) return;
  state().drag = kHitNone;
  set_dirty();
}

void on_mouse_leave() {
  State& s = state();
  if (s.drag != kHitNone) return;
  s.popup.hover = -1;
  s.popup.hover_delete = false;
  set_hover(kHitNone);
}

void on_double_click(float x, float y) {
  State& s = state();
  if (s.popup.open) return;
  const int code = hit(x, y);
  if (code == kHitBody) {
    set_compact(false);  // the first press moves the window and never comes here
  } else if (s.layer_changed) {
    return;  // the second was meant for what the first has taken away
  } else if (is_slider(code)) {
    stop_glide();
    s.drag = kHitNone;
    set_gain(code - kHitSlider, 0.0F);
    set_dirty();
    schedule_save();
  } else {
    press_at(x, y);  // two quick presses on a button are two presses
  }
}

void on_wheel(float x, float y, int steps) {
  if (popup_on_top()) {
    popup_wheel(steps);
    return;
  }
  const int code = hit(x, y);
  if (!is_slider(code)) return;
  stop_glide();
  const int i = code - kHitSlider;
  const float gain = gain_at(state().settings->curve, i) - static_cast<float>(steps) * kStepDb;
  set_gain(i, std::clamp(gain, -kMaxGainDb, kMaxGainDb));
}

void on_key(Key key) {
  State& s = state();
  // The note about a crash lies above everything and is answered with the mouse.
  if (s.crash.shown && !s.settings->compact) return;
  if (s.save.open) {
    dialog_key(key);
  } else if (key != Key::Escape) {
    return;
  } else if (s.popup.open) {
    close_popup();
  } else {
    s.settings_open = false;
  }
  set_dirty();
}

void on_text(const std::string& text) {
  SaveDialog& d = state().save;
  if (!d.open) return;
  const bool control = std::any_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) < 32 || c == 127;
  });
  if (control || !utf8::valid(text)) return;
  if (d.selected) d.name.clear();
  d.selected = false;
  if (utf8::count(d.name + text) <= kMaxName) d.name += text;
  state().caret_on = true;
  set_dirty();
}

int cursor_at(float x, float y) {
  const State& s = state();
  if (s.drag != kHitNone) return kCursorDrag;
  if (popup_on_top()) return inside(s.popup.rect, x, y) ? kCursorHand : kCursorArrow;
  switch (hit(x, y)) {
    case kHitNone:
    case kHitPanel:
    case kHitCrashNote:
      return kCursorArrow;
    case kHitBody:
      return platform::compact_framed() ? kCursorArrow : kCursorMove;
    default:
      return kCursorHand;
  }
}

}  // namespace ui
