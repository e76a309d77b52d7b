// DESIGN: every line has its own small reader, which states in its line if it finds nothing. Files
// are read with a size limit, and the one program that is run has two seconds. Paths and file
// contents are never interpreted.
#include <gio/gio.h>
#include <gnu/libc-version.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string_view>

#include "faultline_private.h"
#include "posix/child.h"

namespace faultline {

namespace {

constexpr std::size_t kSmallFile = std::size_t{64} << 10U;
constexpr std::size_t kCpuFile = std::size_t{1} << 20U;  // a block of text for each processor
constexpr std::size_t kPackageFile = std::size_t{64} << 20U;

constexpr std::chrono::seconds kQueryLimit{2};
constexpr const char* kRpm = "/usr/bin/rpm";

enum class Kind { kSnap, kFlatpak, kAppImage, kPlain };

std::string& root() {
  static auto* const dir = new std::string;
  return *dir;
}

std::string env(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string or_unknown(const std::string& text) {
  return text.empty() ? "unknown" : text;
}

std::string trim(const std::string& text) {
  constexpr const char* kBlank = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlank);
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

bool read_file(const std::string& path, std::string* out, std::size_t limit = kSmallFile) {
  // Unlike reports, system files may be links: /etc/os-release usually is one.
  std::array<char, PATH_MAX> resolved{};
  out->clear();
  return realpath((root() + path).c_str(), resolved.data()) != nullptr &&
         detail::file_read(resolved.data(), out, limit);
}

std::string first_line_of(const std::string& path) {
  std::string content;
  read_file(path, &content);
  return trim(content.substr(0, content.find('\n')));
}

std::string link_target(const std::string& path) {
  std::array<char, PATH_MAX> target{};
  const ssize_t size = readlink((root() + path).c_str(), target.data(), target.size());
  return size > 0 ? std::string(target.data(), static_cast<std::size_t>(size)) : "";
}

// The names in a directory, in order; false when it cannot be listed.
bool list_dir(const std::string& path, std::vector<std::string>* names) {
  const std::unique_ptr<GDir, decltype(&g_dir_close)> dir(
      g_dir_open((root() + path).c_str(), 0, nullptr), g_dir_close);
  if (dir == nullptr) return false;
  while (const char* name = g_dir_read_name(dir.get()))
    names->emplace_back(name);
  std::sort(names->begin(), names->end());
  return true;
}

Kind package_kind() {
  if (!env("SNAP").empty()) return Kind::kSnap;
  if (!env("FLATPAK_ID").empty()) return Kind::kFlatpak;
  if (!env("APPDIR").empty()) return Kind::kAppImage;
  return Kind::kPlain;
}

// The rest of the first line that begins with `key`; `found` receives whether there is one.
std::string value_after(const std::string& text, std::string_view key, bool* found = nullptr) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(key)) continue;
    if (found != nullptr) *found = true;
    return trim(line.substr(key.size()));
  }
  return "";
}

// A value of an os-release file, which is written as a shell would read it.
std::string os_value(const std::string& text, const std::string& key) {
  const std::string raw = value_after(text, key + "=");
  const std::unique_ptr<char, decltype(&g_free)> plain(g_shell_unquote(raw.c_str(), nullptr),
                                                       g_free);
  return or_unknown(plain != nullptr ? plain.get() : raw);
}

std::string os_text(const std::string& release) {
  return os_value(release, "PRETTY_NAME") + " (" + os_value(release, "VERSION_ID") + ", like " +
         os_value(release, "ID_LIKE") + ")";
}

std::string os_line() {
  const Kind kind = package_kind();
  std::string dir;
  if (kind == Kind::kSnap) dir = "/var/lib/snapd/hostfs";
  if (kind == Kind::kFlatpak) dir = "/run/host";
  std::string release;
  // A flatpak's host file lies in /run/host itself.
  const std::string first = kind == Kind::kFlatpak ? "/os-release" : "/etc/os-release";
  if (read_file(dir + first, &release) || read_file(dir + "/usr/lib/os-release", &release))
    return os_text(release);
  if (dir.empty()) return "unknown";
  read_file("/etc/os-release", &release);
  return "host not readable from the sandbox; sandbox: " + os_value(release, "PRETTY_NAME");
}

