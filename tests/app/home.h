// A home of a test's own: a temporary directory that HOME and XDG_CONFIG_HOME lead to, with every
// other variable that affects where and how the program runs removed. The environment is
// put back afterwards.
//
// Thread: main thread, while no other thread reads the environment.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "process.h"
#include "temp_dir.h"

class Home {
 public:
  Home() {
    for (const char* name : {"SNAP", "SNAP_NAME", "SNAP_REAL_HOME", "FLATPAK_ID", "APPDIR",
                             "TRSL_LANG", "LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
      set(name, "");
    }
    set("HOME", path());
    set("XDG_CONFIG_HOME", path() / "config");
  }
  ~Home() {
    for (const auto& [name, value] : before_)
      set(name, value);
  }
  Home(const Home&) = delete;
  Home& operator=(const Home&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return dir_.path(); }
  // The configuration directory that HOME and XDG_CONFIG_HOME lead to.
  [[nodiscard]] std::filesystem::path config() const { return path() / "config" / "Velmora"; }

  // Sets a variable for the life of this object; an empty value removes it.
  void set(const std::string& name, const std::string& value) {
    const char* const now = std::getenv(name.c_str());
    before_.try_emplace(name, now != nullptr ? now : "");
    if (value.empty()) {
      unsetenv(name.c_str());
    } else {
      setenv(name.c_str(), value.c_str(), 1);
    }
  }

 private:
  support::TempDir dir_;
  std::map<std::string, std::string> before_;
};

using support::read_file;

// Creates missing directories on the way.
inline void write_file(const std::filesystem::path& path, const std::string& content) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}
