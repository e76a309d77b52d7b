// A thousand starts and ends in a row, and nothing may be left of them:
//
//   soak_restarts [--server pulseaudio|pipewire] [--times N]
//
// Starts the built program on a private server while music plays, waits until the routing is in
// force, and ends it: with SIGTERM, SIGINT and SIGHUP in turn, every tenth time with SIGKILL. After
// each the server must be as before, no process of ours may be there, no new file, and no more open
// descriptors of the server than before. Prints how long it took; exit status 1 with the first
// thing that was left.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "arguments.h"
#include "pulse_client.h"
#include "sound_server.h"
#include "temp_dir.h"
#include "tone_player.h"
#include "velmora_process.h"
#include "wait_until.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace support;
using Clock = std::chrono::steady_clock;

constexpr const char* kSink = "velmora";
constexpr const char* kOurs = "Velmora";
constexpr auto kPatience = 20s;
const std::set<std::string> kOurFiles = {"settings.dat", "Velmora.lock", "Velmora.log",
                                         "Velmora.log.1"};
constexpr int kWarmUp = 3;  // the first runs leave settings and logs, and fill the server's pools

struct Times {
  std::vector<double> ms;

  void add(Clock::time_point since) {
    ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - since).count());
  }
  void print(const char* what) {
    if (ms.empty()) return;
    std::ranges::sort(ms);
    std::printf("%-24s median %.0f ms, longest %.0f ms (%zu times)\n", what, ms[ms.size() / 2],
                ms.back(), ms.size());
  }
};

class Restarts {
 public:
  explicit Restarts(ServerKind kind) : server_(kind) {
    server_.start();
    client_ = std::make_unique<PulseClient>(server_.address());
    music_ = std::make_unique<TonePlayer>(server_.address(), sines({{1000, -30}}));
    before_ = capture_state(*client_);
  }

  bool run(int times) {
    for (int i = 0; i < kWarmUp; ++i) {
      if (!once(SIGTERM, nullptr)) return false;
    }
    files_ = files();
    for (const auto& entry : fs::directory_iterator(home_.path() / "config/Velmora")) {
      if (kOurFiles.contains(entry.path().filename().string())) continue;
      std::printf("%s was left\n", entry.path().c_str());
      return false;
    }
    descriptors_ = descriptors();
    first_module_ = probe_module();
    const long memory = memory_kb();
    const auto start = Clock::now();
    constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};
    for (int i = 1; i <= times; ++i) {
      const bool hard = i % 10 == 0;
      if (!once(hard ? SIGKILL : kSignals[i % 3], hard ? &killed_ : &ended_) || !nothing_left()) {
        std::printf("in run %d\n", i);
        return false;
      }
      if (i % 100 == 0) std::printf("%d\n", i);
    }
    const auto all = std::chrono::duration<double>(Clock::now() - start).count();
    started_.print("start to routed:");
    ended_.print("signal to restored:");
    killed_.print("kill to restored:");
    std::printf("%d times in %.0f s\n", times, all);
    if (server_.kind() == ServerKind::kPulseAudio)  // PipeWire gives numbers anew
      std::printf("modules loaded meanwhile: %u\n", probe_module() - first_module_ - 1);
    std::printf("the server's descriptors: %zu before, %zu after; memory: %ld kB, %ld kB\n",
                descriptors_, descriptors(), memory, memory_kb());
    return true;
  }

 private:
  bool once(int signal, Times* times) {
    VelmoraOptions options;
    options.config_home = home_.path() / "config";
    options.environment = {{"TMPDIR", temporary_.path()}};
    auto moment = Clock::now();
    VelmoraProcess program(server_, options);
    if (!holds("the routing is in force", [&](std::string& seen) { return routed(&seen); })) {
      std::printf("%s", program.log().c_str());
      return false;
    }
    if (times != nullptr) started_.add(moment);
    moment = Clock::now();
    program.signal(signal);
    const auto status = program.wait(kPatience);
    const ExitStatus wanted = signal == SIGKILL ? ExitStatus{-1, SIGKILL} : ExitStatus{0, 0};
    if (status != wanted) {
      std::printf("signal %d did not end it as it should\n%s", signal, program.log().c_str());
      return false;
    }
    if (!holds("the server is as before", [&](std::string& seen) {
          const ServerState now = capture_state(*client_);
          seen = difference(before_, now);
          return now == before_;
        }))
      return false;
    if (times != nullptr) times->add(moment);
    return !music_->failed();
  }

  bool nothing_left() {
    return holds("no process of ours",
                 [&] { return processes_with("XDG_CONFIG_HOME", home_.path()).empty(); }) &&
           holds("no new file",
                 [&](std::string& seen) {
                   const std::set<std::string> now = files();
                   for (const std::string& file : now) {
                     if (!files_.contains(file)) seen += file + " ";
                   }
                   return seen.empty();
                 }) &&
           holds("no descriptor of the server's", [&](std::string& seen) {
             seen = std::to_string(descriptors()) + " for " + std::to_string(descriptors_);
             return descriptors() <= descriptors_;
           });
  }

  template <class Condition>
  static bool holds(const std::string& what, Condition&& condition) {
    const auto result = wait_until(what, kPatience, condition);
    if (!result) std::printf("%s\n", result.message());
    return static_cast<bool>(result);
  }

  bool routed(std::string* seen) {
    const std::string def = client_->default_sink();
    const std::vector<Stream> ours = client_->sink_inputs_of(kOurs);
    const std::string music = client_->sink_of("Test player");
    *seen = "default " + def + ", music on " + music + ", " + std::to_string(ours.size()) +
            " streams of ours";
    return def == kSink && music == kSink && ours.size() == 1;
  }

  // Where anything of ours could be left, and where the server itself leaves nothing new.
  std::set<std::string> files() const {
    std::set<std::string> found;
    for (const fs::path& root : {home_.path(), temporary_.path(), server_.directory() / "run",
                                 server_.directory() / "home", server_.directory() / "cache"}) {
      for (const auto& entry : fs::recursive_directory_iterator(root))
        found.insert(entry.path().string());
    }
    return found;
  }

  std::size_t descriptors() const {
    std::size_t count = 0;
    for (const pid_t pid : server_.pids()) {
      const fs::directory_iterator open("/proc/" + std::to_string(pid) + "/fd");
      count += static_cast<std::size_t>(std::distance(begin(open), end(open)));
    }
    return count;
  }

  long memory_kb() const {
    long sum = 0;
    for (const pid_t pid : server_.pids()) {
      std::istringstream status(read_file("/proc/" + std::to_string(pid) + "/status"));
      for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) sum += std::stol(line.substr(6));
      }
    }
    return sum;
  }

  // The number that the next module gets.
  std::uint32_t probe_module() {
    const std::uint32_t index = client_->add_null_sink("probe");
    client_->remove_sink("probe");
    return index;
  }

  TempDir home_;
  TempDir temporary_;
  SoundServer server_;
  std::unique_ptr<PulseClient> client_;
  std::unique_ptr<TonePlayer> music_;
  ServerState before_;
  std::uint32_t first_module_ = 0;
  std::set<std::string> files_;
  std::size_t descriptors_ = 0;
  Times started_;
  Times ended_;
  Times killed_;
};

}  // namespace

int main(int argc, char** argv) {
  const soak::Arguments arguments(argc, argv);
  Restarts restarts(arguments.server());
  return restarts.run(static_cast<int>(arguments.number("--times", 1000))) ? 0 : 1;
}
