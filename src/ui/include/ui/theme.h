// The two colour palettes of the interface, the switch between them, and arithmetic on colours.
//
// A colour is 0xAARRGGBB, not premultiplied. Thread: the interface's only. Nothing fails.
#pragma once

namespace theme {

// The colours of a palette by purpose, in a fixed order.
struct Colors {
  unsigned window_top;      // window background, top of its vertical gradient
  unsigned window_bottom;   // and its bottom
  unsigned panel;           // panels, dialogs, notes, popups
  unsigned recessed;        // sunken surfaces
  unsigned border;          // outline of buttons and panels
  unsigned highlight;       // thin bright line on a glass edge
  unsigned text;            // primary text
  unsigned text_secondary;  // secondary text; slider fill while the equalizer is off
  unsigned text_strong;     // hovered labels
  unsigned accent;          // active controls, slider fill, focus
  unsigned accent_soft;     // the same, translucent
  unsigned track;           // slider track
  unsigned track_outline;
  unsigned knob_top;  // slider knob, vertical gradient
  unsigned knob_bottom;
  unsigned knob_grip;  // the line across it
  unsigned knob_outline;
  unsigned mark;       // slider scale marks
  unsigned mark_zero;  // the one at 0 dB
  unsigned unlit;      // base of unlit spectrum and meter segments
  unsigned on;         // "on", good state
  unsigned off;        // "off", neutral state
  unsigned button;
  unsigned button_hover;  // also of the selected one
  unsigned mute_face;     // mute button at rest
  unsigned warning;
  unsigned danger;  // also of mute
  unsigned scrim;   // over the window behind a modal dialog
};

inline constexpr int kColorCount = 28;
static_assert(sizeof(Colors) == kColorCount * sizeof(unsigned), "a palette is a plain table");

// The current palette. Both live for ever and never change.
const Colors* colors();

// Selects the dark (true) or the light palette. Light until the first call.
void set_dark(bool dark);
bool dark();

// Blends all four channels alike: a at t <= 0, b at t >= 1.
unsigned mix(unsigned a, unsigned b, float t);

// The colour with another alpha, 0 to 1; values outside are clamped.
unsigned with_alpha(unsigned c, float alpha);

// The spectrum's colour for a level from 0 (blue) to 1 (red); values outside are clamped.
unsigned bar_color(float level);

}  // namespace theme
