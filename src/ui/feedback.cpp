// DESIGN: a press takes effect when the mouse button goes down, so the pressed look stays for a
// moment even if the mouse button is up again before the next frame. Only a sliding switch requests
// frames; everything else is checked in the frames that there are anyway.
#include "feedback.h"

#include <algorithm>
#include <cmath>

#include "i18n/i18n.h"
#include "platform/platform.h"
#include "state.h"
#include "text.h"
#include "ui/theme.h"
#include "widgets.h"

namespace ui {

namespace {

constexpr std::uint64_t kPressMs = 120;
constexpr float kSwitchS = 0.12F;
constexpr std::uint64_t kTipMs = 600;
constexpr float kTipSize = 12.0F;

bool is_button(int code) {
  switch (code) {
    case kHitNone:
    case kHitBody:
    case kHitPanel:
    case kHitPopup:
    case kHitSaveName:
    case kHitCrashNote:
      return false;
    default:
      return !is_slider(code);
  }
}

// The text key for the element under the pointer; null if its name is shown anyway.
const char* name_key(const Touch& t) {
  if (t.row >= 0) return "delete";
  switch (t.over) {
    case kHitSave:
      return "save_preset";
    case kHitCompact:
      return "compact";
    case kHitSettings:
      return "settings";
    case kHitBack:
      return "compact_hint";
    case kHitClose:
      return "close";
    case kHitChannel:
    case kHitChannel + 1:
    case kHitChannel + 2:
      return "channel";
    case kHitDevice:
      return "device";
    default:
      return nullptr;
  }
}

// The place of the element; a row's mark is as high as the row.
Rect place_of(const Touch& t) {
  const PopupLayout& list = state().list;
  if (t.row < 0) return top_layer().at(t.over);
  const float y = list.rect.y + kPopupPadding + static_cast<float>(t.row - list.first) * kRowHeight;
  const Rect zone{list.rect.x + list.rect.w - kDeleteZone, y, kDeleteZone, kRowHeight};
  return mirrored(list.rect, zone);
}

// Eased at both ends.
float eased(float t) {
  return t * t * (3.0F - 2.0F * t);
}

bool move_switches(float dt) {
  bool moving = false;
  for (std::size_t i = 0; i < std::size(kSwitches); ++i) {
    const float to = switch_on(kSwitches[i]) ? 1.0F : 0.0F;
    float& at = state().look.feedback.switch_at[i];
    const float step = dt / kSwitchS;
    at = to > at ? std::min(at + step, to) : std::max(at - step, to);
    moving = moving || at != to;
  }
  return moving;
}

void follow_pointer(std::uint64_t now) {
  State& s = state();
  const Popup& list = s.look.popup;
  Touch& t = s.touch;
  const int row = list.hover_delete ? list.hover : -1;
  if (t.over != s.look.hover || t.row != row) {
    t.over = s.look.hover;
    t.row = row;
    t.over_ms = now;
    t.told = false;
    s.look.feedback.tip = false;
  } else if (!t.told && now >= t.over_ms + kTipMs && name_key(t) != nullptr) {
    t.told = true;
    s.look.feedback.tip = true;
  }
}

}  // namespace

bool pressed(int code) {
  const Look& look = state().look;
  if (code == kHitNone) return false;
  return look.feedback.pressed == code || (look.popup.open && look.popup.button == code);
}

const Switch* find_switch(int code) {
  const auto* const found = std::find_if(std::begin(kSwitches), std::end(kSwitches),
                                         [code](const Switch& s) { return s.code == code; });
  return found != std::end(kSwitches) ? found : nullptr;
}

bool switch_on(const Switch& which) {
  const State& s = state();
  return which.setting == nullptr ? s.look.autostart : s.settings->*which.setting;
}

float switch_at(const Switch& which) {
  return eased(state().look.feedback.switch_at[&which - kSwitches]);
}

void note_press(int code) {
  State& s = state();
  s.touch.held = true;
  s.touch.pressed_ms = platform::ticks_ms();
  s.look.feedback.pressed = is_button(code) ? code : kHitNone;
  hide_tip();
}

void note_release() {
  state().touch.held = false;
}

void hide_tip() {
  state().touch.told = true;
  state().look.feedback.tip = false;
}

void settle_switches() {
  move_switches(kSwitchS);
}

bool advance_feedback(std::uint64_t now, float dt) {
  State& s = state();
  if (!s.touch.held && now >= s.touch.pressed_ms + kPressMs) s.look.feedback.pressed = kHitNone;
  follow_pointer(now);
  if (s.look.settings_open && !s.reduced_motion) return move_switches(dt);
  settle_switches();
  return false;
}

bool draw_tip(float w, float h) {
  const State& s = state();
  const char* key = name_key(s.touch);
  if (!s.look.feedback.tip || key == nullptr) return false;
  constexpr float kEdge = 6.0F;  // distance to the window's edge and to the element
  constexpr float kHeight = 24.0F;
  const theme::Colors& c = *theme::colors();
  const Rect of = place_of(s.touch);
  if (of.w <= 0.0F) return false;  // a layer has been opened over it by a command
  std::string name = i18n::T(key);
  // The button has no room for a long name.
  const ChosenDevice& device = s.look.chosen;
  if (s.touch.over == kHitDevice && !device.label.empty())
    name = directed(name + " — " + isolated(device.label));
  const std::string text = shorten(name, kTipSize, w - 2.0F * kEdge - 16.0F);
  const float width = std::ceil(gfx::text_width(text, kTipSize, false)) + 16.0F;
  const float below = of.y + of.h + kEdge;
  const Rect r{std::clamp(of.x + (of.w - width) * 0.5F, kEdge, std::max(kEdge, w - kEdge - width)),
               below + kHeight + kEdge <= h ? below : of.y - kEdge - kHeight, width, kHeight};
  gfx::fill_round_rect(r, 6.0F, c.panel);
  gfx::stroke_round_rect(r, 6.0F, theme::mix(c.border, c.text_secondary, 0.5F), 1.0F);
  gfx::text(r, text, kTipSize, c.text, Align::Center, false, true);
  return true;
}

}  // namespace ui
