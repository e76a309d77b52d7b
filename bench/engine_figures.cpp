// What the engine costs on a real server: the delay that it adds, click by click, and its share of
// a processor.
//
//   engine_figures [--clicks N] [--cpu-seconds N]
//
// Of the time that is spent, the server's own counts too, and wake-ups beside it. The program draws
// its frames all the while, for a window without a screen.
//
// Starts a private PulseAudio and a private PipeWire in turn, plays clicks through the built
// program and prints one line per figure. The delay is measured between two recordings, of our
// sink's monitor and of the device's monitor. Both recordings are mapped to one clock by the
// earliest arrival of a sample number in each, which is the least delayed one; what the two have in
// common cancels out.

#include <sys/types.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "analysis.h"
#include "pulse_client.h"
#include "recorder.h"
#include "sound_server.h"
#include "tone_player.h"
#include "velmora_process.h"
#include "wait_until.h"

namespace {

using namespace std::chrono_literals;
using namespace support;
using Clock = std::chrono::steady_clock;

constexpr auto kClickEvery = 250ms;
constexpr double kMsPerFrame = 1000.0 / kRate;

double ms_since(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// The time of frame 0 of a recording, as exactly as it can be measured.
class Origin {
 public:
  void look(const Recorder& recorder, Clock::time_point start) {
    const double at = ms_since(start) - static_cast<double>(recorder.frames()) * kMsPerFrame;
    ms_ = std::min(ms_, at);
  }
  double ms() const { return ms_; }

 private:
  double ms_ = 1e12;
};

double median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

std::vector<double> times_of_clicks(const Recorder& recorder, double origin_ms) {
  const Stereo sound = recorder.window(0, recorder.frames());
  std::vector<double> times;
  for (const std::size_t at : click_positions(sound.left, 0.1, kRate / 10)) {
    times.push_back(origin_ms + static_cast<double>(at) * kMsPerFrame);
  }
  return times;
}

void report_delay(const SoundServer& server, int clicks) {
  TonePlayer player(server.address(), support::clicks(kClickEvery));
  Recorder in(server.address(), "velmora.monitor");
  Recorder out(server.address(), "speakers.monitor");
  const auto start = Clock::now();
  Origin in_origin;
  Origin out_origin;
  while (Clock::now() - start < (clicks + 2) * kClickEvery) {
    in_origin.look(in, start);
    out_origin.look(out, start);
    std::this_thread::sleep_for(1ms);
  }
  const std::vector<double> sent = times_of_clicks(in, in_origin.ms());
  const std::vector<double> heard = times_of_clicks(out, out_origin.ms());
  std::vector<double> delays;
  for (const double at : sent) {
    const auto next = std::ranges::lower_bound(heard, at);
    if (next != heard.end() && *next - at < 200) delays.push_back(*next - at);
  }
  if (delays.size() < 10) {
    std::printf("%s: delay: too few clicks arrived (%zu)\n", name_of(server.kind()).c_str(),
                delays.size());
    return;
  }
  const std::size_t tenth = delays.size() / 10;
  const std::vector<double> first(delays.begin(),
                                  delays.begin() + static_cast<std::ptrdiff_t>(tenth));
  const std::vector<double> last(delays.end() - static_cast<std::ptrdiff_t>(tenth), delays.end());
  const auto [least, most] = std::ranges::minmax(delays);
  std::printf(
      "%s: delay over %zu clicks: median %.1f ms, %.1f to %.1f ms; first tenth %.1f ms, last tenth "
      "%.1f ms\n",
      name_of(server.kind()).c_str(), delays.size(), median(delays), least, most, median(first),
      median(last));
}

// What processes have used so far, all their threads together.
struct Usage {
  double cpu_ms = 0;
  double wakeups = 0;  // times that a thread had waited and went on
};

Usage usage_of(const std::vector<pid_t>& pids) {
  Usage usage;
  for (const pid_t pid : pids) {
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
      double ns = 0;
      std::ifstream(task.path() / "schedstat") >> ns;
      usage.cpu_ms += ns * 1e-6;
      std::ifstream status(task.path() / "status");
      for (std::string word; status >> word;) {
        double count = 0;
        if (word == "voluntary_ctxt_switches:" && status >> count) usage.wakeups += count;
      }
    }
  }
  return usage;
}

void report_cpu(const SoundServer& server, const char* what, const VelmoraProcess* program,
                int seconds) {
  const std::vector<pid_t> servers = server.pids();
  const std::vector<pid_t> ours =
      program == nullptr ? std::vector<pid_t>{} : std::vector{program->pid()};
  const Usage before = usage_of(ours);
  const Usage server_before = usage_of(servers);
  const auto start = Clock::now();
  std::this_thread::sleep_for(std::chrono::seconds(seconds));
  const double ms = ms_since(start);
  const Usage after = usage_of(ours);
  const Usage server_after = usage_of(servers);
  PulseClient client(server.address());
  const auto device = client.sink("speakers");
  const char* state = !device                              ? "gone"
                      : device->state == PA_SINK_SUSPENDED ? "suspended"
                      : device->state == PA_SINK_IDLE      ? "idle"
                                                           : "running";
  std::printf(
      "%s: %s: program %.2f %% of a core, %.1f wake-ups a second; server %.2f %%, %.1f; device "
      "%s\n",
      name_of(server.kind()).c_str(), what, 100 * (after.cpu_ms - before.cpu_ms) / ms,
      1000 * (after.wakeups - before.wakeups) / ms,
      100 * (server_after.cpu_ms - server_before.cpu_ms) / ms,
      1000 * (server_after.wakeups - server_before.wakeups) / ms, state);
  std::fflush(stdout);
}

bool routed(PulseClient& client) {
  return wait_until("the routing is in force", 15s, [&] {
    return client.default_sink() == "velmora" && client.sink_inputs_of("Velmora").size() == 1;
  });
}

VelmoraOptions with(std::vector<std::string> arguments) {
  VelmoraOptions options;
  options.arguments = std::move(arguments);
  return options;
}

void report(ServerKind kind, int clicks, int cpu) {
  SoundServer server(kind, {.suspend_on_idle_s = 5});
  server.start();
  PulseClient client(server.address());
  if (clicks > 0) {
    VelmoraProcess program(server, with({"--preset", "flat"}));
    if (routed(client)) report_delay(server, clicks);
  }
  if (cpu > 0) {
    report_cpu(server, "without the program, nothing playing", nullptr, cpu);
    VelmoraProcess program(server, with({"--preset", "rock"}));
    if (!routed(client)) return;
    {
      TonePlayer player(server.address(), noise(1, -20));
      report_cpu(server, "equalizing", &program, cpu);
    }
    const bool asleep = wait_until("our stream sleeps", 30s, [&] {
      const auto streams = client.sink_inputs_of("Velmora");
      return streams.size() == 1 && streams[0].corked;
    });
    report_cpu(server, asleep ? "equalizer on, asleep" : "equalizer on, does not sleep", &program,
               cpu);
    program.stop();
    VelmoraProcess idle(server, with({"--off"}));
    // A spectrum alone is drawn more slowly when it has been silent for a while.
    std::this_thread::sleep_for(10s);
    report_cpu(server, "equalizer off, nothing playing", &idle, cpu);
  }
}

}  // namespace

int main(int argc, char** argv) {
  int clicks = 200;
  int cpu = 60;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (std::strcmp(argv[i], "--clicks") == 0) clicks = std::atoi(argv[i + 1]);
    if (std::strcmp(argv[i], "--cpu-seconds") == 0) cpu = std::atoi(argv[i + 1]);
  }
  for (const ServerKind kind : {ServerKind::kPulseAudio, ServerKind::kPipeWire})
    report(kind, clicks, cpu);
  return 0;
}
