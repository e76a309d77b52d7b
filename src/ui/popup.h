// A list that drops down from a button, and scrolls if there is not enough room.
#pragma once

#include <string>
#include <vector>

#include "elements.h"

namespace ui {

struct PopupRow {
  std::string text;                                    // as shown
  std::string value;                                   // argument of choose and erase
  bool chosen = false;                                 // marked
  void (*choose)(const std::string& value) = nullptr;  // null: a heading
  void (*erase)(const std::string& value) = nullptr;   // null: the row cannot be deleted
  bool faint = false;                                  // stands for something absent

  bool operator==(const PopupRow&) const = default;
};

struct Popup {
  bool open = false;
  int button = kHitNone;  // the button that it belongs to
  std::vector<PopupRow> rows;
  int first = 0;   // the first visible row
  int hover = -1;  // row
  bool hover_delete = false;

  bool operator==(const Popup&) const = default;
};

// Opens a list with the chosen row in sight.
void open_popup(int button, std::vector<PopupRow> rows);
void close_popup();

// Does what a press on a row, or on its mark for deleting, does.
void choose_row(int row);
void erase_row(int row);

void popup_move(float x, float y);
void popup_press(float x, float y);
void popup_wheel(int steps);

void draw_popup(float w, float h);

}  // namespace ui
