// The chosen preset and its name.
#pragma once

#include <string>

#include "dsp/eq_dsp.h"

struct Settings;

namespace ui {

// Looks up the chosen preset. Returns false, and writes nothing, when there is none. Either pointer
// may be null.
bool selected_curve(eq::Curve* out, std::string* name);

// The curve of a preset by its identifier; the user's own come from these settings. Returns false,
// and writes nothing, when there is none.
bool curve_of(const std::string& id, const Settings& s, eq::Curve* out);

// The chosen preset as shown, with a mark when the curve was changed since.
std::string preset_label();
// The same within max_width: the name is shortened, the mark is not.
std::string preset_label(float size, float max_width);

// Choose a preset by key or name, and start the glide to it.
void choose_builtin(const std::string& key);
void choose_user(const std::string& name);

// The user's presets, by name. Deleting a preset leaves the current curve as it is.
void delete_user(const std::string& name);
int find_user(const std::string& name);    // index, or -1
bool can_store(const std::string& name);   // replaces one, or there is room for it
void store_user(const std::string& name);  // stores the curve in force, and chooses it
std::string chosen_user();                 // the name of the chosen one; "" for none

}  // namespace ui
