// The release, as the program reports it. CMakeLists.txt, the packages and the changelog repeat it.
#pragma once

inline constexpr const char* kVersion = "1.0.2";
inline constexpr const char* kBuild = "1057";
