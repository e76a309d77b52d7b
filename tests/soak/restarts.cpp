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
#include <csignal>
#include <filesystem>
#include <set>

#include "soak.h"

namespace {

namespace fs = std::filesystem;
using namespace soak;

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

template <class Condition>
void wait_for(const std::string& what, Condition&& condition) {
  require(wait_until(what, kPatience, condition));
}

// Everything here throws what is not as it should be.
class Restarts {
 public:
  explicit Restarts(ServerKind kind) : server_(kind) {
    server_.start();
    music_ = std::make_unique<TonePlayer>(server_.address(), sines({{1000, -30}}));
    before_ = capture_state(client_);
  }

  void run(int times) {
    for (int i = 0; i < kWarmUp; ++i)
      once(SIGTERM);
    started_ = ended_ = {};
    files_ = files();
    for (const auto& entry : fs::directory_iterator(home_.path() / "config/Velmora")) {
      check(kOurFiles.contains(entry.path().filename()), entry.path().string() + " was left");
    }
    descriptors_ = descriptors();
    const std::uint32_t first_module = probe_module();
    const long memory = memory_kb();
    const auto start = Clock::now();
    constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};
    for (run_ = 1; run_ <= times; ++run_) {
      once(run_ % 10 == 0 ? SIGKILL : kSignals[run_ % 3]);
      require_nothing_left();
      if (run_ % 100 == 0) std::printf("%d\n", run_);
    }
    const auto all = std::chrono::duration<double>(Clock::now() - start).count();
    started_.print("start to routed:");
    ended_.print("signal to restored:");
    killed_.print("kill to restored:");
    std::printf("%d times in %.0f s\n", times, all);
    if (server_.kind() == ServerKind::kPulseAudio)  // PipeWire gives numbers anew
      std::printf("modules loaded meanwhile: %u\n", probe_module() - first_module - 1);
    std::printf("the server's descriptors: %zu before, %zu after; memory: %ld kB, %ld kB\n",
                descriptors_, descriptors(), memory, memory_kb());
  }

 private:
  void once(int signal) {
    VelmoraOptions options;
    options.config_home = home_.path() / "config";
    options.environment = {{"TMPDIR", temporary_.path()}};
    auto moment = Clock::now();
    VelmoraProcess program(server_, options);
    wait_for("run " + std::to_string(run_) + " is routed", [&](std::string& seen) {
      const std::string def = client_.default_sink();
      const std::string music = client_.sink_of(kMusic);
      const std::size_t streams = client_.sink_inputs_of(kOurs).size();
      seen = "default " + def + ", music on " + music + ", " + std::to_string(streams) +
             " streams of ours\n" + program.log();
      return def == kSink && music == kSink && streams == 1;
    });
    started_.add(moment);
    moment = Clock::now();
    program.signal(signal);
    const ExitStatus wanted = signal == SIGKILL ? ExitStatus{-1, SIGKILL} : ExitStatus{0, 0};
    const bool ended = program.wait(kPatience) == wanted;
    check(ended,
          "signal " + std::to_string(signal) + " did not end it as it should\n" + program.log());
    wait_for("the server is as before run " + std::to_string(run_), [&](std::string& seen) {
      const ServerState now = capture_state(client_);
      seen = difference(before_, now);
      return now == before_;
    });
    (signal == SIGKILL ? killed_ : ended_).add(moment);
    check(!music_->failed(), "the music has stopped");
  }

  void require_nothing_left() {
    wait_for("no process of ours",
             [&] { return processes_with("XDG_CONFIG_HOME", home_.path()).empty(); });
    wait_for("no new file", [&](std::string& seen) {
      for (const std::string& file : files()) {
        if (!files_.contains(file)) seen += file + " ";
      }
      return seen.empty();
    });
    wait_for("no descriptor of the server's", [&](std::string& seen) {
      const std::size_t now = descriptors();
      seen = std::to_string(now) + " for " + std::to_string(descriptors_);
      return now <= descriptors_;
    });
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
    for (const pid_t pid : server_.pids())
      sum += status_number(pid, "VmRSS");
    return sum;
  }

  // The number that the next module gets.
  std::uint32_t probe_module() {
    const std::uint32_t index = client_.add_null_sink("probe");
    client_.remove_sink("probe");
    return index;
  }

  TempDir home_;
  TempDir temporary_;
  SoundServer server_;
  PulseClient client_{server_.address()};
  std::unique_ptr<TonePlayer> music_;
  ServerState before_;
  int run_ = 0;
  std::set<std::string> files_;
  std::size_t descriptors_ = 0;
  Times started_;
  Times ended_;
  Times killed_;
};

}  // namespace

int main(int argc, char** argv) {
  const Arguments arguments(argc, argv);
  const ServerKind server = arguments.server();
  return status_of([&] {
    Restarts(server).run(static_cast<int>(arguments.number("--times", 1000)));
    return true;
  });
}
