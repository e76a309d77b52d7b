// The painters of the views and layers, and what they share.
#pragma once

namespace ui {

struct Layout;

void draw_full(float w, float h);
void draw_sliders();
void draw_compact(float w, float h);
void draw_settings_panel(float w, float h);

// Puts the areas of bars and meters on whole device pixels, where segments stand on them too.
void fit_segments(Layout* layout, bool compact);

// Finds the place of the note about the engine's state, above the view just painted.
void place_note();

}  // namespace ui
