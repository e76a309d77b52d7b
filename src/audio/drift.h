// Clock drift: our virtual sink runs on the system's timer and the real device on a crystal of its
// own. Some hundred parts per million apart, the queue between them grows or shrinks by some
// milliseconds a minute, until it has to be cut or runs dry. So it is watched, and the sound is
// played a very little faster or slower, in steps that no ear can follow.
//
// Pure arithmetic; allocates nothing. Loop thread.
#pragma once

namespace audio {

// Finds the speed that keeps a queue at its target.
class DriftControl {
 public:
  // 2.6 cents, a quarter of what trained ears notice.
  static constexpr double kMaxSpeed = 0.0015;

  // Another device, another clock: everything that was learnt is wrong.
  void forget();
  // The queue was emptied or filled by other means: what was seen of it says nothing any more. The
  // clocks are what they were.
  void restart();

  // To be called once for every block of `seconds`. `excess_us` is what the queue holds beyond its
  // target. Returns how much faster than recorded to play the sound, 0.0002 being 200
  // parts per million; exactly 0 until there is a drift.
  double update(double excess_us, double seconds);
  // The same without a look at the queue.
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
