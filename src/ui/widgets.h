// Drawing shared by several views: surfaces, buttons, icons. Icons are centred on a point.
#pragma once

#include <string>

#include "elements.h"

namespace ui {

// The colour of secondary text. The palette's own is too faint on some surfaces; this one has a
// contrast of at least 4.5 : 1 on all of them.
unsigned quiet_text();
// The face of an element that is pressed, or whose list is open.
unsigned pressed_face();
// A button's face and outline in its element's current state.
void button_bg(const Rect& r, int code);
void button_label(const Rect& r, const std::string& text, float size, bool hovered, bool bold);
// The same for a flat button with the given face; a chosen one is always outlined.
void flat_bg(const Rect& r, float radius, int code, unsigned rest, bool chosen = false);
void panel_bg(const Rect& r, float radius);
void shadow(const Rect& r, float radius);
void mute_button(const Rect& r);
void power_symbol(float cx, float cy, float radius, float width, unsigned colour);
void icon_corners(float cx, float cy, bool expand, unsigned colour);
void icon_save(float cx, float cy, unsigned colour);
void icon_gear(float cx, float cy, unsigned colour);
void icon_cross(float cx, float cy, float size, unsigned colour);
void icon_check(float cx, float cy, unsigned colour);
void icon_chevron(float cx, float cy, bool up, unsigned colour);

}  // namespace ui
