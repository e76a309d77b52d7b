// The two colour palettes of the interface and the switch between them. Main thread only.
#pragma once

namespace theme {

// Selects the dark (true) or the light palette. Light until the first call.
void set_dark(bool dark);
bool dark();

}  // namespace theme
