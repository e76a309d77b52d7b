// A PipeWire sink on a clock of its own: skewed_device REMOTE PPM
//
// Its own timer drives its graph, 48000 x (1 + PPM/1000000) frames a second: each time it fires,
// everything that plays to it is asked for one quantum more. Prints when each click began to be
// played, in nanoseconds of the monotonic clock, until it is ended.
#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr std::uint32_t kRate = 48000;
constexpr std::uint64_t kDefaultQuantum = 1024;  // frames, until the graph has another
constexpr double kNs = 1e9;
constexpr float kClickLevel = 0.1F;
constexpr double kNextClickNs = 0.1 * kNs;  // what comes sooner belongs to the same

struct Device {
  double rate = kRate;  // frames a second
  pw_loop* loop = nullptr;
  pw_stream* stream = nullptr;
  spa_source* timer = nullptr;
  spa_io_position* position = nullptr;
  std::uint64_t frames = 0;
  double cycle_ns = 0;  // when this cycle began
  double next_ns = 0;   // when the next one does
  double last_click_ns = 0;
};

void arm(Device* d) {
  const auto at = static_cast<std::uint64_t>(std::llround(d->next_ns));
  timespec when{static_cast<time_t>(at / 1000000000U), static_cast<long>(at % 1000000000U)};
  pw_loop_update_timer(d->loop, d->timer, &when, nullptr, true);
}

void on_state(void* user, pw_stream_state, pw_stream_state now, const char*) {
  auto* d = static_cast<Device*>(user);
  if (now == PW_STREAM_STATE_STREAMING) {
    d->next_ns = static_cast<double>(std::chrono::steady_clock::now().time_since_epoch().count());
    return arm(d);
  }
  timespec never{};
  pw_loop_update_timer(d->loop, d->timer, &never, nullptr, false);
}

void on_io(void* user, std::uint32_t id, void* area, std::uint32_t) {
  if (id == SPA_IO_Position)
    static_cast<Device*>(user)->position = static_cast<spa_io_position*>(area);
}

void on_timer(void* user, std::uint64_t) {
  auto* d = static_cast<Device*>(user);
  const std::uint64_t quantum = d->position != nullptr && d->position->clock.duration > 0
                                    ? d->position->clock.duration
                                    : kDefaultQuantum;
  d->cycle_ns = d->next_ns;
  d->next_ns += static_cast<double>(quantum) / d->rate * kNs;
  if (d->position != nullptr) {
    spa_io_clock& clock = d->position->clock;
    clock.nsec = static_cast<std::uint64_t>(std::llround(d->cycle_ns));
    clock.rate = SPA_FRACTION(1, kRate);
    clock.position = d->frames;
    clock.duration = quantum;
    clock.delay = 0;
    clock.rate_diff = d->rate / kRate;
    clock.next_nsec = static_cast<std::uint64_t>(std::llround(d->next_ns));
  }
  d->frames += quantum;
  pw_stream_trigger_process(d->stream);
  arm(d);
}

void on_process(void* user) {
  auto* d = static_cast<Device*>(user);
  pw_buffer* taken = pw_stream_dequeue_buffer(d->stream);
  if (taken == nullptr) return;
  const spa_data& data = taken->buffer->datas[0];
  if (data.data != nullptr) {
    const auto* samples =
        reinterpret_cast<const float*>(static_cast<const char*>(data.data) + data.chunk->offset);
    for (std::size_t i = 0; i < data.chunk->size / sizeof(float); i += 2) {
      if (std::abs(samples[i]) <= kClickLevel) continue;
      const double at = d->cycle_ns + static_cast<double>(i / 2) / d->rate * kNs;
      if (at - d->last_click_ns > kNextClickNs) std::printf("%.0f\n", at);
      d->last_click_ns = at;
    }
  }
  pw_stream_queue_buffer(d->stream, taken);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  pw_init(nullptr, nullptr);
  Device device;
  device.rate = kRate * (1 + std::atof(argv[2]) * 1e-6);
  pw_main_loop* main_loop = pw_main_loop_new(nullptr);
  device.loop = pw_main_loop_get_loop(main_loop);
  pw_context* context = pw_context_new(
      device.loop,
      pw_properties_new("support.dbus", "false", PW_KEY_CONFIG_NAME, "client-rt.conf", nullptr), 0);
  pw_core* core =
      pw_context_connect(context, pw_properties_new(PW_KEY_REMOTE_NAME, argv[1], nullptr), 0);
  if (core == nullptr) return 1;
  device.timer = pw_loop_add_timer(device.loop, on_timer, &device);
  device.stream =
      pw_stream_new(core, "skewed",
                    pw_properties_new(PW_KEY_MEDIA_CLASS, "Audio/Sink", PW_KEY_NODE_NAME, "skewed",
                                      PW_KEY_NODE_DESCRIPTION, "Skewed", PW_KEY_NODE_DRIVER, "true",
                                      PW_KEY_PRIORITY_DRIVER, "30000", "priority.session", "3000",
                                      "session.suspend-timeout-seconds", "0", nullptr));
  pw_stream_events events{};
  events.version = PW_VERSION_STREAM_EVENTS;
  events.state_changed = on_state;
  events.io_changed = on_io;
  events.process = on_process;
  spa_hook listener{};
  pw_stream_add_listener(device.stream, &listener, &events, &device);
  std::array<std::uint8_t, 1024> buffer{};
  spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer.data(), buffer.size());
  spa_audio_info_raw info{};
  info.format = SPA_AUDIO_FORMAT_F32;
  info.rate = kRate;
  info.channels = 2;
  info.position[0] = SPA_AUDIO_CHANNEL_FL;
  info.position[1] = SPA_AUDIO_CHANNEL_FR;
  const spa_pod* format = spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info);
  if (pw_stream_connect(
          device.stream, PW_DIRECTION_INPUT, PW_ID_ANY,
          static_cast<pw_stream_flags>(PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_DRIVER), &format,
          1) < 0)
    return 1;
  return pw_main_loop_run(main_loop) == 0 ? 0 : 1;
}
