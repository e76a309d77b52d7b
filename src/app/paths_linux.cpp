// DESIGN: the environment decides, and is read on every call. The only state is the flag that
// limits the move from the earlier name to the first call.
#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <string_view>

#include "app/environment.h"
#include "app/paths.h"
#include "posix/files.h"

namespace paths {
namespace {

constexpr mode_t kPrivate = 0700;
constexpr const char* kHere = ".Velmora";
// Where nothing can be read or written.
constexpr const char* kNowhere = "/dev/null/Velmora";
constexpr const char* kLanguageVariables[] = {"TRSL_LANG", "LANGUAGE", "LC_ALL", "LC_MESSAGES",
                                              "LANG"};

std::atomic<bool> g_migration_tried{false};

std::string locate() {
  if (const std::string base = environment::get("XDG_CONFIG_HOME"); !base.empty()) {
    return base + "/Velmora";
  }
  if (const std::string home = environment::get("HOME"); !home.empty()) {
    return home + "/.config/Velmora";
  }
  // The current directory may be anybody's.
  mkdir(kHere, kPrivate);
  return files::is_private_directory(kHere) ? kHere : kNowhere;
}

// Moves the directory of releases under the earlier name. A failed step changes nothing.
void migrate(const std::string& dir) {
  const std::size_t slash = dir.rfind('/');
  if (slash == std::string::npos) return;
  const std::string legacy = dir.substr(0, slash) + "/Tarsel";
  if (files::exists(dir) || !files::is_directory(legacy)) return;
  if (std::rename(legacy.c_str(), dir.c_str()) != 0) return;
  static_cast<void>(std::rename((dir + "/Tarsel.log").c_str(), (dir + "/Velmora.log").c_str()));
  static_cast<void>(std::remove((dir + "/Tarsel.lock").c_str()));
}

}  // namespace

std::string config_dir() {
  std::string dir = locate();
  if (!g_migration_tried.exchange(true)) migrate(dir);
  if (dir != kHere && dir != kNowhere) files::make_directories(dir, kPrivate);
  return dir;
}

const char* package_kind() {
  if (environment::is_set("SNAP")) return "snap";
  if (environment::is_set("FLATPAK_ID")) return "flatpak";
  if (environment::is_set("APPDIR")) return "appimage";
  return "plain";
}

bool is_sandboxed() {
  return environment::is_set("SNAP") || environment::is_set("FLATPAK_ID");
}

std::string display(const std::string& path) {
  return path;
}

std::string system_language() {
  for (const char* const variable : kLanguageVariables) {
    const std::string value = environment::get(variable);
    // "de_DE.UTF-8@euro:en" asks for de_DE first; a list's later entries are not looked at.
    std::string_view language = value;
    for (const char end : {':', '.', '@'})
      language = language.substr(0, language.find(end));
    if (language.size() >= 2 && language != "C" && language != "POSIX")
      return std::string(language);
  }
  return "en";
}

}  // namespace paths
