// Settings that a desktop shares with the programs on its X server (XSETTINGS). Thread: the main
// thread only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

// All of them, as they are stored there. Empty where there is no X server, or no desktop that
// shares any.
std::string xsettings();

// A whole number among them, such as "Net/DoubleClickTime". Empty when there is none of that name,
// or when what comes before it makes no sense.
std::optional<std::int32_t> xsetting(std::string_view all, std::string_view name);

}  // namespace platform
