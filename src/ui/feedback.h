// How the window answers the pointer at once: a pressed button looks pressed, a switch slides over,
// and what has only an icon says its name after a while.
#pragma once

#include <cstdint>

#include "elements.h"

namespace ui {

inline constexpr int kSwitches = 3;  // of the settings panel, from kHitAutostart on

struct Feedback {
  int pressed = kHitNone;        // button that was pressed just now
  float switch_at[kSwitches]{};  // from 0 (off) to 1 (on), on its way in between
  bool tip = false;              // the name of what is under the pointer is shown

  bool operator==(const Feedback&) const = default;
};

// What Feedback follows from, beside what the interface shows.
struct Touch {
  std::uint64_t pressed_ms = 0;  // when the last press was
  std::uint64_t over_ms = 0;     // since when the pointer is
  int over = kHitNone;           // over this element,
  int row = -1;                  // in a list over this row's mark to delete it
  bool told = false;             // its name was shown, or is not needed any more
  bool held = false;             // the mouse button
};

// Whether a button shows a press: it was pressed just now, or its list is open.
bool pressed(int code);

// Whether a switch of the settings panel is on, and how much of its way it has come.
bool switch_on(int code);
float switch_at(int code);

void note_press(int code);
void note_release();
void hide_tip();  // until the pointer is over something else
void settle_switches();

// Advances all of it to `now` in ms, dt seconds after the last call. Returns whether something is
// moving.
bool advance_feedback(std::uint64_t now, float dt);

// The name of what is under the pointer, once it is due. Returns whether there is one.
bool draw_tip(float w, float h);

}  // namespace ui
