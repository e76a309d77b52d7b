// How long the phases of a frame take: one log line every ten seconds in debug builds, nothing at
// all in release builds. Main thread.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "app/logger.h"
#include "gfx/gfx.h"

namespace platform::stats {

#ifdef NDEBUG
inline constexpr bool kEnabled = false;
#else
inline constexpr bool kEnabled = true;
#endif

enum class Phase { OnFrame, Draw, Compose, Present };
inline constexpr std::size_t kPhases = 4;

using Clock = std::chrono::steady_clock;

struct Totals {
  std::array<Clock::duration, kPhases> spent{};
  Clock::time_point since = Clock::now();
  int frames = 0;  // presented
};

inline Totals& totals() {
  static Totals t;
  return t;
}

inline void report() {
  constexpr std::array<const char*, kPhases> kNames{"on_frame", "draw", "compose", "present"};
  Totals& t = totals();
  if (Clock::now() - t.since < std::chrono::seconds(10)) return;
  std::string line = "Frames: " + std::to_string(t.frames);
  for (std::size_t i = 0; i < kPhases; ++i) {
    const auto us = std::chrono::duration_cast<std::chrono::microseconds>(t.spent[i]).count();
    line += std::string(", ") + kNames[i] + " " + std::to_string(us) + " us";
  }
  logger::info(line + ", " + std::to_string(gfx::draw_calls()) + " drawing calls so far");
  t = Totals{};
}

// Adds the time until the end of the scope to a phase.
class Scope {
 public:
  explicit Scope([[maybe_unused]] Phase phase) {
    if constexpr (kEnabled) {
      phase_ = phase;
      start_ = Clock::now();
    }
  }
  ~Scope() { end(); }
  // Ends the phase and begins the next.
  void next([[maybe_unused]] Phase phase) {
    if constexpr (kEnabled) {
      end();
      phase_ = phase;
      start_ = Clock::now();
    }
  }
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;

 private:
  void end() const {
    if constexpr (kEnabled) {
      totals().spent[static_cast<std::size_t>(phase_)] += Clock::now() - start_;
      if (phase_ == Phase::Present) ++totals().frames;
      report();
    }
  }

  Phase phase_{};
  Clock::time_point start_{};
};

}  // namespace platform::stats
