// How long the queue of the playback stream is, from the server's reports and from when sound came.
//
// Pure arithmetic; allocates nothing. Loop thread.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

namespace audio {

class QueueMeter {
 public:
  using Clock = std::chrono::steady_clock;

  // The server's timing report on the stream.
  struct Timing {
    std::int64_t fill_us = 0;    // in the stream, not yet taken by the device
    std::int64_t device_us = 0;  // taken, not yet heard
    bool playing = false;
  };

  // The stream is empty. On the same device nothing is forgotten of the device's own delay.
  void restart(bool same_device);
  // Something happened that may have changed the queue: what was measured no longer counts.
  void look_again();

  // `frames` were recorded; the `following` ones will be reported by calls of their own.
  void recorded(std::size_t frames, std::size_t following, Clock::time_point now);
  void wrote(std::size_t frames) { written_ += static_cast<std::int64_t>(frames); }
  // `at` is when the server looked.
  void report(const Timing& timing, Clock::time_point at);
  // Whether reports told of far more sound than was written since the stream ran dry, some dry
  // moments in a row. Call with each report.
  [[nodiscard]] bool miscounted(const Timing& timing);
  // Whether to ask the server for a report now. Call once after each fragment.
  bool wants_report();

  // How long the queue is now, in us; nothing while the server has not reported since the restart.
  [[nodiscard]] std::optional<std::int64_t> length_us(Clock::time_point now) const;
  // What has been written since the restart, in us.
  [[nodiscard]] std::int64_t written_us() const;
  // How long it is right after sound has come in time and been written, in us, exact to some tenths
  // of a millisecond; nothing until it has been measured for a while.
  [[nodiscard]] std::optional<std::int64_t> settled_us() const;
  [[nodiscard]] bool playing() const { return looks_ > 0; }

 private:
  static constexpr std::int64_t kNeverSeen = std::numeric_limits<std::int64_t>::max();
  static constexpr std::int64_t kNeverDry = -1;
  static constexpr int kKept = 8;

  // Points in time, in us, each of which should be the same and is late by chance: the newest few.
  struct Line {
    std::array<std::int64_t, kKept> kept{};
    void add(std::int64_t us, int place) { kept[static_cast<std::size_t>(place % kKept)] = us; }
    void lower(std::int64_t us, int place) {
      add(std::min(us, kept[static_cast<std::size_t>(place % kKept)]), place);
    }
    [[nodiscard]] std::int64_t least(int n) const {
      return *std::min_element(kept.begin(), kept.begin() + std::min(n, kKept));
    }
  };

  std::int64_t recorded_ = 0;        // frames
  std::int64_t written_ = 0;         // frames
  std::int64_t written_before_ = 0;  // the restart
  std::int64_t dry_at_ = kNeverDry;  // of these, when it ran dry, until a report has told of that
  int miscounts_ = 0;                // dry moments in a row
  bool known_ = false;               // there was a report since the restart
  std::int64_t idle_us_ = 0;         // before it plays: the fill level, less what had been written
  // While it plays:
  Line runs_out_;                      // when the stream had run out, had nothing been written
  Line came_;                          // when the sound had begun, had it always come
  std::int64_t came_us_ = kNeverSeen;  // the least of that since the last report
  int looks_ = 0;                      // reports since the restart
  Line device_;                        // what the device had taken and not yet played
  std::int64_t device_most_us_ = 0;    // the most of that since the restart
  std::int64_t device_us_ = 0;         // what it delays by itself, and does not count
  std::int64_t device_us_before_ = 0;  // the same before the restart
  int new_looks_ = 0;                  // reports since look_again
  int fragments_ = 0;                  // the same
  int until_report_ = 0;               // fragments
};

}  // namespace audio
