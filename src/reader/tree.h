// The objects that a reader sees: the program, its window, and the window's elements. Thread: the
// reader's only.
#pragma once

#include <atk/atk.h>

#include <functional>
#include <string>
#include <vector>

#include "reader/reader.h"

namespace reader {

// Receives a reader's commands.
using Submit = std::function<void(Command)>;

// The data behind one of the library's objects.
struct Node {
  Element element;  // id 0: the window
  AtkObject* object = nullptr;
  Node* parent = nullptr;  // null: the program itself is the parent
  std::vector<Node*> children;
};

// Creates the program's object and passes it to the library. Call it once.
void make_root(Submit submit);

// Brings the objects up to date, and reports every difference.
void show(const Window& window);

// The window as shown last.
const Window& shown();

// For the objects -----------------------------------------------------

AtkObject* root();
Node* window_node();  // null before the first window
void submit(const Node& node, Verb verb, float value = 0.0F);

}  // namespace reader
