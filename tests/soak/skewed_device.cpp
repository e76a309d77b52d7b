#include "skewed_device.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <stdexcept>
#include <thread>
#include <utility>

namespace soak {

namespace {

class PipeDevice : public SkewedDevice {
 public:
  PipeDevice(const std::string& path, double ppm) : SkewedDevice(ppm) {
    if (mkfifo(path.c_str(), 0600) != 0) throw std::runtime_error("cannot make " + path);
    fd_ = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    fcntl(fd_, F_SETPIPE_SZ, 8192);
    thread_ = std::thread([this] { run(); });
  }
  ~PipeDevice() override {
    stop_ = true;
    thread_.join();
    close(fd_);
  }

 private:
  void run() {
    const auto start = Clock::now();
    double taken = 0;
    std::vector<float> frames(std::size_t{2} * 4800);
    while (!stop_) {
      std::this_thread::sleep_for(2ms);  // its pace; what is due is told by the clock
      const auto now = Clock::now();
      const double elapsed = std::chrono::duration<double>(now - start).count();
      const auto due =
          std::min(static_cast<std::size_t>(elapsed * rate_ - taken), std::size_t{4800});
      const ssize_t bytes = read(fd_, frames.data(), due * 2 * sizeof(float));
      // What is not there is played as silence, as a device does.
      taken += static_cast<double>(due);
      const auto back = std::chrono::duration<double>(static_cast<double>(due) / rate_);
      hear(std::span(frames).first(static_cast<std::size_t>(std::max<ssize_t>(bytes, 0)) /
                                   sizeof(float)),
           now - std::chrono::duration_cast<Clock::duration>(back));
    }
  }

  int fd_ = -1;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

}  // namespace

void SkewedDevice::hear(std::span<const float> samples, Clock::time_point begin) {
  for (std::size_t i = 0; i + 1 < samples.size(); i += 2) {
    if (std::abs(samples[i]) <= static_cast<float>(kClickLevel)) continue;
    const auto after = std::chrono::duration<double>(static_cast<double>(i / 2) / rate_);
    const auto at = begin + std::chrono::duration_cast<Clock::duration>(after);
    const std::lock_guard lock(mutex_);
    if (clicks_.empty() || at - clicks_.back() > 100ms) clicks_.push_back(at);
  }
}

std::vector<Clock::time_point> SkewedDevice::take_clicks() {
  const std::lock_guard lock(mutex_);
  return std::exchange(clicks_, {});
}

std::unique_ptr<SkewedDevice> skewed_pipe(const SoundServer& server, PulseClient* client,
                                          double ppm) {
  const std::string fifo = (server.directory() / "device").string();
  auto device = std::make_unique<PipeDevice>(fifo, ppm);
  client->load_module("module-pipe-sink",
                      "sink_name=" + std::string(kSkewedDevice) +
                          " format=float32le rate=48000 channels=2 file=" + fifo);
  return device;
}

}  // namespace soak
