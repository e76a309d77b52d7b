// Settings that a desktop shares with the programs on its X server (XSETTINGS). Thread: the main
// thread only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

// All of them, in their stored form. Empty if there is no X server, or no desktop that shares any.
std::string xsettings();

// The integer setting of that name, such as "Net/DoubleClickTime". Empty if there is none, or if
// the data before it are damaged.
std::optional<std::int32_t> xsetting(std::string_view all, std::string_view name);

}  // namespace platform
