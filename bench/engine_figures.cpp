// What the engine costs on a real server: the delay that it adds, click by click, and its share of
// a processor.
//
//   engine_figures [--clicks N] [--cpu-seconds N]
//
// Starts a private PulseAudio and a private PipeWire in turn, plays clicks through the built
// program and prints one line per figure. The delay is measured between two recordings, of our
// sink's monitor and of the device's monitor. Both recordings are mapped to one clock by the
// earliest arrival of a sample number in each, which is the least delayed one; what the two have in
// common cancels out.

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

// The time of frame 0 of a recording, as near as it can be told.
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

// Processor time used so far by a process, in seconds.
double cpu_seconds(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(in)), {});
  text.erase(0, text.rfind(')') + 2);  // the name may hold blanks
  long user = 0;
  long system = 0;
  if (std::sscanf(text.c_str(), "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %ld %ld", &user,
                  &system) != 2)
    return 0;
  return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

void report_cpu(const SoundServer& server, const char* what, const VelmoraProcess& program,
                int seconds) {
  const auto start = Clock::now();
  const double before = cpu_seconds(program.pid());
  std::this_thread::sleep_for(std::chrono::seconds(seconds));
  const double share = 100 * (cpu_seconds(program.pid()) - before) / (ms_since(start) / 1000);
  std::printf("%s: %s: %.2f %% of a core over %d s\n", name_of(server.kind()).c_str(), what, share,
              seconds);
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
  SoundServer server(kind);
  server.start();
  PulseClient client(server.address());
  if (clicks > 0) {
    VelmoraProcess program(server, with({"--preset", "flat"}));
    if (routed(client)) report_delay(server, clicks);
  }
  if (cpu > 0) {
    VelmoraProcess program(server, with({"--preset", "rock"}));
    if (!routed(client)) return;
    {
      TonePlayer player(server.address(), noise(1, -20));
      report_cpu(server, "equalizing", program, cpu);
    }
    report_cpu(server, "equalizer on, nothing playing", program, cpu);
    program.stop();
    VelmoraProcess idle(server, with({"--off"}));
    report_cpu(server, "equalizer off, nothing playing", idle, cpu);
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
