// The one place that states which release this is.
#pragma once

inline constexpr const char* kVersion = "1.0.2";
inline constexpr const char* kBuild = "1057";
