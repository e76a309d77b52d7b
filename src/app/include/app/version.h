// The release, as the program reports it. The build, the packages and the changelog state it, too.
#pragma once

inline constexpr const char* kVersion = "1.0.2";
inline constexpr const char* kBuild = "1057";
