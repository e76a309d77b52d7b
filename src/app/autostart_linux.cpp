// DESIGN: the entry is the only state, so the interface always shows the state on disk. The file is
// written in place: a half-written entry is detected and reported, and the next write replaces it.
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <sstream>
#include <string_view>

#include "app/autostart.h"
#include "app/environment.h"
#include "app/logger.h"
#include "posix/files.h"

namespace autostart {
namespace {

constexpr const char* kEntry = "/Velmora.desktop";
constexpr const char* kLegacyEntry = "/Tarsel.desktop";
constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kFileMode = 0644;
// A desktop entry has some hundred bytes.
constexpr std::size_t kMaxEntrySize = std::size_t{1} << 20U;
constexpr std::size_t kMaxProgramPath = 4095;

// Empty when the user has no home directory.
std::string autostart_dir() {
  std::string home;
  // Inside a snap HOME is the snap's own; elsewhere a snap that started the program may have left
  // the variable that names the real one.
  if (!environment::is_set("SNAP")) home = environment::get("SNAP_REAL_HOME");
  if (home.empty()) home = environment::get("HOME");
  return home.empty() ? "" : home + "/.config/autostart";
}

// A path as an argument of an Exec line, where blanks separate, % begins a field code, and a value
// as a whole has its backslashes doubled.
std::string quoted(const std::string& path) {
  const bool bare = path.find_first_of(" \t\n\"'\\><~|&;$*?#()`") == std::string::npos;
  std::string text;
  for (const char c : path) {
    if (c == '"' || c == '`' || c == '$') text += "\\\\";
    text += c == '%' ? "%%" : c == '\\' ? R"(\\\\)" : c == '\n' ? "\\n" : std::string(1, c);
  }
  return bare ? text : '"' + text + '"';
}

std::string program_path() {
  // The program's own path is inside the image's mount, which does not exist at the next login.
  if (environment::is_set("APPDIR") && environment::is_set("APPIMAGE"))
    return environment::get("APPIMAGE");
  std::array<char, kMaxProgramPath> target{};
  const ssize_t length = readlink("/proc/self/exe", target.data(), target.size());
  if (length <= 0) return "Velmora";
  const std::string_view path(target.data(), static_cast<std::size_t>(length));
  // Added by the kernel once an upgrade has replaced the running program.
  constexpr std::string_view kDeleted = " (deleted)";
  return std::string(path.ends_with(kDeleted) ? path.substr(0, path.size() - kDeleted.size())
                                              : path);
}

std::string start_command(const std::string& args) {
  std::string command;
  if (environment::is_set("SNAP_NAME")) {
    command = environment::get("SNAP_NAME");
  } else if (environment::is_set("FLATPAK_ID")) {
    command = "flatpak run " + environment::get("FLATPAK_ID");
  } else {
    command = quoted(program_path());
  }
  return args.empty() ? command : command + " " + args;
}

std::string icon() {
  if (environment::is_set("SNAP_NAME")) {
    return "/snap/" + environment::get("SNAP_NAME") + "/current/meta/gui/icon.png";
  }
  if (environment::is_set("FLATPAK_ID")) return environment::get("FLATPAK_ID");
  return "velmora";
}

// The comment is always German: the entry outlives a change of the interface's language.
std::string entry(const std::string& args) {
  return "[Desktop Entry]\n"
         "Type=Application\n"
         "Name=Velmora\n"
         "Comment=Equalizer fuer das ganze System\n"
         "Exec=" +
         start_command(args) +
         "\n"
         "Icon=" +
         icon() +
         "\n"
         "Terminal=false\n"
         "Categories=AudioVideo;Audio;Mixer;\n"
         "X-GNOME-Autostart-Delay=3\n"
         "X-GNOME-Autostart-enabled=true\n";
}

bool write_entry(const std::string& path, const std::string& content) {
  files::Descriptor file(files::open_for_writing(path.c_str(), kFileMode));
  if (!file) return false;
  const bool complete = files::write_all(file.get(), content);
  return file.close() && complete;
}

bool enable(const std::string& dir, const std::string& args) {
  files::make_directories(dir, kDirectoryMode);
  const std::string path = dir + kEntry;
  const bool written = write_entry(path, entry(args));
  if (!written) logger::error("Autostart not writable: " + path);
  logger::info(written ? "Autostart enabled" : "Autostart NOT enabled");
  return written;
}

}  // namespace

bool enabled() {
  const std::string dir = autostart_dir();
  return !dir.empty() && files::exists(dir + kEntry);
}

bool set(bool on, const std::string& args) {
  const std::string dir = autostart_dir();
  if (dir.empty()) return false;
  if (on) return enable(dir, args);
  static_cast<void>(std::remove((dir + kEntry).c_str()));
  logger::info("Autostart removed");
  return true;
}

void migrate() {
  const std::string dir = autostart_dir();
  if (dir.empty() || !files::exists(dir + kLegacyEntry)) return;
  static_cast<void>(std::remove((dir + kLegacyEntry).c_str()));
  set(true, "");
  logger::info("Autostart entry moved to the new name");
}

std::string command() {
  constexpr std::string_view kKey = "Exec=";
  const std::string dir = autostart_dir();
  std::string content;
  if (dir.empty()) return {};
  if (files::read_all(dir + kEntry, kMaxEntrySize, &content) != files::Read::kOk) return {};
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(kKey)) return line.substr(kKey.size());
  }
  return {};
}

}  // namespace autostart
