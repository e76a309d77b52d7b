// The painters of the views and layers, and what they share.
#pragma once

#include <string>
#include <vector>

#include "ui/ui.h"

namespace ui {

struct Layout;

void draw_full(float w, float h);
void draw_sliders();
void draw_compact(float w, float h);
void draw_settings_panel(float w, float h);

// The texts of the settings panel's second column, and the language that the user has chosen.
std::vector<std::string> about_lines();
std::string language_name();

// Aligns the areas of bars and meters to whole device pixels, as segments are, and trims the space
// that columns leave free.
void fit_segments(gfx::Rect* bars, gfx::Rect* meters, bool compact);

// The top of a bar of that level: that of its highest lit segment.
float level_y(const gfx::Rect& bars, const SegmentGeom& geom, float level_db);

// Lays out the note about the engine's state, over the view just painted.
void place_note();

}  // namespace ui
