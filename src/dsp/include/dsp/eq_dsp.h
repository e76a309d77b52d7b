// The equalizer's curve, its presets and the processor that applies a curve to samples.
//
// Vocabulary: a *sample* is one float of one channel, full scale is +/-1.0; a *frame* is one sample
// of every channel; a *band* is one of the ten fixed peaking (bell) filters; a *curve* is what the
// user sets. Gains are in dB, frequencies and rates in Hz.
//
// Nothing here allocates, blocks, logs or fails. The free functions are pure and may be called from
// any thread; a Processor belongs to one thread at a time.
#pragma once

#include <cmath>
#include <iterator>
#include <string>

namespace eq {

inline constexpr int kBands = 10;

// Centre frequencies of the ten bands in Hz.
inline constexpr float kFreq[kBands] = {31.0F,   62.0F,   125.0F,  250.0F,  500.0F,
                                        1000.0F, 2000.0F, 4000.0F, 8000.0F, 16000.0F};

// The range of the sliders, up and down.
inline constexpr float kMaxGainDb = 12.0F;

// An equalizer setting: the gain of each band (lowest first) and the overall gain after the bands,
// in dB. A plain value; the code that edits or loads a curve keeps it in range. When a curve is
// applied, a NaN counts as 0 dB and an infinity as +/-kMaxGainDb.
struct Curve {
  float gain[kBands] = {};
  float preamp = 0.0F;

  bool operator==(const Curve&) const = default;
};

// A built-in preset. `key` is the translation key of its display name, a string that lives for
// ever.
struct PresetDef {
  const char* key;
  Curve curve;
};

// The built-in presets in the order in which they are shown and stored by index. Boosts come with a
// negative preamp, so that a boosted band does not lean on the limiter.
inline constexpr PresetDef kPresets[] = {
    {"preset_standard", {{3, 2.5F, 1.5F, 0.5F, 0, 0, 0.5F, 1.5F, 2, 2.5F}, -2}},
    {"preset_flat", {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 0}},
    {"preset_bass", {{7, 6, 5, 3, 1, 0, 0, 0, 0, 0}, -4}},
    {"preset_treble", {{0, 0, 0, 0, 0, 1, 3, 5, 6, 7}, -4}},
    {"preset_vocal", {{-3, -2, -1, 1, 3, 4, 4, 2, 0, -1}, -2}},
    {"preset_rock", {{5, 4, 2, -1, -2, -1, 2, 3, 4, 5}, -3}},
    {"preset_pop", {{-1, 1, 3, 4, 3, 0, -1, -1, 1, 2}, -2}},
    {"preset_jazz", {{3, 2, 1, 2, -1, -1, 0, 1, 2, 3}, -2}},
    {"preset_classical", {{4, 3, 2, 1, -1, -1, 0, 2, 3, 4}, -2}},
    {"preset_electronic", {{6, 5, 1, 0, -2, 1, 0, 2, 4, 5}, -4}},
    {"preset_loudness", {{6, 4, 1, 0, -1, 0, 0, 1, 3, 5}, -4}},
};
inline constexpr int kPresetCount = static_cast<int>(std::size(kPresets));

// The curve in force when no setting says otherwise; equals the first preset.
Curve standard_curve();

// Short label of a band ("31" ... "16k"); "" for anything but 0..9. The string lives for ever.
const char* band_label(int band);

// First row of kPresets. `count` receives the number of rows; may be null.
const PresetDef* presets(int* count);

// The curve of preset `index`; the flat curve for an index without a preset.
Curve preset_curve(int index);

// Index of the preset whose key is exactly `key`, or -1.
int find_preset(const std::string& key);

// True when the preamps and all ten gains differ by less than 0.05 dB each: slider steps count as
// different, rounding in a settings file does not.
bool same(const Curve& a, const Curve& b);

// Index of the first preset that is `same` as `c`, or -1.
int match_preset(const Curve& c);

// Gain of the whole curve in dB at `freq` Hz, at a sample rate of `rate` Hz: the effect of a
// Processor on a steady tone, without its limiter.
float response_db(const Curve& c, float rate, float freq);

// Samples up to the knee pass unchanged; larger ones are compressed into the range from there to
// 1.0.
inline constexpr float kLimiterKnee = 0.891F;
inline constexpr float kLimiterWidth = 1.0F - kLimiterKnee;

// The limiter's curve: the identity up to the knee, then smoothly (slope 1 at the knee) towards
// +/-1.0, which is never exceeded. Odd in x; infinities give +/-1.0, a NaN stays a NaN.
inline float soft_limit(float x) {
  const float size = std::fabs(x);
  if (size <= kLimiterKnee) return x;
  const float bent =
      kLimiterKnee + kLimiterWidth * std::tanh((size - kLimiterKnee) / kLimiterWidth);
  return std::copysign(bent, x);
}

inline constexpr int kMaxChannels = 8;

// Coefficients of one peaking filter, already divided by a0. An inactive band passes samples
// unchanged and keeps its state.
struct Band {
  double b0 = 1.0;
  double b1 = 0.0;
  double b2 = 0.0;
  double a1 = 0.0;
  double a2 = 0.0;
  bool active = false;
};

// Applies a curve to interleaved float samples: the bands in ascending order in double precision,
// then the preamp, then the limiter.
//
// A plain value: it may be copied, and all its memory is inside. A new one passes audio through
// unchanged apart from the limiter. Lifecycle: set_format, then any number of set_curve and
// process. Thread: one at a time, without locks; the fields may be read between two calls.
struct Processor {
  Band bands[kBands];
  double z1[kMaxChannels][kBands] = {};  // filter memory (transposed direct form II)
  double z2[kMaxChannels][kBands] = {};
  float rate = 48000.0F;  // Hz
  int channels = 2;       // 1..kMaxChannels
  float pre_gain = 1.0F;  // the preamp as a factor
  Curve curve;            // the curve in force

  // Sets the sample rate in Hz and the number of interleaved channels, and silences the filter
  // memory. A rate that is not above 1000 becomes 48000; channels are clamped to 1..8.
  void set_format(float new_rate, int new_channels);

  // Takes a new curve from the next sample on. The filter memory stays, so the output has no gap.
  void set_curve(const Curve& c);

  // Silences the filter memory; the curve stays.
  void reset();

  // Computes `bands` and `pre_gain` from `curve` and `rate`. Bands that are not below 0.45 * rate
  // become inactive. Called by set_format and set_curve.
  void recompute();

  // Filters `frames` frames of `channels` samples in place. Any split of a stream into blocks gives
  // the same bits, whatever instructions the machine has. A sample that is not finite counts as
  // silence, because a single one would otherwise stay in the filter memory for ever. Real-time
  // safe. Stereo with all bands active is the fast case.
  void process(float* samples, int frames);
};

}  // namespace eq
