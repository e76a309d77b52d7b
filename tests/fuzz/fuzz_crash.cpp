// Reports and the files that describe a machine may hold anything: the texts made of them keep
// their limits, and a description stays one line.
//
// The first byte says what the rest is.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "crash/faultline_private.h"
#include "fuzz.h"

namespace {

constexpr const char* kFiles[] = {"/etc/os-release",      "/proc/cpuinfo",
                                  "/proc/meminfo",        "/proc/asound/cards",
                                  "/var/lib/dpkg/status", "/sys/class/drm/card0/device/vendor"};

const std::string& machine() {
  // Never destroyed: it is needed while the process ends.
  static const auto* const root = new std::string([] {
    std::string dir = std::filesystem::temp_directory_path() / "velmora-fuzz-XXXXXX";
    fuzz::require(mkdtemp(dir.data()) != nullptr, "there is a temporary directory");
    for (const char* const file : kFiles)
      std::filesystem::create_directories(std::filesystem::path(dir + file).parent_path());
    std::filesystem::create_directories(dir + "/proc/self");
    std::filesystem::create_symlink("/usr/bin/tester", dir + "/proc/self/exe");
    std::filesystem::create_directories(dir + "/var/lib/dpkg/info");
    std::ofstream(dir + "/var/lib/dpkg/info/tester.list") << "/usr/bin/tester\n";
    std::atexit([] { std::filesystem::remove_all(machine()); });
    return dir;
  }());
  return *root;
}

void describe(std::size_t which, const std::string& content) {
  const std::string path = machine() + kFiles[which];
  std::ofstream(path, std::ios::binary) << content;
  std::vector<std::string> lines = faultline::system_lines();
  for (const std::string& line : faultline::gpu_lines())
    lines.push_back(line);
  for (const std::string& line : lines)
    fuzz::require(line.find('\n') == std::string::npos, "a line is a line");
  std::filesystem::remove(path);
}

void shorten(const std::string& report) {
  for (const std::size_t limit :
       {std::size_t{0}, std::size_t{7}, std::size_t{60}, std::size_t{400}}) {
    const std::string body = faultline::detail::mail_body(report, limit);
    fuzz::require(body.size() <= limit, "a body keeps its limit");
    fuzz::require(report.size() > limit || body == report, "what fits is not changed");
  }
  const std::string encoded = faultline::detail::url_encode(report);
  fuzz::require(encoded.find_first_of(" \n&?#\"'<>") == std::string::npos, "an address is one");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static const bool ready = [] {
    faultline::App app;
    app.package_name = "tester";
    faultline::detail::set_app(app);
    faultline::detail::set_root(machine());
    return true;
  }();
  fuzz::require(ready, "the machine is made up");
  const std::string content(reinterpret_cast<const char*>(data + 1), size - 1);
  const std::size_t which = data[0] % (std::size(kFiles) + 1);
  if (which < std::size(kFiles)) {
    describe(which, content);
  } else {
    shorten(content);
  }
  return 0;
}
