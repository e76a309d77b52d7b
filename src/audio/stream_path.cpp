// DESIGN: the sound's way is record stream -> equalizer -> cushion -> stretch -> playback stream,
// all in on_read on the loop thread. Fragments are handled in pieces of 10 ms, so that a long one
// is treated like the same sound in short ones, and no buffer ever grows. Before any sample counts,
// the streams' devices are checked by name: a server may put a stream elsewhere when its device
// vanishes, and the sound of a microphone, or our own output, must not go round.
//
// The callback allocates nothing, logs nothing and waits for nothing: the curve is taken when its
// lock is free (at the next block otherwise), and the tap's lock is only ever held for a copy.

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <limits>
#include <mutex>
#include <span>
#include <utility>

#include "app/logger.h"
#include "audio_private.h"
#include "cushion.h"
#include "drift.h"

namespace audio {

namespace {

constexpr int kTapFrames = 8192;
constexpr int kPieceFrames = Cushion::kMaxFrames;
static_assert(kPieceFrames <= Stretch::kMaxFrames);
constexpr std::size_t kFrameBytes = sizeof(float) * kChannels;
constexpr std::uint32_t kServerDefault = 0xFFFFFFFFU;
constexpr std::size_t kFragmentFrames = 480;           // 10 ms
constexpr std::size_t kWatchingFragmentFrames = 4800;  // of silence that is only looked at
// Of silence that is to be played: less than the target of the queue, so that the first sound fills
// it, and a whole number of the server's cycles where it counts them in powers of two.
constexpr std::size_t kAsleepFragmentFrames = 2048;
static_assert(kAsleepFragmentFrames * 1000000 / kRate < Cushion::kTargetUs);
constexpr std::size_t kIdleAfterFrames = std::size_t{5} * kRate;
constexpr std::int64_t kLateUs = 15000;  // between two pieces: half a piece too much
constexpr pa_usec_t kMaxLengthUs = 500000;
constexpr pa_usec_t kPrebufUs = 30000;
constexpr int kBlendFrames = 480;              // 10 ms from one curve to the next
constexpr int kFadeFrames = 240;               // 5 ms
constexpr int kFadeAwaited = 2 * kRate;        // for what is moved to us when we begin to play
constexpr int kFadeOutMs = 50;                 // for the next fragments to come
constexpr std::int64_t kPlayedOutUs = 150000;  // for what waits in the stream, at most
constexpr int kResetAfterSilentPieces = 1000;  // 10 s: what rings in the filters is far below any
                                               // float by then, and the device may sleep

constexpr pa_sample_spec kFormat = {PA_SAMPLE_FLOAT32LE, kRate, kChannels};

// Where a stream was opened: a source or a sink. A device that was replaced by another of the same
// name has another index; some servers then leave the stream alive, with the old name and connected
// to nothing.
struct Place {
  std::string name;                // empty when closed
  std::uint32_t index = kNoIndex;  // not known while the stream is being opened
};

// Main-loop lock.
pa_stream* g_rec = nullptr;
pa_stream* g_play = nullptr;
Place g_rec_place;   // what is to be recorded
Place g_play_place;  // what is to be played to
bool g_rec_routed = false;
bool g_rec_delivers = false;    // something has arrived since it was opened
bool g_rec_fault_said = false;  // a stream that cannot be opened is retried often and logged once
bool g_play_fault_said = false;
bool g_play_sleeps = false;  // it is corked, because there is nothing to be heard

constexpr std::int64_t kNeverSeen = std::numeric_limits<std::int64_t>::max();

// What the server told last of the playback stream, plus what was written since.
struct Queue {
  bool known = false;
  bool playing = false;
  std::int64_t fill_us = 0;                   // in the stream, not yet taken by the device
  std::int64_t device_us = 0;                 // taken, not yet heard
  std::int64_t device_least_us = kNeverSeen;  // smallest while it played
  Clock::time_point at;
};
Queue g_queue;

// When the last piece came, and how long it had been waited for when one last came late.
Clock::time_point g_piece_at;
std::int64_t g_late_us = 0;

enum class Fade { kNone, kAwaited, kIn, kOut, kGone };
Fade g_fade = Fade::kNone;
int g_fade_left = 0;  // frames; while one is awaited, those that it is awaited for
bool g_faded_out = false;

// Loop thread (and start, before it runs).
eq::Processor g_proc;
eq::Processor g_before;  // with the curve before, while g_blend_left is not 0
int g_blend_left = 0;    // frames
Cushion g_cushion;
DriftControl g_drift;
Stretch g_stretch;
std::uint32_t g_applied_version = 0;
int g_silent_pieces = 0;
std::size_t g_quiet_frames = 0;  // recorded since the last sound, or sign of one to come
bool g_idle = false;             // long fragments are brought
bool g_rec_rests = false;        // it is corked, because there is nothing to be seen
std::array<float, std::size_t{kPieceFrames} * kChannels> g_scratch{};
std::array<float, std::size_t{kPieceFrames} * kChannels> g_blend{};
constexpr std::array<float, std::size_t{kPieceFrames} * kChannels> kSilence{};

std::mutex g_curve_mtx;
eq::Curve g_curve;  // g_curve_mtx
std::atomic<std::uint32_t> g_curve_version{0};

std::mutex g_tap_mtx;  // guards the ring
std::array<float, kTapFrames> g_tap_l{};
std::array<float, kTapFrames> g_tap_r{};
int g_tap_pos = 0;
std::uint64_t g_tap_serial = 0;

std::atomic<float> g_peak_l{0.0F};
std::atomic<float> g_peak_r{0.0F};

std::atomic<std::uint64_t> g_dropped{0};
std::atomic<std::uint64_t> g_drop_events{0};
std::atomic<std::uint64_t> g_underflows{0};

// Control thread: what report_stats reported last.
std::uint64_t g_reported_drops = 0;
std::uint64_t g_reported_underflows = 0;

bool good(pa_stream* s) {
  return s != nullptr && PA_STREAM_IS_GOOD(pa_stream_get_state(s));
}

pa_buffer_attr default_buffers() {
  return {kServerDefault, kServerDefault, kServerDefault, kServerDefault, kServerDefault};
}

std::uint32_t bytes_of(pa_usec_t us) {
  return static_cast<std::uint32_t>(pa_usec_to_bytes(us, &kFormat));
}

std::int64_t us_of(std::size_t bytes) {
  return static_cast<std::int64_t>(pa_bytes_to_usec(bytes, &kFormat));
}

bool has_device(pa_stream* s, const std::string& name) {
  const char* device = pa_stream_get_device_name(s);
  return device != nullptr && name == device;
}

// Whether the server has the stream where it was opened.
bool is_on(pa_stream* s, const Place& place) {
  const bool same = place.index == kNoIndex || place.index == pa_stream_get_device_index(s);
  return same && has_device(s, place.name);
}

void raise_peak(std::atomic<float>* peak, float value) {
  float before = peak->load(std::memory_order_relaxed);
  while (value > before && !peak->compare_exchange_weak(before, value)) {
  }
}

void push_tap(std::span<const float> samples) {
  const int frames = static_cast<int>(samples.size()) / kChannels;
  float left = 0.0F;
  float right = 0.0F;
  {
    const std::lock_guard lock(g_tap_mtx);
    for (int i = 0; i < frames; ++i) {
      const float l = samples[static_cast<std::size_t>(i) * kChannels];
      const float r = samples[static_cast<std::size_t>(i) * kChannels + 1];
      g_tap_l[static_cast<std::size_t>(g_tap_pos)] = l;
      g_tap_r[static_cast<std::size_t>(g_tap_pos)] = r;
      g_tap_pos = (g_tap_pos + 1) % kTapFrames;
      left = std::max(left, std::abs(l));
      right = std::max(right, std::abs(r));
    }
    ++g_tap_serial;
  }
  raise_peak(&g_peak_l, left);
  raise_peak(&g_peak_r, right);
}

bool nothing_to_hear() {
  return g_silent_pieces >= kResetAfterSilentPieces;
}

// The next curve waits until the last one is there; of several that wait, the newest counts.
void apply_new_curve() {
  if (g_curve_version.load(std::memory_order_acquire) == g_applied_version) return;
  if (g_blend_left > 0) return;
  eq::Curve curve;
  {
    const std::unique_lock lock(g_curve_mtx, std::try_to_lock);
    if (!lock) return;
    curve = g_curve;
    g_applied_version = g_curve_version.load(std::memory_order_relaxed);
  }
  g_before = g_proc;
  g_proc.set_curve(curve);
  g_blend_left = nothing_to_hear() ? 0 : kBlendFrames;
}

// A filter whose coefficients change at once clicks, and so does a gain. So both curves are applied
// for a moment, and the sound goes over from one to the other.
void process(std::span<float> samples) {
  const int frames = static_cast<int>(samples.size()) / kChannels;
  if (g_blend_left == 0) {
    g_proc.process(samples.data(), frames);
    return;
  }
  const std::span<float> before = std::span(g_blend).first(samples.size());
  std::ranges::copy(samples, before.begin());
  g_before.process(before.data(), frames);
  g_proc.process(samples.data(), frames);
  for (std::size_t i = 0; i < samples.size() && g_blend_left > 0; --g_blend_left) {
    const float weight = (static_cast<float>(g_blend_left) - 0.5F) / kBlendFrames;
    for (int c = 0; c < kChannels; ++c, ++i)
      samples[i] += weight * (before[i] - samples[i]);
  }
}

// Equalizes in place. Silence that has lasted long enough costs nothing.
void equalize(std::span<float> samples) {
  if (!std::ranges::all_of(samples, [](float x) { return x == 0.0F; })) {
    g_silent_pieces = 0;
  } else if (nothing_to_hear()) {
    return;
  } else if (++g_silent_pieces == kResetAfterSilentPieces) {
    g_proc.reset();
    g_blend_left = 0;
    return;
  }
  process(samples);
}

void on_timing(pa_stream* s, void* /*user*/) {
  const pa_timing_info* timing = pa_stream_get_timing_info(s);
  if (s != g_play || timing == nullptr || timing->write_index_corrupt != 0 ||
      timing->read_index_corrupt != 0) {
    return;
  }
  const std::int64_t bytes = std::max<std::int64_t>(0, timing->write_index - timing->read_index);
  g_queue.fill_us = us_of(static_cast<std::size_t>(bytes));
  g_queue.device_us = static_cast<std::int64_t>(timing->sink_usec);
  g_queue.at = Clock::now();
  g_queue.playing = timing->playing != 0;
  // A device that sleeps or has not begun tells of no delay at all.
  if (g_queue.playing && g_queue.device_us < g_queue.device_least_us) {
    const std::int64_t before = std::exchange(g_queue.device_least_us, g_queue.device_us);
    if (before != kNeverSeen) g_drift.shift(static_cast<double>(before - g_queue.device_us));
  }
  g_queue.known = true;
}

// What waits to be heard now. The library's own interpolation is of no use here: after a start it
// stays at zero for seconds, just when the queue has to be got right. A device takes from the
// stream in gulps, so what it has taken counts too, except for what it never had less of: a
// wireless headset's own delay is not ours to shorten. Before anything plays only the stream
// counts.
std::int64_t queue_us() {
  if (!g_queue.known) return Cushion::kUnknown;
  if (!g_queue.playing) return g_queue.fill_us;
  const auto since =
      std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - g_queue.at).count();
  const std::int64_t total = g_queue.fill_us + g_queue.device_us - g_queue.device_least_us;
  return std::max<std::int64_t>(0, total - since);
}

void write(std::span<const float> samples) {
  if (samples.empty()) return;
  pa_stream_write(g_play, samples.data(), samples.size_bytes(), nullptr, 0, PA_SEEK_RELATIVE);
  g_queue.fill_us += us_of(samples.size_bytes());
}

// The queue counts as it is once this block is in it.
double speed_for(std::int64_t queue, std::size_t samples) {
  if (queue == Cushion::kUnknown) return g_drift.speed();
  if (!g_cushion.steady()) {
    g_drift.restart();
    return g_drift.speed();
  }
  const std::int64_t block_us = us_of(samples * sizeof(float));
  return g_drift.update(static_cast<double>(queue + block_us - g_cushion.target_us()),
                        static_cast<double>(block_us) * 1e-6);
}

void dismiss(pa_operation* op) {
  if (op != nullptr) pa_operation_unref(op);
}

void set_fragments(std::size_t frames) {
  pa_buffer_attr buffers = default_buffers();
  buffers.fragsize = static_cast<std::uint32_t>(frames * kFrameBytes);
  dismiss(pa_stream_set_buffer_attr(g_rec, &buffers, nullptr, nullptr));
}

// A stream that plays silence for ever would keep the device awake for ever. What is still in it is
// silence, and would be heard before the first sound.
void let_device_sleep() {
  if (std::exchange(g_play_sleeps, true)) return;
  dismiss(pa_stream_cork(g_play, 1, nullptr, nullptr));
  dismiss(pa_stream_flush(g_play, nullptr, nullptr));
}

// Whether it slept.
bool wake_device() {
  if (!std::exchange(g_play_sleeps, false)) return false;
  g_cushion.restart();
  g_stretch.restart();
  g_drift.restart();
  g_queue.known = false;
  g_queue.device_least_us = kNeverSeen;
  dismiss(pa_stream_cork(g_play, 0, nullptr, nullptr));
  return true;
}

// Sound that is moved to us begins in the middle, and what we stop playing ends there.
void fade(std::span<float> samples) {
  for (std::size_t i = 0; i < samples.size(); i += kChannels) {
    float* const frame = &samples[i];
    if (g_fade == Fade::kAwaited) {
      if (frame[0] == 0.0F && frame[1] == 0.0F && --g_fade_left > 0) continue;
      g_fade = g_fade_left > 0 ? Fade::kIn : Fade::kNone;
      g_fade_left = kFadeFrames;
    }
    if (g_fade == Fade::kNone) return;
    const float left = (static_cast<float>(g_fade_left) - 0.5F) / kFadeFrames;
    const float gain = g_fade == Fade::kIn ? 1.0F - left : g_fade == Fade::kOut ? left : 0.0F;
    frame[0] *= gain;
    frame[1] *= gain;
    if (g_fade != Fade::kGone && --g_fade_left == 0)
      g_fade = g_fade == Fade::kIn ? Fade::kNone : Fade::kGone;
  }
}

std::int64_t since_last_piece_us() {
  const auto since = Clock::now() - g_piece_at;
  return std::chrono::duration_cast<std::chrono::microseconds>(since).count();
}

// How long the piece is waited for now that is late, or else the last late one was.
std::int64_t lateness_us() {
  const std::int64_t since = since_last_piece_us();
  return since > kLateUs ? since : g_late_us;
}

void watch_pieces() {
  g_late_us = lateness_us();
  g_piece_at = Clock::now();
}

// `more` samples of the same fragment follow at once.
void play(std::span<float> samples, std::size_t more) {
  if (g_play == nullptr || pa_stream_get_state(g_play) != PA_STREAM_READY ||
      !is_on(g_play, g_play_place))
    return;
  if (nothing_to_hear()) {
    let_device_sleep();
    return;
  }
  if (g_fade == Fade::kGone) return;
  watch_pieces();
  fade(samples);
  if (g_fade == Fade::kGone) {
    g_faded_out = true;
    signal_loop();
  }
  // What comes with the first sound fills the cushion as well as silence would.
  const std::int64_t queue = wake_device() ? us_of(more * sizeof(float)) : queue_us();
  const Cushion::Output out = g_cushion.shape(samples, queue);
  if (out.dropped) {
    g_dropped += samples.size_bytes();
    ++g_drop_events;
    return;
  }
  const double speed = speed_for(queue, samples.size());
  for (std::size_t left = static_cast<std::size_t>(out.pad_frames) * kChannels; left > 0;) {
    const std::size_t n = std::min(left, kSilence.size());
    write(g_stretch.process(std::span(kSilence).first(n), speed));
    left -= n;
  }
  write(g_stretch.process(out.samples, speed));
}

void take_fragment(const float* samples, std::size_t count) {
  for (std::size_t at = 0; at < count;) {
    const std::size_t n = std::min(count - at, g_scratch.size());
    const std::span<float> piece = std::span(g_scratch).first(n);
    std::copy_n(samples + at, n, piece.begin());
    equalize(piece);
    push_tap(piece);
    at += n;
    play(piece, count - at);
  }
}

// Silence needs no hundred looks a second. The first sound brings the short fragments back, and so
// does what may announce one.
void pace(bool idle) {
  if (std::exchange(g_idle, idle) == idle) return;
  const std::size_t idly = g_rec_routed ? kAsleepFragmentFrames : kWatchingFragmentFrames;
  set_fragments(idle ? idly : kFragmentFrames);
  if (idle && !g_rec_routed) mark_dirty();  // it may rest, if the device is not in use
}

void pace_after(std::span<const float> samples) {
  const bool silent = std::ranges::all_of(samples, [](float x) { return x == 0.0F; });
  g_quiet_frames = silent ? g_quiet_frames + samples.size() / kChannels : 0;
  pace(g_quiet_frames >= kIdleAfterFrames && (g_play_sleeps || !g_rec_routed));
}

void on_read(pa_stream* s, std::size_t /*bytes*/, void* /*user*/) {
  const void* data = nullptr;
  std::size_t bytes = 0;
  while (pa_stream_peek(s, &data, &bytes) == 0 && bytes > 0) {
    if (data != nullptr && s == g_rec && is_on(s, g_rec_place)) {
      const std::span samples(static_cast<const float*>(data), bytes / kFrameBytes * kChannels);
      if (g_rec_routed) {
        apply_new_curve();
        take_fragment(samples.data(), samples.size());
      } else {
        push_tap(samples);
      }
      pace_after(samples);
    }
    pa_stream_drop(s);
  }
  if (s == g_rec && !std::exchange(g_rec_delivers, true)) signal_loop();
}

void on_underflow(pa_stream* s, void* /*user*/) {
  if (s == g_play && g_fade == Fade::kGone) return;
  ++g_underflows;
  if (s != g_play) return;
  if (g_play_sleeps) {
    g_cushion.restart();
  } else {
    g_cushion.ran_dry(lateness_us());
  }
  g_stretch.restart();
  // What was written while this message was on its way already waits in the stream. And what the
  // device never has less of may have grown: then the queue looked longer than it was.
  g_queue.known = false;
  g_queue.device_least_us = kNeverSeen;
  dismiss(pa_stream_update_timing_info(s, nullptr, nullptr));
}

// A server that moves a stream against our wish: the next pass opens it where it belongs.
void on_moved(pa_stream* /*s*/, void* /*user*/) {
  mark_dirty();
}

pa_stream* new_stream(const LoopLock& lock, const char* name, const char* media_name) {
  const Proplist props(media_name);
  // A session manager must not connect the stream to anything else when the device vanishes while
  // it is being opened.
  pa_proplist_sets(props.list, "node.dont-fallback", "true");
  pa_stream* s = pa_stream_new_with_proplist(context(lock), name, &kFormat, nullptr, props.list);
  if (s == nullptr) return nullptr;
  pa_stream_set_state_callback(s, on_stream_state, nullptr);
  pa_stream_set_moved_callback(s, on_moved, nullptr);
  return s;
}

void close_stream(pa_stream** s, Place* place) {
  *place = {};
  if (*s == nullptr) return;
  pa_stream_set_state_callback(*s, nullptr, nullptr);
  pa_stream_set_moved_callback(*s, nullptr, nullptr);
  pa_stream_set_read_callback(*s, nullptr, nullptr);
  pa_stream_set_underflow_callback(*s, nullptr, nullptr);
  pa_stream_set_latency_update_callback(*s, nullptr, nullptr);
  pa_stream_disconnect(*s);
  pa_stream_unref(*s);
  *s = nullptr;
}

// Why a stream is not where it should be.
std::string fault(const LoopLock& lock, pa_stream* s) {
  if (s != nullptr && pa_stream_get_state(s) == PA_STREAM_READY) {
    const char* name = pa_stream_get_device_name(s);
    return std::string("the server offers ") + (name == nullptr ? "no device" : name);
  }
  return error_text(lock);
}

void warn_once(bool* said, const std::string& text) {
  if (!std::exchange(*said, true)) logger::warn(text);
}

}  // namespace

