// One of the library's objects for every node: what it answers when a reader asks.
#pragma once

#include <atk/atk.h>

#include <cstdint>

#include "tree.h"

namespace reader {

// An object for a node, which must outlive it or be taken from it by `forget`. The caller owns a
// reference.
AtkObject* make_object(Node* node);

// The node is gone; a reader that still holds the object learns nothing from it.
void forget(AtkObject* object);

// The program's own object: the parent of the window's.
AtkObject* make_program();

// What kind of thing an element is, in the library's words (traits.cpp).
AtkRole role_of(const Element& element);

// The states that it is in, a bit for each AtkStateType.
std::uint64_t states_of(const Element& element, const Window& window);

// Whether both are answered for by the same kind of object.
bool same_kind(const Element& a, const Element& b);

}  // namespace reader
