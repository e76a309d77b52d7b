// DESIGN: the playback stream has a queue of its own on the server, which PlayQueue keeps short.
// Silence is not played: after a while of it the stream is corked and flushed, because a stream
// that plays silence for ever would keep the device awake for ever.
#include <algorithm>
#include <string>
#include <utility>

#include "audio_private.h"
#include "block.h"
#include "fade.h"
#include "play_queue.h"
#include "requests.h"
#include "server_stream.h"
#include "stream_path.h"

namespace audio {

namespace {

constexpr pa_usec_t kMaxLengthUs = 500000;
constexpr pa_usec_t kPrebufUs = 30000;
constexpr pa_usec_t kOldestReportUs = 1000000;  // unless the time of day is changed
constexpr int kFadeOutMs = 50;                  // for the fragments that bring the fade-out
constexpr std::int64_t kPlayedOutUs = 150000;   // for what waits in the stream, at most

// Main-loop lock.
struct Play {
  ServerStream stream;
  PlayQueue queue;
  Arrivals arrivals;
  Fade fade;
  bool faded_out = false;
  bool asleep = false;            // it is corked, because there is nothing to be heard
  std::int64_t quiet_us = 0;      // how long nothing to be heard has been written
  pa_time_event* asks = nullptr;  // when it goes off, the server is asked for a report
  bool in_cycles = false;         // the device's
  std::uint32_t looks = 0;