void reset_processor() {
  g_proc.set_format(static_cast<float>(kRate), kChannels);
  g_blend_left = 0;
  g_cushion.restart();
  g_stretch.restart();
  g_drift.forget();
}

void close_record(const LoopLock& /*lock*/) {
  close_stream(&g_rec, &g_rec_place);
  g_quiet_frames = 0;
  g_idle = false;
  g_rec_rests = false;
}

void fade_play_out(const LoopLock& lock) {
  if (!good(g_play) || g_play_sleeps || nothing_to_hear()) return;
  g_faded_out = false;
  g_fade = Fade::kOut;
  g_fade_left = kFadeFrames;
  if (!wait_flag(lock, g_faded_out, kFadeOutMs) || !g_queue.known || !g_queue.playing) return;
  pause_unlocked(lock, static_cast<int>(std::min(queue_us(), kPlayedOutUs) / 1000));
}

void close_play(const LoopLock& /*lock*/) {
  close_stream(&g_play, &g_play_place);
}

bool open_record(const LoopLock& lock, const SinkInfo& monitored, bool routed) {
  const std::string source = monitored.monitor;
  close_record(lock);
  g_rec = new_stream(lock, "record", routed ? "Equalizer" : "Spectrum");
  bool ready = false;
  if (g_rec != nullptr) {
    pa_stream_set_read_callback(g_rec, on_read, nullptr);
    g_rec_place.name = source;
    g_rec_routed = routed;
    g_rec_delivers = false;
    if (routed) g_proc.set_format(static_cast<float>(kRate), kChannels);
    g_blend_left = 0;
    pa_buffer_attr buffers = default_buffers();
    buffers.fragsize = kFragmentFrames * kFrameBytes;
    const unsigned flags =
        PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE |
        (routed ? 0U : static_cast<unsigned>(PA_STREAM_DONT_INHIBIT_AUTO_SUSPEND));
    ready = pa_stream_connect_record(g_rec, source.c_str(), &buffers,
                                     static_cast<pa_stream_flags_t>(flags)) >= 0 &&
            wait_stream_ready(lock, g_rec) && has_device(g_rec, source);
  }
  if (ready) {
    g_rec_place.index = pa_stream_get_device_index(g_rec);
    g_rec_fault_said = false;
    return true;
  }
  if (!server_silent(lock)) {
    warn_once(&g_rec_fault_said, "Cannot record from " + source + ": " + fault(lock, g_rec));
  }
  close_record(lock);
  return false;
}

