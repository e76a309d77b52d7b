// DESIGN: plain loops in double precision; recordings are seconds long and clarity is worth more
// than speed.
#include "analysis.h"

#include <algorithm>
#include <complex>
#include <limits>
#include <numbers>
#include <numeric>

namespace support {
double db_to_amplitude(double db) {
  return std::pow(10.0, db / 20.0);
}

double amplitude_to_db(double amplitude) {
  return amplitude > 0 ? 20.0 * std::log10(amplitude) : -std::numeric_limits<double>::infinity();
}

// One frequency of a Fourier transform, weighted with a Hann window so that other tones do not leak
// in.
double level_db(std::span<const float> samples, double frequency_hz) {
  std::complex<double> sum = 0;
  double weights = 0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const auto t = static_cast<double>(i);
    const double turns = (t + 0.5) / static_cast<double>(samples.size());
    const double weight = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * turns);
    const double phase = 2 * std::numbers::pi * frequency_hz * t / kRate;
    sum += weight * static_cast<double>(samples[i]) * std::polar(1.0, phase);
    weights += weight;
  }
  return amplitude_to_db(2 * std::abs(sum) / weights);
}

double peak(std::span<const float> samples) {
  double result = 0;
  for (const float x : samples)
    result = std::max(result, magnitude(x));
  return result;
}

double rms(std::span<const float> samples) {
  const double sum = std::inner_product(samples.begin(), samples.end(), samples.begin(), 0.0);
  return samples.empty() ? 0 : std::sqrt(sum / static_cast<double>(samples.size()));
}

double longest_gap_ms(std::span<const float> samples, double threshold) {
  std::size_t longest = 0;
  std::size_t run = 0;
  for (const float x : samples) {
    run = magnitude(x) < threshold ? run + 1 : 0;
    longest = std::max(longest, run);
  }
  return 1000.0 * static_cast<double>(longest) / kRate;
}

double max_jump(std::span<const float> samples) {
  double result = 0;
  for (std::size_t i = 1; i < samples.size(); ++i) {
    const auto last = static_cast<double>(samples[i - 1]);
    result = std::max(result, std::abs(static_cast<double>(samples[i]) - last));
  }
  return result;
}

std::optional<std::size_t> delay_frames(std::span<const float> reference,
                                        std::span<const float> delayed, std::size_t max_delay) {
  std::optional<std::size_t> best;
  double best_match = 0;
  for (std::size_t delay = 0; delay <= max_delay && delay < delayed.size(); ++delay) {
    const auto part = delayed.subspan(delay);
    const auto n = static_cast<std::ptrdiff_t>(std::min(reference.size(), part.size()));
    const double match =
        std::inner_product(reference.begin(), reference.begin() + n, part.begin(), 0.0);
    const double energy = std::inner_product(part.begin(), part.begin() + n, part.begin(), 0.0);
    if (energy <= 0 || match / std::sqrt(energy) <= best_match) continue;
    best_match = match / std::sqrt(energy);
    best = delay;
  }
  return best;
}

std::vector<std::size_t> click_positions(std::span<const float> samples, double threshold,
                                         std::size_t min_distance) {
  std::vector<std::size_t> result;
  std::size_t last = 0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (magnitude(samples[i]) < threshold) continue;
    if (result.empty() || i - last >= min_distance) {
      result.push_back(i);
    } else if (std::abs(samples[i]) > std::abs(samples[result.back()])) {
      result.back() = i;
    }
    last = i;
  }
  return result;
}

}  // namespace support
