// A device on a clock of its own, for as long as one likes to watch:
//
//   soak_drift [--server pulseaudio|pipewire] [--minutes N] [--ppm N] [--settle N]
//
// A private server plays to a device that takes 48000 x (1 + ppm/1000000) frames a second. A tone
// with clicks is played through the built program; once a minute the delay from our sink's monitor
// to the device is measured, and the program's memory. Exit status 1 when sound was dropped, ran
// dry, or the delay went away by more than 15 ms. What happens in the first --settle minutes (0.5;
// more where other runs begin beside this one) is printed and not counted.
#include <algorithm>
#include <cmath>
#include <sstream>
#include <thread>

#include "skewed_device.h"
#include "soak.h"

namespace {

using namespace soak;

constexpr auto kClickEvery = 250ms;
constexpr int kClicks = 16;         // of one measurement
constexpr double kMostDelay = 250;  // ms, beyond is the click before
constexpr double kMostAway = 15;    // ms

// Never silent, as most music: silence may be left out or put in.
Generator clicks_in_a_tone() {
  return [click = clicks(kClickEvery), hum = sines({{.frequency_hz = 440, .level_db = -40}}),
          quiet = std::vector<float>()](std::uint64_t first_frame, std::span<float> out) mutable {
    quiet.resize(out.size());
    click(first_frame, out);
    hum(first_frame, quiet);
    for (std::size_t i = 0; i < out.size(); ++i)
      out[i] += quiet[i];
  };
}

// The median, in ms, the recording's and the device's own delay included; -1 when too few clicks
// arrived.
double delay(Recorder* sent, SkewedDevice* device) {
  sent->forget();
  device->take_clicks();
  const auto start = Clock::now();
  double origin_ms = 1e12;  // of frame 0
  const auto now_ms = [&] {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  };
  while (Clock::now() - start < kClicks * kClickEvery) {
    origin_ms = std::min(origin_ms, now_ms() - static_cast<double>(sent->frames()) * 1000 / kRate);
    std::this_thread::sleep_for(1ms);
  }
  std::vector<double> delays;
  const auto heard = device->take_clicks();
  const Stereo sound = sent->window(0, sent->frames());
  for (const std::size_t at : click_positions(sound.left, kClickLevel, kRate / 10)) {
    const double sent_ms = origin_ms + static_cast<double>(at) * 1000 / kRate;
    for (const auto& click : heard) {
      const double ms = std::chrono::duration<double, std::milli>(click - start).count() - sent_ms;
      if (ms > 0 && ms < kMostDelay) delays.push_back(ms);
    }
  }
  if (delays.size() < kClicks / 2) return -1;
  std::ranges::sort(delays);
  return delays[delays.size() / 2];
}

// What the program has logged of its own accord about drops and underruns since `*from`: printed,
// and how many there were.
int troubles(const VelmoraProcess& program, std::size_t* from) {
  int count = 0;
  const std::string log = program.log();
  std::istringstream lines(log.substr(std::min(*from, log.size())));
  *from = log.size();
  for (std::string line; std::getline(lines, line);) {
    const std::size_t at = line.find("Audio path");
    if (at == std::string::npos) continue;
    std::printf("           %s\n", line.c_str());
    int dropped = 0;
    int dry = 0;
    if (std::sscanf(line.c_str() + at, "Audio path last minute: %dx dropped, %dx buffer underrun",
                    &dropped, &dry) == 2)
      count += dropped + dry;
  }
  return count;
}

// In all of its life, by its last words.
int total_troubles(const VelmoraProcess& program) {
  const std::string log = program.log();
  const std::size_t at = log.rfind("Audio path total");
  int chunks = 0;
  int dry = 0;
  if (at != std::string::npos)
    std::sscanf(log.c_str() + at,
                "Audio path total: dropped %*u bytes in %d chunks, buffer underruns %d", &chunks,
                &dry);
  return chunks + dry;
}

// Whether nothing was dropped, nothing ran dry and the delay stayed where it was.
bool watch(ServerKind kind, double minutes, double ppm, double settle) {
  SoundServer server(kind, {.devices = {"speakers"}});
  server.start();
  PulseClient client(server.address());
  const auto device = kind == ServerKind::kPipeWire ? skewed_driver(server, ppm)
                                                    : skewed_pipe(server, &client, ppm);
  require(wait_until("the device is there", 15s,
                     [&] { return client.sink(kSkewedDevice).has_value(); }));
  client.set_default_sink(kSkewedDevice);
  VelmoraProcess program(server, {.arguments = {"--preset", "flat"}});
  TonePlayer player(server.address(), clicks_in_a_tone());
  require(
      wait_until("the routing is in force", 15s, [&] { return client.default_sink() == kSink; }));
  // One for the whole time: a new stream makes the server stumble.
  Recorder sent(server.address(), "velmora.monitor");
  const auto start = Clock::now();
  const auto after = [&](double passed) {
    return start +
           std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(passed * 60));
  };
  std::this_thread::sleep_until(after(settle));
  std::size_t read = 0;
  const int before = troubles(program, &read);
  double first = -1;
  double away = 0;
  do {
    const double now = delay(&sent, device.get());
    if (first < 0) first = now;
    if (now >= 0) away = std::max(away, std::abs(now - first));
    std::printf("%5.1f min: delay %6.1f ms, %ld kB\n",
                std::chrono::duration<double>(Clock::now() - start).count() / 60, now,
                status_number(program.pid(), "VmRSS"));
    troubles(program, &read);
    std::this_thread::sleep_until(std::min(after(settle + minutes), Clock::now() + 55s));
  } while (Clock::now() < after(settle + minutes));
  program.stop();
  const int counted = total_troubles(program) - before;
  std::printf("%+.0f ppm, %.0f min: delay within %.1f ms of %.1f ms; %d times dropped or dry\n",
              ppm, minutes, away, first, counted);
  return first >= 0 && away <= kMostAway && counted == 0;
}

}  // namespace

int main(int argc, char** argv) {
  const Arguments arguments(argc, argv);
  const ServerKind server = arguments.server();
  return status_of([&] {
    return watch(server, arguments.number("--minutes", 10), arguments.number("--ppm", 200),
                 arguments.number("--settle", 0.5));
  });
}