bool open_play(const LoopLock& lock, const std::string& sink) {
  close_play(lock);
  g_play = new_stream(lock, "playback", "Equalizer");
  bool ready = false;
  if (g_play != nullptr) {
    pa_stream_set_underflow_callback(g_play, on_underflow, nullptr);
    pa_stream_set_latency_update_callback(g_play, on_timing, nullptr);
    g_play_place.name = sink;
    g_play_sleeps = false;
    g_fade = Fade::kAwaited;
    g_fade_left = kFadeAwaited;
    g_cushion.restart();
    g_stretch.restart();
    g_drift.forget();
    g_queue = {};
    pa_buffer_attr buffers = default_buffers();
    buffers.maxlength = bytes_of(kMaxLengthUs);
    buffers.tlength = bytes_of(Cushion::kTargetUs);
    buffers.prebuf = bytes_of(kPrebufUs);
    pa_cvolume full;
    pa_cvolume_set(&full, kChannels, PA_VOLUME_NORM);
    constexpr unsigned kFlags =
        PA_STREAM_INTERPOLATE_TIMING | PA_STREAM_AUTO_TIMING_UPDATE | PA_STREAM_DONT_MOVE;
    ready =
        pa_stream_connect_playback(g_play, sink.c_str(), &buffers,
                                   static_cast<pa_stream_flags_t>(kFlags), &full, nullptr) >= 0 &&
        wait_stream_ready(lock, g_play) && has_device(g_play, sink);
  }
  if (ready) {
    g_play_place.index = pa_stream_get_device_index(g_play);
    g_play_fault_said = false;
    return true;
  }
  if (!server_silent(lock))
    warn_once(&g_play_fault_said, "Cannot play to " + sink + ": " + fault(lock, g_play));
  close_play(lock);
  return false;
}