  void restart() {
    queue.restart(PlayQueue::Start::kOpened, Clock::now());
    arrivals.restart();
    fade.restart();
    faded_out = false;
    asleep = false;
    quiet_us = kMaxLengthUs;
  }
};
Play g_play;

// A cycle is a power of two of frames: the same number of them at 44100 Hz.
std::string cycle() {
  return std::to_string(kCycleFrames) + "/44100";
}

std::uint32_t bytes_of(pa_usec_t us) {
  return static_cast<std::uint32_t>(pa_usec_to_bytes(us, &kFormat));
}

std::int64_t us_of(std::int64_t bytes) {
  return static_cast<std::int64_t>(
      pa_bytes_to_usec(static_cast<std::uint64_t>(std::max<std::int64_t>(0, bytes)), &kFormat));
}

// What is still in the stream is silence, and would be heard before the first sound.
void fall_asleep() {
  if (std::exchange(g_play.asleep, true)) return;
  dismiss(pa_stream_cork(g_play.stream.get(), 1, nullptr, nullptr));
  dismiss(pa_stream_flush(g_play.stream.get(), nullptr, nullptr));
}

void wake_up(Clock::time_point now) {
  if (!std::exchange(g_play.asleep, false)) return;
  g_play.queue.restart(PlayQueue::Start::kWoken, now);
  g_play.arrivals.restart();
  dismiss(pa_stream_cork(g_play.stream.get(), 0, nullptr, nullptr));
}

void write(std::span<const float> samples) {
  pa_stream_write(g_play.stream.get(), samples.data(), samples.size_bytes(), nullptr, 0,
                  PA_SEEK_RELATIVE);
}

void note_quiet(std::span<const float> block) {
  const std::int64_t us = us_of(static_cast<std::int64_t>(block.size_bytes()));
  g_play.quiet_us = inaudible(block) ? g_play.quiet_us + us : 0;
}

// Counts the sound in the queue that is about to be thrown away.
void count_queue() {
  if (!g_play.stream.in_place() || g_play.asleep || g_play.fade.gone()) return;
  const std::int64_t lost_us = g_play.queue.held_us(Clock::now()) - g_play.quiet_us;
  if (lost_us > 0) count_lost(bytes_of(static_cast<pa_usec_t>(lost_us)) / sizeof(float));
}

void on_timing(pa_stream* s, void* /*user*/) {
  const pa_timing_info* timing = pa_stream_get_timing_info(s);
  if (s != g_play.stream.get() || timing == nullptr || timing->write_index_corrupt != 0 ||
      timing->read_index_corrupt != 0) {
    return;
  }
  const auto age =
      std::chrono::microseconds(std::min(pa_timeval_age(&timing->timestamp), kOldestReportUs));
  const PlayQueue::Timing report{.fill_us = us_of(timing->write_index - timing->read_index),
                                 .device_us = static_cast<std::int64_t>(timing->sink_usec),
                                 .playing = timing->playing != 0};
  if (!g_play.asleep && g_play.queue.miscounted(report)) {
    count_queue();
    dismiss(pa_stream_flush(s, nullptr, nullptr));
    return g_play.queue.restart(PlayQueue::Start::kWoken, Clock::now());
  }
  g_play.queue.report(report, Clock::now() - age);
}

void ask() {
  if (g_play.stream.in_place())
    dismiss(pa_stream_update_timing_info(g_play.stream.get(), nullptr, nullptr));
}

void on_time_to_ask(pa_mainloop_api* /*api*/, pa_time_event* /*e*/, const timeval* /*at*/,
                    void* /*user*/) {
  ask();
}

// Where sound comes and is taken in cycles of the same length, asking when it comes would meet the
// device at the same point of its cycle each time, and never right after it has taken some.
void ask_for_report() {
  constexpr std::uint32_t kPoints = 8;
  constexpr std::uint32_t kStride = 5;
  constexpr pa_usec_t kStepUs = pa_usec_t{kCycleFrames} * 1000000 / kRate / kPoints;
  const std::uint32_t point = g_play.in_cycles ? g_play.looks++ * kStride % kPoints : 0;
  if (point == 0 || g_play.asks == nullptr) return ask();
  pa_context_rttime_restart(pa_stream_get_context(g_play.stream.get()), g_play.asks,
                            pa_rtclock_now() + point * kStepUs);
}

void on_underflow(pa_stream* s, void* /*user*/) {
  const bool current = s == g_play.stream.get();
  if (current && g_play.fade.gone()) return;
  const auto now = Clock::now();
  count_underrun(current ? g_play.arrivals.explain(now) : DryMoment{});
  if (!current) return;
  g_play.queue.restart(g_play.asleep ? PlayQueue::Start::kWoken : PlayQueue::Start::kRanDry, now);
  dismiss(pa_stream_update_timing_info(s, nullptr, nullptr));
}

}  // namespace

void play(std::span<float> block, std::size_t following) {
  if (!g_play.stream.in_place()) return count_lost(block);
  if (path_silent()) return fall_asleep();
  if (g_play.fade.gone()) return count_lost(block);
  g_play.fade.apply(block);
  if (g_play.fade.gone()) {
    g_play.faded_out = true;
    signal_loop();
  }
  const auto now = Clock::now();
  wake_up(now);
  g_play.arrivals.arrived(now);
  note_quiet(block);
  g_play.queue.put(block, following, now, write);
  const PlayQueue::Counts counts = g_play.queue.take_counts();
  if (counts.lost > 0) count_lost(block.last(counts.lost));
  if (counts.inserted > 0) count_inserted(counts.inserted);
  if (following == 0 && g_play.queue.wants_report()) ask_for_report();
}

bool play_asleep() {
  return g_play.asleep;
}

bool open_play(const LoopLock& lock, const SinkInfo& sink) {
  close_play(lock);
  // A crossfade would reach into the new stream: at its device the old curve may be far too loud.
  apply_curve_unheard();
  g_play.restart();
  pa_stream* s = g_play.stream.create(lock, "playback", "Equalizer", sink.name, cycle());
  if (s != nullptr) {
    pa_stream_set_underflow_callback(s, on_underflow, nullptr);
    pa_stream_set_latency_update_callback(s, on_timing, nullptr);
    g_play.asks = pa_context_rttime_new(context(lock), PA_USEC_INVALID, on_time_to_ask, nullptr);
    g_play.in_cycles = sink.in_cycles;
  }
  pa_buffer_attr buffers = default_buffers();
  buffers.maxlength = bytes_of(kMaxLengthUs);
  buffers.tlength = bytes_of(Cushion::kTargetUs);
  buffers.prebuf = bytes_of(kPrebufUs);
  pa_cvolume full;
  pa_cvolume_set(&full, kChannels, PA_VOLUME_NORM);
  // With flat volumes, 100 % of the stream would otherwise be 100 % of the device.
  constexpr auto kFlags = static_cast<pa_stream_flags_t>(
      PA_STREAM_INTERPOLATE_TIMING | PA_STREAM_AUTO_TIMING_UPDATE | PA_STREAM_DONT_MOVE |
      PA_STREAM_START_UNMUTED | PA_STREAM_RELATIVE_VOLUME);
  const bool requested = s != nullptr && pa_stream_connect_playback(s, sink.name.c_str(), &buffers,
                                                                    kFlags, &full, nullptr) >= 0;
  if (!g_play.stream.finish_opening(lock, requested, "play to")) return false;
  // PipeWire's session manager sets what it remembers of an earlier stream: turned down or muted in
  // a mixer, it could not be turned up again in the program.
  if (!sink.flat_volume) reset_stream_level(lock, pa_stream_get_index(s));
  return true;
}

void close_play(const LoopLock& lock) {
  count_queue();
  if (pa_time_event* asks = std::exchange(g_play.asks, nullptr)) loop_api(lock)->time_free(asks);
  g_play.stream.close();
}

bool play_alive(const LoopLock& /*lock*/, const SinkInfo& sink) {
  return g_play.stream.is_on(sink.name, sink.index);
}

bool streams_alive(const LoopLock& lock) {
  return record_good(lock) && g_play.stream.good();
}

void fade_play_out(const LoopLock& lock) {
  if (!g_play.stream.good() || g_play.asleep || path_silent()) return;
  g_play.faded_out = false;
  g_play.fade.begin_out();
  if (!wait_flag(lock, g_play.faded_out, kFadeOutMs)) return;
  const std::int64_t left_us = g_play.queue.playing_us(Clock::now());
  if (left_us > 0) pause_unlocked(lock, static_cast<int>(std::min(left_us, kPlayedOutUs) / 1000));
}

}  // namespace audio
