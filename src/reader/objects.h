// The library's objects, one for every node, which answer readers.
#pragma once

#include <atk/atk.h>

#include <cstdint>

#include "tree.h"

namespace reader {

// Creates an object for a node; call `forget` before the node dies. The caller owns a reference.
AtkObject* make_object(Node* node);

// Detaches the object from its node; a reader that still holds it gets empty answers.
void forget(AtkObject* object);

// The program's own object: the parent of the window's.
AtkObject* make_program();

// The library's role for an element (traits.cpp).
AtkRole role_of(const Element& element);

// Its states, a bit for each AtkStateType.
std::uint64_t states_of(const Element& element, const Window& window);

// Whether both elements need the same type of object.
bool same_kind(const Element& a, const Element& b);

}  // namespace reader