bool record_alive(const LoopLock& /*lock*/, const SinkInfo& monitored, bool routed) {
  return good(g_rec) && g_rec_routed == routed &&
         is_on(g_rec, {monitored.monitor, monitored.monitor_index});
}

bool play_alive(const LoopLock& /*lock*/, const SinkInfo& sink) {
  return good(g_play) && is_on(g_play, {sink.name, sink.index});
}

bool streams_alive(const LoopLock& /*lock*/) {
  return good(g_rec) && good(g_play);
}

void expect_sound() {
  if (std::exchange(g_rec_rests, false)) dismiss(pa_stream_cork(g_rec, 0, nullptr, nullptr));
  g_quiet_frames = 0;
  pace(false);
}

void rest_spectrum(const LoopLock& /*lock*/, bool device_in_use) {
  if (device_in_use && g_rec_rests) expect_sound();
  if (device_in_use || !g_idle || std::exchange(g_rec_rests, true)) return;
  dismiss(pa_stream_cork(g_rec, 1, nullptr, nullptr));
}

bool record_delivers(const LoopLock& lock, int ms) {
  return wait_flag(lock, g_rec_delivers, ms);
}

void set_curve(const eq::Curve& curve) {
  const std::lock_guard lock(g_curve_mtx);
  g_curve = curve;
  g_curve_version.fetch_add(1, std::memory_order_release);
}

