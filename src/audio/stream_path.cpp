// DESIGN: the path of a sample is record stream -> equalizer -> tap -> play queue -> playback
// stream, all in the record stream's callback. Fragments are handled in blocks (kBlockFrames), so
// that a long one is treated like several short ones, and no buffer ever grows.
//
// The callback allocates nothing, logs nothing and waits for nothing: the curve is taken when its
// lock is free (at the next block otherwise), and the tap's lock is only ever held for a copy.
#include "stream_path.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include "app/logger.h"
#include "audio_private.h"
#include "block.h"
#include "equalizer.h"
#include "tap.h"

namespace audio {

namespace {

Equalizer g_equalizer;
Tap g_tap;
std::array<float, std::size_t{2} * kBlockFrames> g_block{};  // loop thread

// Counted with the main-loop lock held, read anywhere.
std::atomic<std::uint64_t> g_dropped{0};  // bytes
std::atomic<std::uint64_t> g_drop_events{0};
std::atomic<std::uint64_t> g_underflows{0};

std::atomic<std::uint64_t> g_inserted{0};  // bytes of silence
std::atomic<std::uint64_t> g_insert_events{0};
// The last dry moment not yet logged: a DryMoment's cause and duration in one number; -1 for none.
std::atomic<std::int64_t> g_dry_moment{-1};
constexpr std::int64_t kCauses = 4;

// Control thread: what has been logged.
std::uint64_t g_logged_drops = 0;
std::uint64_t g_logged_underflows = 0;
std::uint64_t g_logged_inserts = 0;
std::optional<Clock::time_point> g_dry_logged_at;

constexpr std::chrono::seconds kDryMomentEvery{60};

std::string text_of(DryMoment::Cause cause, std::int64_t late_us) {
  const std::string ms = std::to_string(late_us / 1000) + " ms";
  switch (cause) {
    case DryMoment::Cause::kLateRecord:
      return "no sound was recorded for " + ms;
    case DryMoment::Cause::kLatePlayback:
      return "sound came " + ms + " late: this program or the server's thread for it did not run";
    case DryMoment::Cause::kServer:
      break;
  }
  return "sound came in time, the server lost cycles";
}

}  // namespace

void restart_path() {
  g_equalizer.restart();
}

void apply_curve_unheard() {
  g_equalizer.apply_unheard();
}

void process_fragment(std::span<const float> samples) {
  while (!samples.empty()) {
    const std::size_t n = std::min(samples.size(), g_block.size());
    const std::span<float> block = std::span(g_block).first(n);
    std::ranges::copy(samples.first(n), block.begin());
    samples = samples.subspan(n);

    g_equalizer.process(block);
    g_tap.push(block);
    play(block, samples.size());
  }
}

void show_fragment(std::span<const float> samples) {
  g_tap.push(samples);
}

bool path_silent() {
  return g_equalizer.silent();
}

bool inaudible(std::span<const float> samples) {
  constexpr float kLeast = 1.0F / (1 << 24);
  return std::ranges::all_of(samples, [](float x) { return std::abs(x) < kLeast; });
}

void count_lost(std::span<const float> samples) {
  if (!inaudible(samples)) count_lost(samples.size());
}

void count_lost(std::size_t samples) {
  g_dropped += samples * sizeof(float);
  ++g_drop_events;
}

void count_inserted(std::size_t samples) {
  g_inserted += samples * sizeof(float);
  ++g_insert_events;
}

void count_underrun(const DryMoment& why) {
  ++g_underflows;
  g_dry_moment.store(why.late_us * kCauses + static_cast<std::int64_t>(why.cause));
}

void set_curve(const eq::Curve& curve) {
  g_equalizer.set_curve(curve);
}

bool tap(float* left, float* right, int n, float* rate, std::uint64_t* serial) {
  if (rate != nullptr) *rate = static_cast<float>(kRate);
  return g_tap.copy(left, right, n, serial);
}

void take_peaks(float* left, float* right) {
  g_tap.consume_peaks(left, right);
}

void report_stats() {
  const std::uint64_t inserts = g_insert_events.load();
  if (const auto logged = std::exchange(g_logged_inserts, inserts); inserts != logged)
    logger::info("Audio path last minute: " + std::to_string(inserts - logged) +
                 "x silence inserted");
  const std::uint64_t drops = g_drop_events.load();
  const std::uint64_t underflows = g_underflows.load();
  if (drops == g_logged_drops && underflows == g_logged_underflows) return;
  logger::info("Audio path last minute: " + std::to_string(drops - g_logged_drops) + "x dropped, " +
               std::to_string(underflows - g_logged_underflows) + "x buffer underrun");
  g_logged_drops = drops;
  g_logged_underflows = underflows;
}

void report_dry_moment(Clock::time_point now) {
  if (g_dry_logged_at && now - *g_dry_logged_at < kDryMomentEvery) return;
  const std::int64_t dry = g_dry_moment.exchange(-1);
  if (dry < 0) return;
  g_dry_logged_at = now;
  logger::info("Audio path ran dry: " +
               text_of(static_cast<DryMoment::Cause>(dry % kCauses), dry / kCauses));
}

void report_totals() {
  if (g_inserted != 0) {
    logger::info("Audio path total: inserted " + std::to_string(g_inserted.load()) +
                 " bytes of silence in " + std::to_string(g_insert_events.load()) + " places");
  }
  if (g_dropped == 0 && g_underflows == 0) return;
  logger::info("Audio path total: dropped " + std::to_string(g_dropped.load()) + " bytes in " +
               std::to_string(g_drop_events.load()) + " chunks, buffer underruns " +
               std::to_string(g_underflows.load()));
}

}  // namespace audio
