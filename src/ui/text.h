// Preparing text for drawing: shortened to fit, and in the direction of its language.
#pragma once

#include <string>
#include <string_view>

#include "gfx/gfx.h"

namespace ui {

using gfx::Align;

// Text from outside, fit to be drawn in one line: invalid bytes and control characters replaced,
// direction overrides left out, at most 200 characters.
std::string one_line(std::string_view text);

// The text, or its beginning and an ellipsis where it is wider than max_width.
std::string shorten(const std::string& text, float size, float max_width, bool bold = false);

// The largest size from `size` down to `least` at which the text is at most max_width wide.
float fit_size(const std::string& text, float size, float least, float max_width, bool bold);

// Replaces the first "%s" or "%d".
std::string with_argument(std::string text, std::string_view argument);

// A gain as shown, such as "+3.5"; one that rounds to zero is "+0.0".
std::string gain_text(float gain_db);

// Isolates a part of a line, so that it keeps its own direction.
std::string isolated(const std::string& text);
// A line in the language's direction, even if it starts with a foreign word.
std::string directed(const std::string& text);
bool starts_rtl(std::string_view text);

Align start_align();  // left, or right in languages that are written from there

// Mirrors a part of `within`, laid out from left to right, if the language is written from right to
// left.
gfx::Rect mirrored(const gfx::Rect& within, const gfx::Rect& part);
float mirrored(const gfx::Rect& within, float x);

}  // namespace ui
