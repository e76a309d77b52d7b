// DESIGN: the program runs as a person would run it, except that nothing of the person's desktop
// can be reached: the environment is the test server's, and the video driver is one without a
// screen unless the test has a screen of its own.
#include "velmora_process.h"

#include <sys/stat.h>

#include <iostream>

#include "wait_until.h"

namespace support {
namespace {

constexpr std::size_t kTailBytes = 2000;

// Which file it is, whatever its name; 0 when there is none.
ino_t inode(const std::filesystem::path& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 ? info.st_ino : 0;
}

}  // namespace

VelmoraProcess::VelmoraProcess(const SoundServer& server, VelmoraOptions options)
    : config_home_(options.config_home.empty() ? directory_.path() / "config"
                                               : options.config_home) {
  std::filesystem::create_directories(config_home_);
  previous_log_ = inode(log_path());
  Environment environment = server.environment();
  environment["XDG_CONFIG_HOME"] = config_home_.string();
  for (const Environment& more : {options.display, options.environment}) {
    for (const auto& [name, value] : more)
      environment[name] = value;
  }
  options.arguments.insert(options.arguments.begin(), VELMORA_EXECUTABLE);
  process_.emplace(options.arguments, environment, directory_.path() / "console.txt");
}

VelmoraProcess::~VelmoraProcess() {
  stop();
  if (testing::Test::HasFailure())
    std::cerr << "---- Velmora, log\n" << log() << "---- Velmora, console\n" << console();
}

testing::AssertionResult VelmoraProcess::wait_for_log(const std::string& text,
                                                      std::chrono::milliseconds limit) {
  return wait_until("the log says \"" + text + "\"", limit, [&](std::string& seen) {
    const std::string all = log();
    seen = all.size() > kTailBytes ? "..." + all.substr(all.size() - kTailBytes) : all;
    return all.find(text) != std::string::npos;
  });
}

std::filesystem::path VelmoraProcess::log_path() const {
  return config_home_ / "Velmora/Velmora.log";
}

std::string VelmoraProcess::log() const {
  return inode(log_path()) == previous_log_ ? "" : read_file(log_path());
}

int VelmoraProcess::count_in_log(const std::string& text) const {
  const std::string all = log();
  int count = 0;
  for (auto at = all.find(text); at != std::string::npos; at = all.find(text, at + text.size()))
    ++count;
  return count;
}

std::optional<pid_t> VelmoraProcess::guard() const {
  const std::vector<pid_t> children = children_of(pid());
  if (children.empty()) return std::nullopt;
  return children.front();
}

}  // namespace support
