// Measuring recorded sound. All lengths are frames at kRate, all levels dB of full scale (0 dB =
// amplitude 1). Pure functions.
#pragma once

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace support {

constexpr std::uint32_t kRate = 48000;

constexpr std::size_t frames_of(std::chrono::milliseconds length) {
  return static_cast<std::size_t>(length.count()) * kRate / 1000;
}

struct Stereo {
  std::vector<float> left;
  std::vector<float> right;
};

inline double magnitude(float sample) {
  return std::abs(static_cast<double>(sample));
}

double db_to_amplitude(double db);
// Silence is -infinity.
double amplitude_to_db(double amplitude);

// Level of the sine of this frequency in the samples; accurate to 0.01 dB over half a second, from
// 20 Hz up, also next to other tones that are 10 Hz or more away.
double level_db(std::span<const float> samples, double frequency_hz);

// Largest magnitude, and root mean square, as amplitudes.
double peak(std::span<const float> samples);
double rms(std::span<const float> samples);

// The longest run of samples whose magnitude stays below the threshold, in milliseconds: gaps in a
// tone. The runs at both ends count too.
double longest_gap_ms(std::span<const float> samples, double threshold);

// Largest difference between neighbours: a click in a smooth tone.
double max_jump(std::span<const float> samples);

// By how many frames `delayed` is later than `reference` (0 ... max_delay): the best match of the
// two in shape, at any level. Empty when one of them is silent.
std::optional<std::size_t> delay_frames(std::span<const float> reference,
                                        std::span<const float> delayed, std::size_t max_delay);

// Where clicks are: the loudest sample of every group that reaches the threshold. Samples less than
// `min_distance` apart belong to one click.
std::vector<std::size_t> click_positions(std::span<const float> samples, double threshold,
                                         std::size_t min_distance = kRate / 100);

}  // namespace support
