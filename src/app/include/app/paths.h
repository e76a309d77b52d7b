// Where the program keeps its files, how it was packaged, and the language of the environment.
//
// Everything is read from the environment on every call. Nothing here reports errors: a directory
// that cannot be created shows up as a failed open where it is used. Threads: any, as long as none
// changes the environment.
#pragma once

#include <string>

namespace paths {

// The configuration directory, without a trailing "/", created with its missing ancestors, for the
// user alone. The first of these that has its variable set:
//
// clang-format off
//   $XDG_CONFIG_HOME/Velmora
//   $HOME/.config/Velmora
//   .Velmora in the current directory, unless others can enter it: then a path where nothing can be
//            read or written
// clang-format on
//
// The first call in a process also moves the directory of the program's earlier name ("Tarsel") to
// the new name.
std::string config_dir();

// How the program was packaged: "snap", "flatpak", "appimage" or "plain".
const char* package_kind();

// Whether the program runs in the sandbox of a snap or a flatpak.
bool is_sandboxed();

// The path as shown to the user.
std::string display(const std::string& path);

// The language of the environment as spelled there, without code set and modifier ("de_DE",
// "pt_BR"); "en" when none is set. TRSL_LANG, the program's own variable, overrides the usual ones.
std::string system_language();

}  // namespace paths
