// What the recording drawing layer has drawn.
#pragma once

#include <string>
#include <vector>

namespace recording {

extern std::vector<std::string> drawn;

// A text as it stands in a line: what marks its direction is spelled out.
std::string one_line(std::string text);

}  // namespace recording
