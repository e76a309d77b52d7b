// DESIGN: our sink's monitor is recorded to be equalized and played (routed), or the real device's
// only for the display. Before any sample counts, the stream's place is checked: neither a
// microphone nor our own output may get into the equalizer.
//
// Silence needs no hundred looks a second: after a while the fragments get longer, and a capture
// for the display rests altogether. The first sound, or a stream that may bring some, brings the
// short fragments back. PipeWire gives none as short as 10 ms, see new_context.
//
// Our sink always runs while it is recorded, so a stream that brings not even silence has been cut
// off from it, by a patchbay or by a server that lost its link. There is no event for it.
#include <algorithm>
#include <array>
#include <utility>

#include "app/logger.h"
#include "audio_private.h"
#include "block.h"
#include "cushion.h"
#include "server_stream.h"
#include "stream_path.h"

namespace audio {

namespace {

constexpr std::size_t kFragmentFrames = 480;           // 10 ms
constexpr std::size_t kWatchingFragmentFrames = 4800;  // of silence that is only looked at
// Of silence that will be played: less than the target of the queue, so that the first sound fills
// it, and a whole number of periods where the server counts them in powers of two.
constexpr std::size_t kAsleepFragmentFrames = 2048;
static_assert(kAsleepFragmentFrames * 1000000 / kRate < Cushion::kTargetUs);
constexpr std::size_t kIdleAfterFrames = std::size_t{5} * kRate;
constexpr std::chrono::seconds kMissedAfter{2};
constexpr int kLastChanceMs = 500;  // for a server that was held up

// Main-loop lock.
struct Record {
  ServerStream stream;
  bool routed = false;
  bool delivers = false;         // something has arrived since it was opened, or missed
  bool loss_logged = false;      // and nothing has arrived since
  Clock::time_point came_at;     // when something arrived, or the stream was opened
  std::size_t quiet_frames = 0;  // recorded since the last sound, or the last sign of one to come
  bool idle = false;             // long fragments are requested
  bool rests = false;            // it is corked, because there is nothing to be seen

  void restart() {
    stream.close();
    delivers = false;
    came_at = Clock::now();
    quiet_frames = 0;
    idle = false;
    rests = false;
  }
};
Record g_record;

std::uint32_t fragment_bytes(std::size_t frames) {
  return static_cast<std::uint32_t>(frames * kFrameBytes);
}

void set_idle(bool idle) {
  if (std::exchange(g_record.idle, idle) == idle) return;
  const std::size_t longer = g_record.routed ? kAsleepFragmentFrames : kWatchingFragmentFrames;
  pa_buffer_attr buffers = default_buffers();
  buffers.fragsize = fragment_bytes(idle ? longer : kFragmentFrames);
  dismiss(pa_stream_set_buffer_attr(g_record.stream.get(), &buffers, nullptr, nullptr));
  if (idle && !g_record.routed) mark_dirty();  // it may rest, if the device is not in use
}

void pace(std::span<const float> samples) {
  const bool silent = std::ranges::all_of(samples, [](float x) { return x == 0.0F; });
  g_record.quiet_frames = silent ? g_record.quiet_frames + samples.size() / kChannels : 0;
  set_idle(g_record.quiet_frames >= kIdleAfterFrames && (play_asleep() || !g_record.routed));
}

void on_read(pa_stream* s, std::size_t /*bytes*/, void* /*user*/) {
  const bool current = s == g_record.stream.get();
  const void* data = nullptr;
  std::size_t bytes = 0;
  while (pa_stream_peek(s, &data, &bytes) == 0 && bytes > 0) {
    if (data != nullptr && current && g_record.stream.in_place()) {
      const std::span samples(static_cast<const float*>(data), bytes / kFrameBytes * kChannels);
      if (g_record.routed) {
        process_fragment(samples);
      } else {
        show_fragment(samples);
      }
      pace(samples);
    } else if (data != nullptr && g_record.routed) {
      count_lost({static_cast<const float*>(data), bytes / kFrameBytes * kChannels});
    }
    pa_stream_drop(s);
  }
  if (!current) return;
  g_record.came_at = Clock::now();
  g_record.loss_logged = false;
  if (!std::exchange(g_record.delivers, true)) signal_loop();
}

}  // namespace

bool open_record(const LoopLock& lock, const SinkInfo& monitored, bool routed) {
  g_record.restart();
  g_record.routed = routed;
  restart_path();
  pa_stream* s = g_record.stream.create(lock, "record", routed ? "Equalizer" : "Spectrum",
                                        monitored.monitor, "");
  if (s != nullptr) pa_stream_set_read_callback(s, on_read, nullptr);
  pa_buffer_attr buffers = default_buffers();
  buffers.fragsize = fragment_bytes(kFragmentFrames);
  const unsigned flags = PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE |
                         (routed ? 0U : static_cast<unsigned>(PA_STREAM_DONT_INHIBIT_AUTO_SUSPEND));
  const bool requested =
      s != nullptr && pa_stream_connect_record(s, monitored.monitor.c_str(), &buffers,
                                               static_cast<pa_stream_flags_t>(flags)) >= 0;
  return g_record.stream.finish_opening(lock, requested, "record from");
}

void close_record(const LoopLock& /*lock*/) {
  g_record.restart();
}

bool record_alive(const LoopLock& lock, const SinkInfo& monitored, bool routed) {
  if (g_record.routed != routed ||
      !g_record.stream.is_on(monitored.monitor, monitored.monitor_index)) {
    return false;
  }
  if (!record_missed(lock)) return true;
  g_record.delivers = false;
  if (record_delivers(lock, kLastChanceMs)) return true;
  if (!std::exchange(g_record.loss_logged, true))
    logger::info("No sound is recorded any more, not even silence: the stream is opened again");
  return false;
}

bool record_missed(const LoopLock& /*lock*/) {
  return g_record.routed && g_record.stream.in_place() &&
         Clock::now() - g_record.came_at > kMissedAfter;
}

bool record_good(const LoopLock& /*lock*/) {
  return g_record.stream.good();
}

bool record_delivers(const LoopLock& lock, int ms) {
  return wait_flag(lock, g_record.delivers, ms);
}

void expect_sound() {
  if (std::exchange(g_record.rests, false))
    dismiss(pa_stream_cork(g_record.stream.get(), 0, nullptr, nullptr));
  g_record.quiet_frames = 0;
  set_idle(false);
}

// What keeps a device running may be this very capture: some servers still call it running when the
// last player has gone or is paused. So only a device that runs while the capture rests is in use.
void rest_spectrum(const LoopLock& /*lock*/, bool device_running, bool played_to) {
  if (device_running && g_record.rests) expect_sound();
  if (played_to || !g_record.idle || std::exchange(g_record.rests, true)) return;
  dismiss(pa_stream_cork(g_record.stream.get(), 1, nullptr, nullptr));
}

}  // namespace audio
