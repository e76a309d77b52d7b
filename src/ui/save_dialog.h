// The dialog that asks for a preset's name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "dsp/eq_dsp.h"

namespace ui {

enum class Key;

struct SaveDialog {
  bool open = false;
  std::string name;       // UTF-8, at most kMaxPresetName characters when typed
  bool selected = false;  // the whole name is: typing replaces it
  bool caret_on = true;   // it blinks
  // While an imported curve is shown: the one that comes back unless the user saves.
  std::optional<eq::Curve> before;

  bool operator==(const SaveDialog&) const = default;
};

// Opens it with a proposed name: that of the chosen own preset, else the first free number.
void open_save();

// Opens it for a curve on its way here from a file, whose name is proposed if it has one. Another
// such file takes the dialog over.
void open_save_imported(const std::string& name);

// Closes it without saving: an imported curve glides back.
void close_save();

// Stores the curve in force; an imported one in full, and it switches the equalizer on. An empty
// name, or one more preset than there may be, leaves the dialog open.
void commit_save();

// Whether it would store something under the name that is typed, and the dialog's hint about it;
// empty for nothing.
bool can_save();
std::string save_hint();

// Input
void select_none();
void save_key(Key key);
void save_text(const std::string& text);

// Blinks the caret; `now` in ms.
void blink_caret(std::uint64_t now);

void draw_save_dialog(float w, float h);

}  // namespace ui
