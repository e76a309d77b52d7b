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
// are accepted: gains end up within +/-12 dB, the channel within 0 to 2, presets within their
// number and length; other numbers are bounded to 32 bits only.
void deserialize(const std::string& text, Settings* s);

}  // namespace settings
