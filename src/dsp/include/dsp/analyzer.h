// The spectrum display: 4096 samples to 31 one-third-octave bars, and the smoothing of bars and
// meters over time.
//
// Levels are in dB, 0 dB is full scale; times are in seconds, frequencies and rates in Hz. Thread:
// the one that draws. compute has static working storage and must not run on two threads at once;
// the rest are plain values and pure functions. No function fails.
#pragma once

namespace analyzer {

inline constexpr int kBars = 31;
inline constexpr int kFftSize = 4096;
inline constexpr float kFloorDb = -66.0F;  // bottom of the display

// Centre frequencies of the bars in Hz: the one-third-octave series.
inline constexpr float kBarFreq[kBars] = {
    20.0F,   25.0F,   31.5F,   40.0F,    50.0F,    63.0F,    80.0F,   100.0F,
    125.0F,  160.0F,  200.0F,  250.0F,   315.0F,   400.0F,   500.0F,  630.0F,
    800.0F,  1000.0F, 1250.0F, 1600.0F,  2000.0F,  2500.0F,  3150.0F, 4000.0F,
    5000.0F, 6300.0F, 8000.0F, 10000.0F, 12500.0F, 16000.0F, 20000.0F};

// The window: kFftSize values, 0 at both ends. Computed on the first call, lives for ever.
const double* hann();

// Levels of the bars in dB, tilted by +1.5 dB per octave about 1 kHz so that music stands roughly
// level. A bar that reaches the Nyquist frequency is -140.
//   samples  exactly kFftSize mono samples, oldest first
//   rate     their sample rate
//   out      receives kBars values
// The first call computes tables for the later ones. Never allocates.
void compute(const float* samples, float rate, float* out);

// The level of an amplitude in dB; -140 for 1e-7 and below.
float to_db(float x);

// Label below a bar ("20" ... "16k"); "" for bars without one. The string lives for ever.
const char* bar_label(int bar);

// The bars' motion: levels rise smoothly and fall steadily, and peaks hold for a while. A level
// that is not finite counts as the floor.
struct Ballistics {
  float level[kBars]{};  // dB, kFloorDb and up
  float peak[kBars]{};   // dB, never below level
  float hold[kBars]{};   // seconds for which the peak still stays

  Ballistics();

  // Advances by dt seconds towards kBars new levels in dB.
  void update(const float* bars, float dt);

  // Advances by dt seconds of silence.
  void decay(float dt);
};

// One channel's meter: rises immediately, falls steadily, with a peak that holds for a while. The
// owner sets the initial values. A level that is not finite counts as the floor.
struct PeakMeter {
  float level = kFloorDb;  // dB
  float peak = kFloorDb;   // dB, never below level
  float hold = 0.0F;       // seconds for which the peak still stays

  // Advances by dt seconds to a new level in dB.
  void update(float db, float dt);
};

}  // namespace analyzer