std::string kernel_line() {
  utsname kernel{};
  if (uname(&kernel) != 0) return "unknown";
  return std::string(kernel.sysname) + " " + kernel.release + " " + kernel.version + " " +
         kernel.machine;
}

std::string cpu_line() {
  std::string info;
  read_file("/proc/cpuinfo", &info, kCpuFile);
  const std::string model = value_after(info, "model name");
  const std::size_t colon = model.find(':');
  const std::string name = colon == std::string::npos ? "" : trim(model.substr(colon + 1));
  return or_unknown(name) + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " threads";
}

std::string megabytes(const std::string& meminfo, std::string_view key) {
  const std::string kilobytes = value_after(meminfo, key);
  return std::to_string(std::strtoll(kilobytes.c_str(), nullptr, 10) / 1024) + " MB";
}

std::string ram_line() {
  std::string info;
  if (!read_file("/proc/meminfo", &info)) return "unknown";
  return megabytes(info, "MemTotal:") + ", available " + megabytes(info, "MemAvailable:");
}

std::string session_line() {
  std::string line = "desktop " + or_unknown(env("XDG_CURRENT_DESKTOP")) + ", type " +
                     or_unknown(env("XDG_SESSION_TYPE"));
  const std::string x11 = env("DISPLAY");
  const std::string wayland = env("WAYLAND_DISPLAY");
  if (!x11.empty()) line += ", X " + x11;
  if (!wayland.empty()) line += ", Wayland " + wayland;
  return line + ", lang " + or_unknown(env("LANG"));
}

// Each card has two lines; the first reads " 0 [PCH            ]: HDA-Intel - HDA Intel PCH".
std::vector<std::string> alsa_cards() {
  std::string cards;
  if (!read_file("/proc/asound/cards", &cards)) return {"ALSA cards: not readable"};
  std::vector<std::string> result;
  std::istringstream lines(cards);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t open = line.find('[');
    const std::size_t close = line.find("]:");
    if (open == std::string::npos || close == std::string::npos || close < open) continue;
    result.push_back("ALSA card " + trim(line.substr(0, open)) + " [" +
                     trim(line.substr(open + 1, close - open - 1)) +
                     "]: " + trim(line.substr(close + 2)));
  }
  if (result.empty()) result.emplace_back("ALSA cards: none");
  return result;
}

std::string gpu_line(const std::string& card) {
  const std::string device = "/sys/class/drm/" + card + "/device/";
  const auto ids = [&](const std::string& prefix) {
    return or_unknown(first_line_of(device + prefix + "vendor")) + ":" +
           or_unknown(first_line_of(device + prefix + "device"));
  };
  const std::string driver = link_target(device + "driver");
  std::string line = "GPU " + card + ": PCI " + ids("") + " (subsystem " + ids("subsystem_") +
                     "), driver " + or_unknown(driver.substr(driver.rfind('/') + 1));
  if (first_line_of(device + "boot_vga") == "1") line += ", boot_vga";
  return line;
}

bool list_has(const std::string& list_path, const std::string& line) {
  std::string list;
  if (!read_file(list_path, &list, kPackageFile)) return false;
  return ("\n" + list + "\n").find("\n" + line + "\n") != std::string::npos;
}

// The version that dpkg's list of packages gives for one that is called `name`.
std::string dpkg_version(const std::string& name) {
  std::string status;
  read_file("/var/lib/dpkg/status", &status, kPackageFile);
  const std::size_t entry = ("\n" + status).find("\nPackage: " + name + "\n");
  if (entry == std::string::npos) return "unknown";
  const std::size_t end = status.find("\n\n", entry);
  return or_unknown(value_after(status.substr(entry, end - entry), "Version: "));
}

