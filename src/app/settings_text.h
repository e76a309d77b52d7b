// The text form of the settings: lines of key=value in a fixed order, each ended by "\n".
//
// Numbers look the same in every locale. Text values are written as they are, except that a line
// break is written as a blank. Threads: any; no state.
#pragma once

#include <string>

#include "app/settings.h"

namespace settings {

std::string serialize(const Settings& s);

// Reads a text into *s. A missing key leaves its field alone, an unknown one is ignored. Any bytes
// are accepted: gains are clamped to +/-eq::kMaxGainDb, the channel to 0 to 2, presets to their
// maximum number and length; other numbers only to 32 bits.
void deserialize(const std::string& text, Settings* s);

}  // namespace settings
