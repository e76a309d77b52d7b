// Clock drift. Our virtual sink runs on the system's timer, the real device on its own crystal. If
// they differ by a few hundred parts per million, the queue between them grows or shrinks by some
// milliseconds a minute, until it has to be cut or runs dry. So the queue is observed, and the
// sound is played very slightly faster or slower, in inaudible steps.
//
// Pure arithmetic; allocates nothing. Loop thread.
#pragma once

namespace audio {

// Finds the speed that keeps a queue at its target.
class DriftControl {
 public:
  // 2.6 cents, a quarter of what trained ears notice.
  static constexpr double kMaxSpeed = 0.0015;

  // Forgets everything: another device has another clock.
  void forget();
  // Forgets the observations, because the queue was emptied or filled by other means. The clocks
  // have not changed.
  void restart();

  // Call it for every block of `seconds`. `excess_us` is the length of the queue beyond its target.
  // Returns how much faster than recorded to play the sound (0.0002 is 200 parts per million);
  // exactly 0 until there is a drift.
  double update(double excess_us, double seconds);
  // The same without an observation of the queue.
  [[nodiscard]] double speed() const { return speed_; }

 private:
  double mean_us_ = 0.0;   // of the excess
  double slow_us_ = 0.0;   // the same over a longer time
  double since_ = 0.0;     // s since the last decision
  double settled_ = 0.0;   // s that went into the means
  double integral_ = 0.0;  // the drift as known so far
  double speed_ = 0.0;
  bool engaged_ = false;
};

}  // namespace audio
