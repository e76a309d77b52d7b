// The sink's own timer drives its graph: each time it fires, everything that plays to it is asked
// for one quantum more.
#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <type_traits>

#include "skewed_device.h"

namespace soak {

namespace {

constexpr std::uint64_t kDefaultQuantum = 1024;  // frames, until the graph tells
constexpr double kNs = 1e9;
// The steady clock is the one that PipeWire counts by.
static_assert(std::is_same_v<Clock::period, std::nano>);

// Everything but the constructor and the destructor runs on the loop's thread.
class DriverDevice : public SkewedDevice {
 public:
  DriverDevice(const SoundServer& server, double ppm) : SkewedDevice(ppm) {
    pw_init(nullptr, nullptr);
    loop_ = pw_thread_loop_new("skewed", nullptr);
    pw_loop* loop = pw_thread_loop_get_loop(loop_);
    context_ = pw_context_new(
        loop,
        pw_properties_new("support.dbus", "false", PW_KEY_CONFIG_NAME, "client-rt.conf", nullptr),
        0);
    const std::string remote = (server.directory() / "run/pipewire-0").string();
    core_ = pw_context_connect(context_,
                               pw_properties_new(PW_KEY_REMOTE_NAME, remote.c_str(), nullptr), 0);
    if (core_ == nullptr) throw std::runtime_error("cannot connect to " + remote);
    timer_ = pw_loop_add_timer(
        loop, [](void* self, std::uint64_t) { static_cast<DriverDevice*>(self)->tick(); }, this);
    stream_ = pw_stream_new(
        core_, kSkewedDevice,
        pw_properties_new(PW_KEY_MEDIA_CLASS, "Audio/Sink", PW_KEY_NODE_NAME, kSkewedDevice,
                          PW_KEY_NODE_DESCRIPTION, "Skewed", PW_KEY_NODE_DRIVER, "true",
                          PW_KEY_PRIORITY_DRIVER, "30000", "priority.session", "3000",
                          "session.suspend-timeout-seconds", "0", nullptr));
    pw_stream_add_listener(stream_, &listener_, &kEvents, this);
    std::array<std::uint8_t, 1024> buffer{};
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer.data(), buffer.size());
    spa_audio_info_raw info{};
    info.format = SPA_AUDIO_FORMAT_F32;
    info.rate = kRate;
    info.channels = 2;
    info.position[0] = SPA_AUDIO_CHANNEL_FL;
    info.position[1] = SPA_AUDIO_CHANNEL_FR;
    const spa_pod* format = spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info);
    const int connected = pw_stream_connect(
        stream_, PW_DIRECTION_INPUT, PW_ID_ANY,
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_DRIVER), &format,
        1);
    if (connected < 0) throw std::runtime_error("cannot make the sink");
    pw_thread_loop_start(loop_);
  }
  ~DriverDevice() override {
    pw_thread_loop_stop(loop_);
    pw_loop_destroy_source(pw_thread_loop_get_loop(loop_), timer_);
    pw_stream_destroy(stream_);
    pw_core_disconnect(core_);
    pw_context_destroy(context_);
    pw_thread_loop_destroy(loop_);
  }

 private:
  void arm() {
    const auto at = static_cast<std::uint64_t>(std::llround(next_ns_));
    timespec when{static_cast<time_t>(at / 1000000000U), static_cast<long>(at % 1000000000U)};
    pw_loop_update_timer(pw_thread_loop_get_loop(loop_), timer_, &when, nullptr, true);
  }

  void state_changed(pw_stream_state state) {
    if (state == PW_STREAM_STATE_STREAMING) {
      next_ns_ = static_cast<double>(Clock::now().time_since_epoch().count());
      arm();
    } else {
      timespec never{};
      pw_loop_update_timer(pw_thread_loop_get_loop(loop_), timer_, &never, nullptr, false);
    }
  }

  void tick() {
    const std::uint64_t quantum = position_ != nullptr && position_->clock.duration > 0
                                      ? position_->clock.duration
                                      : kDefaultQuantum;
    cycle_ns_ = next_ns_;
    next_ns_ += static_cast<double>(quantum) / rate_ * kNs;
    if (position_ != nullptr) {
      spa_io_clock& clock = position_->clock;
      clock.nsec = static_cast<std::uint64_t>(std::llround(cycle_ns_));
      clock.rate = SPA_FRACTION(1, kRate);
      clock.position = frames_;
      clock.duration = quantum;
      clock.delay = 0;
      clock.rate_diff = rate_ / kRate;
      clock.next_nsec = static_cast<std::uint64_t>(std::llround(next_ns_));
    }
    frames_ += quantum;
    pw_stream_trigger_process(stream_);
    arm();
  }

  void process() {
    pw_buffer* taken = pw_stream_dequeue_buffer(stream_);
    if (taken == nullptr) return;
    const spa_data& data = taken->buffer->datas[0];
    if (data.data != nullptr) {
      const auto* first =
          reinterpret_cast<const float*>(static_cast<const char*>(data.data) + data.chunk->offset);
      const Clock::duration begin(std::llround(cycle_ns_));
      hear(std::span(first, data.chunk->size / sizeof(float)), Clock::time_point(begin));
    }
    pw_stream_queue_buffer(stream_, taken);
  }

  static pw_stream_events events() {
    pw_stream_events e{};
    e.version = PW_VERSION_STREAM_EVENTS;
    e.state_changed = [](void* self, pw_stream_state, pw_stream_state now, const char*) {
      static_cast<DriverDevice*>(self)->state_changed(now);
    };
    e.io_changed = [](void* self, std::uint32_t id, void* area, std::uint32_t) {
      if (id == SPA_IO_Position)
        static_cast<DriverDevice*>(self)->position_ = static_cast<spa_io_position*>(area);
    };
    e.process = [](void* self) { static_cast<DriverDevice*>(self)->process(); };
    return e;
  }
  static const pw_stream_events kEvents;

  pw_thread_loop* loop_ = nullptr;
  pw_context* context_ = nullptr;
  pw_core* core_ = nullptr;
  pw_stream* stream_ = nullptr;
  spa_hook listener_{};
  spa_source* timer_ = nullptr;
  spa_io_position* position_ = nullptr;
  std::uint64_t frames_ = 0;
  double cycle_ns_ = 0;  // when this cycle began, on the steady clock
  double next_ns_ = 0;   // when the next one does
};

const pw_stream_events DriverDevice::kEvents = DriverDevice::events();

}  // namespace

std::unique_ptr<SkewedDevice> skewed_driver(const SoundServer& server, double ppm) {
  return std::make_unique<DriverDevice>(server, ppm);
}

}  // namespace soak
