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
  bool selected = false;  // the whole name is selected: typing replaces it
  bool caret_on = true;   // it blinks
  // While an imported curve is shown: the previous one, restored unless the user saves.
  std::optional<eq::Curve> before;

  bool operator==(const SaveDialog&) const = default;
};

// Opens it with a proposed name: that of the chosen preset if it is the user's, else the first free
// number.
void open_save();

// Opens it for a curve imported from a file, proposing the file's name if it has one. A second
// import reuses the open dialog.
void open_save_imported(const std::string& name);

// Closes it without saving: an imported curve glides back.
void close_save();

// Stores the current curve (of an import, the complete one) and after an import switches the
// equalizer on. With an empty name, or no room for another preset, the dialog stays open.
void commit_save();

// Whether the typed name can be stored, and the dialog's hint about it, which may be empty.
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
