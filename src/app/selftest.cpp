// DESIGN: each check measures a promise (a gain at a frequency, a limit, a level) with the
// functions that the program plays and draws with. Tolerances are those of the measurement, not of
// the arithmetic.
#include "selftest.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <numbers>
#include <vector>

#include "app/settings.h"
#include "con.h"
#include "dsp/analyzer.h"
#include "dsp/eq_dsp.h"

namespace selftest {
namespace {

constexpr float kRate = 48000.0F;
constexpr int kFrames = 48000;  // one second
constexpr int kMeasuredFrames = kFrames / 2;
constexpr int kChannels = 2;
constexpr float kToneAmplitude = 0.1F;  // low enough that no gain tested here meets the limiter
constexpr int kSpectrumSamples = 4096;  // input of the analyzer

constexpr double kBandToleranceDb = 0.3;
constexpr double kPreampToleranceDb = 0.1;
constexpr double kSpectrumToleranceDb = 1.5;
constexpr double kSpectrumToleranceHz = 0.15;  // relative
constexpr double kTiltDbPerOctave = 1.5;       // the analyzer's, about 1 kHz

struct BandRow {
  int band;
  float gain_db;
  float freq_hz;
};
// The last row measures between two bands, where both contribute.
constexpr std::array kBandRows = {BandRow{5, 6.0F, 1000.0F}, BandRow{0, 12.0F, 31.0F},
                                  BandRow{9, -9.0F, 16000.0F}, BandRow{3, -12.0F, 250.0F},
                                  BandRow{5, 6.0F, 1414.0F}};
constexpr std::array kSpectrumHz = {1000.0F, 100.0F, 8000.0F};

const char* verdict(bool passed) {
  return passed ? "OK" : "FEHLER";
}

// Sample n of a sine of amplitude 1.
float sine(float freq_hz, int n) {
  constexpr float kTurn = 2.0F * std::numbers::pi_v<float>;
  return std::sin(kTurn * freq_hz * static_cast<float>(n) / kRate);
}

// RMS of a test tone after the equalizer, over the second half only: by then the filters have
// settled.
double rms_after(const eq::Curve& curve, float freq) {
  eq::Processor processor;
  processor.set_format(kRate, kChannels);
  processor.set_curve(curve);
  std::vector<float> samples(std::size_t{kFrames} * kChannels);
  for (int n = 0; n < kFrames; ++n) {
    const float value = kToneAmplitude * sine(freq, n);
    const auto frame = samples.begin() + std::ptrdiff_t{n} * kChannels;
    std::fill(frame, frame + kChannels, value);
  }
  processor.process(samples.data(), kFrames);
  double sum = 0.0;
  constexpr std::size_t kFirst = std::size_t{kFrames - kMeasuredFrames} * kChannels;
  for (std::size_t i = kFirst; i < samples.size(); i += kChannels) {
    sum += static_cast<double>(samples[i]) * static_cast<double>(samples[i]);
  }
  return std::sqrt(sum / kMeasuredFrames);
}

double decibels(double ratio) {
  return 20.0 * std::log10(ratio);
}

// Each check prints its line and returns the number of failures.

int check_band(const BandRow& row, double ref) {
  eq::Curve curve;
  curve.gain[row.band] = row.gain_db;
  const double measured = decibels(rms_after(curve, row.freq_hz) / ref);
  const auto expected = static_cast<double>(eq::response_db(curve, kRate, row.freq_hz));
  const bool passed = std::fabs(measured - expected) < kBandToleranceDb;
  con::printf("Filter  Band %-4s %+5.1f dB bei %6.0f Hz: gemessen %+6.2f dB, Kurve %+6.2f dB  %s\n",
              eq::band_label(row.band), static_cast<double>(row.gain_db),
              static_cast<double>(row.freq_hz), measured, expected, verdict(passed));
  return passed ? 0 : 1;
}

int check_preamp(double ref) {
  eq::Curve curve;
  curve.preamp = -6.0F;
  const double measured = decibels(rms_after(curve, 1000.0F) / ref);
  const bool passed = std::fabs(measured + 6.0) < kPreampToleranceDb;
  con::printf("Vorverstaerker -6 dB: gemessen %+6.2f dB  %s\n", measured, verdict(passed));
  return passed ? 0 : 1;
}

int check_limiter() {
  const float loud = eq::soft_limit(3.0F);
  // Exactly: below its threshold the limiter must not touch a single bit.
  const bool passed =
      loud <= 1.0F && eq::soft_limit(-3.0F) >= -1.0F && eq::soft_limit(0.5F) == 0.5F;
  con::printf("Begrenzer: 3.0 -> %.3f, 0.5 unveraendert  %s\n", static_cast<double>(loud),
              verdict(passed));
  return passed ? 0 : 1;
}

int check_spectrum(float freq) {
  std::vector<float> samples(kSpectrumSamples);
  for (int n = 0; n < kSpectrumSamples; ++n)
    samples[static_cast<std::size_t>(n)] = sine(freq, n);
  std::array<float, std::size(analyzer::kBarFreq)> bars{};
  analyzer::compute(samples.data(), kRate, bars.data());
  const auto strongest = std::max_element(bars.begin(), bars.end());  // the lower bar on a tie
  const auto centre = static_cast<double>(analyzer::kBarFreq[strongest - bars.begin()]);
  const auto level = static_cast<double>(*strongest);
  const auto hz = static_cast<double>(freq);
  const double expected = kTiltDbPerOctave * std::log2(hz / 1000.0);
  const bool passed = std::fabs(centre - hz) / hz < kSpectrumToleranceHz &&
                      std::fabs(level - expected) <= kSpectrumToleranceDb;
  con::printf(
      "Spektrum %5.0f Hz Vollaussteuerung: staerkstes Band %5.0f Hz bei %+5.1f dB (erwartet "
      "%+5.1f)  %s\n",
      hz, centre, level, expected, verdict(passed));
  return passed ? 0 : 1;
}

int check_seal() {
  bool round_trip = false;
  bool tamper_detected = false;
  settings::seal_selftest(&round_trip, &tamper_detected);
  con::printf("Versiegeln: hin und zurueck %s, geaendertes Byte erkannt %s\n", verdict(round_trip),
              verdict(tamper_detected));
  return (round_trip ? 0 : 1) + (tamper_detected ? 0 : 1);
}

}  // namespace

int run() {
  int failures = 0;
  const double ref = rms_after(eq::Curve{}, 1000.0F);
  for (const BandRow& row : kBandRows)
    failures += check_band(row, ref);
  failures += check_preamp(ref);
  failures += check_limiter();
  for (const float freq : kSpectrumHz)
    failures += check_spectrum(freq);
  failures += check_seal();
  if (failures == 0) {
    con::print("\nAlles in Ordnung.\n");
    return 0;
  }
  con::printf("\n%d FEHLER\n", failures);
  return 1;
}

}  // namespace selftest
