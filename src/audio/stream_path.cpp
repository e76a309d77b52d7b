// DESIGN: the path of a sample is record stream -> equalizer -> tap -> play queue -> playback
// stream, all in the record stream's callback. Fragments are handled in blocks of 10 ms, so that a
// long one is treated like the same sound in short ones, and no buffer ever grows.
//
// The callback allocates nothing, logs nothing and waits for nothing: the curve is taken when its
// lock is free (at the next block otherwise), and the tap's lock is only ever held for a copy.
#include "stream_path.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <string>

#include "app/logger.h"
#include "audio_private.h"
#include "equalizer.h"
#include "tap.h"

namespace audio {

namespace {

Equalizer g_equalizer;
Tap g_tap;
std::array<float, std::size_t{2} * Equalizer::kMaxFrames> g_block{};  // loop thread

// Counted on the loop thread, read anywhere.
std::atomic<std::uint64_t> g_dropped{0};  // bytes
std::atomic<std::uint64_t> g_drop_events{0};
std::atomic<std::uint64_t> g_underflows{0};

// Control thread: what report_stats has logged.
std::uint64_t g_logged_drops = 0;
std::uint64_t g_logged_underflows = 0;

}  // namespace

void restart_path() {
  g_equalizer.restart();
}

void process_fragment(std::span<const float> samples) {
  while (!samples.empty()) {
    const std::size_t n = std::min(samples.size(), g_block.size());
    const std::span<float> block = std::span(g_block).first(n);
    std::ranges::copy(samples.first(n), block.begin());
    samples = samples.subspan(n);

    g_equalizer.process(block);
    g_tap.push(block);
    if (!play(block, samples.size())) {
      g_dropped += block.size_bytes();
      ++g_drop_events;
    }
  }
}

void show_fragment(std::span<const float> samples) {
  g_tap.push(samples);
}

bool path_silent() {
  return g_equalizer.silent();
}

void count_underrun() {
  ++g_underflows;
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
  const std::uint64_t drops = g_drop_events.load();
  const std::uint64_t underflows = g_underflows.load();
  if (drops == g_logged_drops && underflows == g_logged_underflows) return;
  logger::info("Audio path last minute: " + std::to_string(drops - g_logged_drops) + "x dropped, " +
               std::to_string(underflows - g_logged_underflows) + "x buffer underrun");
  g_logged_drops = drops;
  g_logged_underflows = underflows;
}

void report_totals() {
  if (g_dropped == 0 && g_underflows == 0) return;
  logger::info("Audio path total: dropped " + std::to_string(g_dropped.load()) + " bytes in " +
               std::to_string(g_drop_events.load()) + " chunks, buffer underruns " +
               std::to_string(g_underflows.load()));
}

}  // namespace audio
