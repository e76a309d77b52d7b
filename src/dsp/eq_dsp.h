// The equalizer's curve, its presets and the processor that applies a curve to samples.
//
// Vocabulary: a *sample* is one float of one channel; a *frame* is one sample of every channel; a *band* is
// one of the ten fixed peaking filters.
#pragma once

#include <string>

namespace eq {

inline constexpr int kBands = 10;

// Centre frequencies of the ten bands in Hz.
inline constexpr float kFreq[kBands] = {31.0F,   62.0F,   125.0F,  250.0F,  500.0F,
                                        1000.0F, 2000.0F, 4000.0F, 8000.0F, 16000.0F};

// An equalizer setting: the gain of each band and the overall gain after the bands, in dB.
struct Curve {
  float gain[kBands] = {};
  float preamp = 0.0F;
};

struct PresetDef {
  const char* key;
  Curve curve;
};

Curve standard_curve();
const char* band_label(int band);
const PresetDef* presets(int* count);
Curve preset_curve(int index);
int find_preset(const std::string& key);
bool same(const Curve& a, const Curve& b);
int match_preset(const Curve& c);
float response_db(const Curve& c, float rate, float freq);
float soft_limit(float x);

inline constexpr int kMaxChannels = 8;

class Processor {
 public:
  void set_format(float rate, int channels);
  void set_curve(const Curve& c);
  void reset();
  void recompute();
  void process(float* samples, int frames);
};

}  // namespace eq
