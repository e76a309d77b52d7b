// The window described for screen readers, and their commands. Thread: the main thread only,
// between init and shutdown.
#pragma once

#include <vector>

#include "reader/reader.h"

namespace ui {

// All elements as last painted, in reading order; positions are in logical pixels. Elements of a
// covered layer are disabled.
std::vector<reader::Element> describe();

// Does what the mouse would do at the element. Ignored if the element is disabled or has changed
// its meaning.
void carry_out(const reader::Command& command);

}  // namespace ui
