// The window in words, for those who cannot see it, and what they ask for. Thread: the main thread
// only, between init and shutdown.
#pragma once

#include <vector>

#include "reader/reader.h"

namespace ui {

// All elements as last painted, in the order in which they are read; places are in logical pixels.
// Those of a layer that another one covers are disabled.
std::vector<reader::Element> describe();

// Does what the mouse would do at the element. Nothing where the element is disabled, or no longer
// what it was.
void carry_out(const reader::Command& command);

}  // namespace ui
