// Reports and the files that describe a machine may hold anything: the texts made of them keep
// their limits, and a description stays one line.
//
// The first byte says what the rest is.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "../app/home.h"
#include "faultline_private.h"
#include "fuzz.h"

namespace {

constexpr const char* kFiles[] = {"/etc/os-release",      "/proc/cpuinfo",
                                  "/proc/meminfo",        "/proc/asound/cards",
                                  "/var/lib/dpkg/status", "/sys/class/drm/card0/device/vendor"};

// The root of the made-up machine.
std::string machine() {
  static const support::TempDir dir;
  return dir.path();
}

void describe(const std::string& file, const std::string& content) {
  write_file(machine() + file, content);
  for (const auto& lines : {faultline::system_lines(), faultline::gpu_lines()}) {
    for (const std::string& line : lines)
      fuzz::require(line.find('\n') == std::string::npos, "a line is a line");
  }
  std::filesystem::remove(machine() + file);
}

void shorten(const std::string& report) {
  for (const std::size_t limit : {0U, 7U, 60U, 400U}) {
    const std::string body = faultline::detail::mail_body(report, limit);
    fuzz::require(body.size() <= limit, "a body keeps its limit");
    fuzz::require(report.size() > limit || body == report, "what fits is not changed");
  }
  const std::string encoded = faultline::detail::url_encode(report);
  fuzz::require(encoded.find_first_of(" \n&?#\"'<>") == std::string::npos, "an address is one");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  faultline::App app;
  app.package_name = "tester";
  faultline::detail::set_app(app);
  faultline::detail::set_root(machine());
  write_file(machine() + "/var/lib/dpkg/info/tester.list", "/usr/bin/tester\n");
  std::filesystem::create_directories(machine() + "/proc/self");
  std::filesystem::create_symlink("/usr/bin/tester", machine() + "/proc/self/exe");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string content(reinterpret_cast<const char*>(data + 1), size - 1);
  const std::size_t which = data[0] % (std::size(kFiles) + 1);
  if (which < std::size(kFiles)) {
    describe(kFiles[which], content);
  } else {
    shorten(content);
  }
  return 0;
}
