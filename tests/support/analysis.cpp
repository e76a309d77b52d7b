// DESIGN: plain loops in double precision; recordings are seconds long and clarity is worth more
// than speed.
#include "analysis.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace support {

double db_to_amplitude(double db) {
  return std::pow(10.0, db / 20.0);
}

double amplitude_to_db(double amplitude) {
  return amplitude > 0 ? 20.0 * std::log10(amplitude) : -std::numeric_limits<double>::infinity();
}

// The amplitudes of sine and cosine that fit the samples best (least squares, weighted with a Hann
// window so that other tones do not leak in). Solving for both at once makes up for windows that
// hold no whole number of periods.
double level_db(std::span<const float> samples, double frequency_hz) {
  double ss = 0;
  double sc = 0;
  double cc = 0;
  double xs = 0;
  double xc = 0;
  const auto n = static_cast<double>(samples.size());
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const auto t = static_cast<double>(i);
    const double weight = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * (t + 0.5) / n);
    const double phase = 2 * std::numbers::pi * frequency_hz * t / kRate;
    const double s = std::sin(phase);
    const double c = std::cos(phase);
    ss += weight * s * s;
    sc += weight * s * c;
    cc += weight * c * c;
    xs += weight * s * static_cast<double>(samples[i]);
    xc += weight * c * static_cast<double>(samples[i]);
  }
  const double determinant = ss * cc - sc * sc;
  if (determinant <= 0) return -std::numeric_limits<double>::infinity();
  const double a = (xs * cc - xc * sc) / determinant;
  const double b = (xc * ss - xs * sc) / determinant;
  return amplitude_to_db(std::hypot(a, b));
}

double peak(std::span<const float> samples) {
  double result = 0;
  for (const float x : samples)
    result = std::max(result, std::abs(static_cast<double>(x)));
  return result;
}

double rms(std::span<const float> samples) {
  if (samples.empty()) return 0;
  double sum = 0;
  for (const float x : samples)
    sum += static_cast<double>(x) * static_cast<double>(x);
  return std::sqrt(sum / static_cast<double>(samples.size()));
}

double longest_gap_ms(std::span<const float> samples, double threshold) {
  std::size_t longest = 0;
  std::size_t run = 0;
  for (const float x : samples) {
    run = std::abs(static_cast<double>(x)) < threshold ? run + 1 : 0;
    longest = std::max(longest, run);
  }
  return 1000.0 * static_cast<double>(longest) / kRate;
}

double max_jump(std::span<const float> samples) {
  double result = 0;
  for (std::size_t i = 1; i < samples.size(); ++i) {
    result = std::max(
        result, std::abs(static_cast<double>(samples[i]) - static_cast<double>(samples[i - 1])));
  }
  return result;
}

std::optional<std::size_t> delay_frames(std::span<const float> reference,
                                        std::span<const float> delayed, std::size_t max_delay) {
  std::optional<std::size_t> best;
  double best_match = 0;
  for (std::size_t delay = 0; delay <= max_delay && delay < delayed.size(); ++delay) {
    const std::size_t n = std::min(reference.size(), delayed.size() - delay);
    double product = 0;
    double energy = 0;
    double reference_energy = 0;
    for (std::size_t i = 0; i < n; ++i) {
      const auto a = static_cast<double>(reference[i]);
      const auto b = static_cast<double>(delayed[i + delay]);
      product += a * b;
      energy += b * b;
      reference_energy += a * a;
    }
    if (energy <= 0 || reference_energy <= 0) continue;
    const double match = product / std::sqrt(energy * reference_energy);
    if (match > best_match) {
      best_match = match;
      best = delay;
    }
  }
  return best;
}

std::vector<std::size_t> click_positions(std::span<const float> samples, double threshold,
                                         std::size_t min_distance) {
  std::vector<std::size_t> result;
  std::size_t last = 0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (std::abs(static_cast<double>(samples[i])) < threshold) continue;
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