std::string from_dpkg(const std::string& path) {
  const std::string package = detail::app().package_name;
  for (const char* const architecture : {"", ":amd64", ":arm64"}) {
    if (list_has("/var/lib/dpkg/info/" + package + architecture + ".list", path))
      return "deb " + package + " " + dpkg_version(package);
  }
  return "";
}

std::string from_rpm(const std::string& path) {
  const std::string program = root() + kRpm;
  if (!detail::file_exists(program)) return "";
  std::string output;
  child::run({program, "-qf", "--qf", "%{NAME} %{VERSION}-%{RELEASE}", path}, kQueryLimit, &output);
  std::string answer = trim(output);
  std::replace(answer.begin(), answer.end(), '\n', ' ');
  if (answer.empty() || answer.find("not owned") != std::string::npos) return "";
  return "rpm " + answer;
}

std::string from_pacman(const std::string& path) {
  const std::string base = "/var/lib/pacman/local";
  std::vector<std::string> entries;
  list_dir(base, &entries);
  for (const std::string& entry : entries) {
    const std::filesystem::path list = std::filesystem::path(base) / entry / "files";
    if (list_has(list, path.substr(1))) return "arch " + entry;
  }
  return "";
}

// Empty when unknown.
std::string program_path() {
  std::string path = link_target("/proc/self/exe");
  // Added by the kernel once an upgrade has replaced the running program.
  constexpr std::string_view kDeleted = " (deleted)";
  if (path.ends_with(kDeleted)) path.resize(path.size() - kDeleted.size());
  return path;
}

std::string plain_package() {
  const std::string path = program_path();
  if (path.empty()) return "unpackaged (unknown)";
  for (std::string (*const query)(const std::string&) : {from_dpkg, from_rpm, from_pacman}) {
    if (std::string line = query(path); !line.empty()) return line;
  }
  return "unpackaged (" + path + ")";
}

std::string flatpak_package() {
  std::string info;
  read_file("/.flatpak-info", &info);
  return "flatpak " + env("FLATPAK_ID") + " branch " + or_unknown(value_after(info, "branch=")) +
         " commit " + or_unknown(value_after(info, "app-commit="));
}

}  // namespace

namespace detail {

void set_root(const std::string& dir) {
  root() = dir;
}

bool package_needs_query() {
  const std::string path = program_path();
  return package_kind() == Kind::kPlain && !path.empty() && file_exists(root() + kRpm) &&
         from_dpkg(path).empty();
}

}  // namespace detail

std::vector<std::string> system_lines() {
  std::vector<std::string> lines = {"OS: " + os_line(),
                                    "Kernel: " + kernel_line(),
                                    std::string("glibc: ") + gnu_get_libc_version(),
                                    "CPU: " + cpu_line(),
                                    "RAM: " + ram_line(),
                                    "Session: " + session_line(),
                                    "Package: " + package_line()};
  for (std::string& card : alsa_cards())
    lines.push_back(std::move(card));
  return lines;
}

std::vector<std::string> gpu_lines() {
  std::vector<std::string> entries;
  if (!list_dir("/sys/class/drm", &entries)) return {"GPUs: /sys/class/drm not readable"};
  std::vector<std::string> lines;
  for (const std::string& entry : entries) {
    // The others are a card's connectors.
    if (entry.starts_with("card") && entry.find('-') == std::string::npos)
      lines.push_back(gpu_line(entry));
  }
  if (lines.empty()) lines.emplace_back("GPUs: none in /sys/class/drm");
  return lines;
}

std::string package_line() {
  switch (package_kind()) {
    case Kind::kSnap:
      return "snap " + or_unknown(env("SNAP_INSTANCE_NAME")) + " " +
             or_unknown(env("SNAP_VERSION")) + " rev " + or_unknown(env("SNAP_REVISION"));
    case Kind::kFlatpak:
      return flatpak_package();
    case Kind::kAppImage:
      return "appimage " + or_unknown(env("APPIMAGE"));
    case Kind::kPlain:
      break;
  }
  return plain_package();
}

}  // namespace faultline