bool tap(float* left, float* right, int n, float* rate, std::uint64_t* serial) {
  const std::lock_guard lock(g_tap_mtx);
  if (serial != nullptr) *serial = g_tap_serial;
  if (rate != nullptr) *rate = static_cast<float>(kRate);
  if (g_tap_serial == 0) return false;
  const int count = std::clamp(n, 0, kTapFrames);
  const int from = (g_tap_pos - count + kTapFrames) % kTapFrames;
  const int first = std::min(count, kTapFrames - from);
  const auto copy = [&](const std::array<float, kTapFrames>& ring, float* out) {
    std::copy_n(ring.begin() + from, first, out);
    std::copy_n(ring.begin(), count - first, out + first);
  };
  copy(g_tap_l, left);
  copy(g_tap_r, right);
  return true;
}

void take_peaks(float* left, float* right) {
  *left = g_peak_l.exchange(0.0F);
  *right = g_peak_r.exchange(0.0F);
}

void report_stats() {
  const std::uint64_t drops = g_drop_events.load();
  const std::uint64_t underflows = g_underflows.load();
  if (drops == g_reported_drops && underflows == g_reported_underflows) return;
  logger::info("Audio path last minute: " + std::to_string(drops - g_reported_drops) +
               "x dropped, " + std::to_string(underflows - g_reported_underflows) +
               "x buffer underrun");
  g_reported_drops = drops;
  g_reported_underflows = underflows;
}

void report_totals() {
  if (g_dropped == 0 && g_underflows == 0) return;
  logger::info("Audio path total: dropped " + std::to_string(g_dropped.load()) + " bytes in " +
               std::to_string(g_drop_events.load()) + " chunks, buffer underruns " +
               std::to_string(g_underflows.load()));
}

}  // namespace audio
