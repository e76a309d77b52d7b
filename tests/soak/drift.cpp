// A device on a clock of its own, for as long as one likes to watch:
//
//   soak_drift [--minutes N] [--ppm N]
//
// A private PulseAudio plays into a pipe that is read at 48000 x (1 + ppm/1000000) frames a second,
// as by a device with another crystal. Clicks are played through the built program; once a minute
// the delay from our sink's monitor to the device is measured. Exit status 1 when sound was
// dropped, ran dry, or the delay went away by more than 15 ms.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
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

constexpr auto kClickEvery = 500ms;
constexpr int kClicks = 8;  // of one measurement
constexpr double kClickLevel = 0.1;
constexpr double kMostAway = 15;  // ms

// Takes frames out of a pipe at its own pace and remembers when the newest clicks came.
class PipeDevice {
 public:
  PipeDevice(const std::string& path, double ppm) : rate_(kRate * (1 + ppm * 1e-6)) {
    if (mkfifo(path.c_str(), 0600) != 0) std::abort();
    fd_ = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    fcntl(fd_, F_SETPIPE_SZ, 8192);
    thread_ = std::thread([this] { run(); });
  }
  ~PipeDevice() {
    stop_ = true;
    thread_.join();
    close(fd_);
  }
  PipeDevice(const PipeDevice&) = delete;
  PipeDevice& operator=(const PipeDevice&) = delete;

  std::vector<Clock::time_point> take_clicks() {
    const std::lock_guard lock(mutex_);
    return std::exchange(clicks_, {});
  }

 private:
  void run() {
    const auto start = Clock::now();
    double taken = 0;
    std::vector<float> frames(std::size_t{2} * 4800);
    while (!stop_) {
      std::this_thread::sleep_for(2ms);  // its pace; what is due is told by the clock
      const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
      const auto due =
          std::min(static_cast<std::size_t>(elapsed * rate_ - taken), std::size_t{4800});
      const ssize_t bytes = read(fd_, frames.data(), due * 2 * sizeof(float));
      // What is not there is played as silence, as a device does.
      taken += static_cast<double>(due);
      for (std::size_t i = 0; i + 1 < static_cast<std::size_t>(std::max<ssize_t>(bytes, 0)) / 4;
           i += 2)
        if (std::abs(frames[i]) > static_cast<float>(kClickLevel)) note(i / 2, due);
    }
  }
  void note(std::size_t frame, std::size_t due) {
    const auto back = std::chrono::duration<double>(static_cast<double>(due - frame) / rate_);
    const auto at = Clock::now() - std::chrono::duration_cast<Clock::duration>(back);
    const std::lock_guard lock(mutex_);
    if (clicks_.empty() || at - clicks_.back() > 100ms) clicks_.push_back(at);
  }

  double rate_;
  int fd_ = -1;
  std::atomic<bool> stop_{false};
  std::mutex mutex_;
  std::vector<Clock::time_point> clicks_;
  std::thread thread_;
};

double median(std::vector<double> values) {
  std::ranges::sort(values);
  return values.empty() ? -1 : values[values.size() / 2];
}

// In ms, the recording's and the device's own delay included; -1 when too few clicks arrived.
double delay(const SoundServer& server, PipeDevice* device) {
  Recorder sent(server.address(), "velmora.monitor");
  device->take_clicks();
  const auto start = Clock::now();
  double origin_ms = 1e12;  // of frame 0
  const auto now_ms = [&] {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  };
  while (Clock::now() - start < kClicks * kClickEvery) {
    origin_ms = std::min(origin_ms, now_ms() - static_cast<double>(sent.frames()) * 1000 / kRate);
    std::this_thread::sleep_for(1ms);
  }
  std::vector<double> delays;
  const auto heard = device->take_clicks();
  const Stereo sound = sent.window(0, sent.frames());
  for (const std::size_t at : click_positions(sound.left, kClickLevel, kRate / 10)) {
    const double sent_ms = origin_ms + static_cast<double>(at) * 1000 / kRate;
    for (const auto& click : heard) {
      const double ms = std::chrono::duration<double, std::milli>(click - start).count() - sent_ms;
      if (ms > 0 && ms < 400) delays.push_back(ms);
    }
  }
  return delays.size() < kClicks / 2 ? -1 : median(delays);
}

double argument(int argc, char** argv, const char* name, double otherwise) {
  for (int i = 1; i + 1 < argc; ++i) {
    if (std::strcmp(argv[i], name) == 0) return std::atof(argv[i + 1]);
  }
  return otherwise;
}

}  // namespace

int main(int argc, char** argv) {
  const double minutes = argument(argc, argv, "--minutes", 10);
  const double ppm = argument(argc, argv, "--ppm", 200);
  SoundServer server(ServerKind::kPulseAudio);
  server.start();
  PulseClient client(server.address());
  const std::string fifo = (server.directory() / "device").string();
  PipeDevice device(fifo, ppm);
  client.load_module("module-pipe-sink",
                     "sink_name=pipe format=float32le rate=48000 channels=2 file=" + fifo);
  client.set_default_sink("pipe");
  VelmoraOptions options;
  options.arguments = {"--preset", "flat"};
  VelmoraProcess program(server, options);
  TonePlayer player(server.address(), clicks(kClickEvery));
  if (!wait_until("the routing is in force", 15s,
                  [&] { return client.default_sink() == "velmora"; }))
    return 1;
  const auto start = Clock::now();
  const auto end = start + std::chrono::duration_cast<Clock::duration>(
                               std::chrono::duration<double>(minutes * 60));
  std::this_thread::sleep_for(5s);  // the queue finds its place
  double first = -1;
  double away = 0;
  do {
    const double now = delay(server, &device);
    if (first < 0) first = now;
    if (now >= 0) away = std::max(away, std::abs(now - first));
    std::printf("%5.1f min: delay %6.1f ms\n",
                std::chrono::duration<double>(Clock::now() - start).count() / 60, now);
    std::fflush(stdout);
    std::this_thread::sleep_for(std::min<Clock::duration>(end - Clock::now(), 55s));
  } while (Clock::now() < end);
  program.stop();
  const int troubles = program.count_in_log("Audio path total");
  std::printf(
      "%+.0f ppm, %.0f min: delay within %.1f ms of %.1f ms; %s\n", ppm, minutes, away, first,
      troubles == 0 ? "nothing dropped, no underrun"
                    : program.log().substr(program.log().rfind("Audio path total")).c_str());
  return first >= 0 && away <= kMostAway && troubles == 0 ? 0 : 1;
}
