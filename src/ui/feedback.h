// Immediate feedback to the pointer: a pressed button looks pressed, a switch slides over, and a
// button that has only an icon shows its name after a while.
#pragma once

#include <cstdint>
#include <iterator>

#include "app/settings.h"
#include "elements.h"

namespace ui {

struct Switch {
  int code;
  const char* key;          // of the text beside it
  bool Settings::*setting;  // null: the autostart entry
};
// Of the settings panel, from the top.
inline constexpr Switch kSwitches[] = {{kHitAutostart, "autostart", nullptr},
                                       {kHitEqOnStart, "eq_on_start", &Settings::active_on_start},
                                       {kHitOnTop, "on_top", &Settings::compact_on_top}};

struct Feedback {
  int pressed = kHitNone;                   // button that was pressed just now
  float switch_at[std::size(kSwitches)]{};  // from 0 (off) to 1 (on)
  bool tip = false;                         // the name of the element under the pointer is shown

  bool operator==(const Feedback&) const = default;
};

// Further state behind Feedback.
struct Touch {
  std::uint64_t pressed_ms = 0;  // when the last press was
  std::uint64_t over_ms = 0;     // since when the pointer is
  int over = kHitNone;           // over this element,
  int row = -1;                  // in a list over this row's mark to delete it
  bool told = false;             // its name has been shown, or need not be
  bool held = false;             // the mouse button
};

// Whether a button looks pressed: it was pressed just now, or its list is open.
bool pressed(int code);

// The switch with this code; null for other elements.
const Switch* find_switch(int code);
// Whether a switch is on, and its position from 0 to 1.
bool switch_on(const Switch& which);
float switch_at(const Switch& which);

void note_press(int code);
void note_release();
void hide_tip();  // until the pointer is over something else
void settle_switches();

// Advances to `now` in ms, dt seconds after the last call. Returns whether something is moving.
bool advance_feedback(std::uint64_t now, float dt);

// Draws the name of the element under the pointer, once it is due. Returns whether it drew one.
bool draw_tip(float w, float h);

}  // namespace ui
