// The entries of the tray's menu, made from the state: their look, and the command of a click.
// Thread: the bus thread only.
#pragma once

#include <string>
#include <vector>

#include "bus.h"

namespace desktop::menu {

inline constexpr int kRoot = 0;  // the number of the menu itself

enum class Kind { kPlain, kRule, kCheck, kRadio, kSubmenu };

struct Entry {
  int id = kRoot;
  int parent = kRoot;
  Kind kind = Kind::kPlain;
  std::string label;
  bool checked = false;
  bool visible = true;
  Command command;  // of a click; rules and submenus have none

  // Whether the tray would draw the same entry at the same place, apart from its marks.
  [[nodiscard]] bool like(const Entry& other) const {
    return id == other.id && parent == other.parent && kind == other.kind && label == other.label;
  }
};

// The root first, children in the order in which they are shown.
std::vector<Entry> entries_of(const State& state);

}  // namespace desktop::menu
