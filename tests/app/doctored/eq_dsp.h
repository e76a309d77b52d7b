// A stand-in for the real header: signal processing whose faults the test chooses, so that the
// self-test has something to find. Only what the self-test uses is here.
#pragma once

#include <cstddef>

namespace doctored {

// What is wrong; the initial values are a signal path in order.
struct Faults {
  float band_db[10] = {};       // each band's processor is off by this much
  float preamp_db = 0;          // so is the preamp
  float limit = 1.0F;           // where the limiter ends
  float half = 0.5F;            // what it makes of 0.5
  int spectrum_shift = 0;       // bars by which the strongest one is off
  float spectrum_db = 0;        // error of its level
  bool round_trip = true;       // the seal opens
  bool tamper_detected = true;  // the seal notices
};
inline Faults g_faults;

}  // namespace doctored

namespace eq {

inline constexpr int kBands = 10;

struct Curve {
  float gain[kBands] = {};
  float preamp = 0;
};

inline Curve standard_curve() {
  return {};
}

inline const char* band_label(int band) {
  constexpr const char* kLabels[] = {"31", "62", "125", "250", "500",
                                     "1k", "2k", "4k",  "8k",  "16k"};
  return kLabels[band];
}

// Gains are sums: every frequency gets all of the curve, which suffices for one band at a time.
float response_db(const Curve& c, float rate, float freq);

inline float soft_limit(float x) {
  if (x == 0.5F) return doctored::g_faults.half;
  return x > 0 ? doctored::g_faults.limit : -doctored::g_faults.limit;
}

struct Processor {
  Curve curve;
  void set_format(float rate, int channels);
  void set_curve(const Curve& c) { curve = c; }
  void process(float* samples, int frames);
};

}  // namespace eq
