// The self-test, run on signal processing whose faults are known (doctored/eq_dsp.h): it must find
// each of them, say so in the right line and count right.
#include "selftest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <numeric>
#include <string>

#include "analyzer.h"
#include "con.h"
#include "eq_dsp.h"
#include "settings.h"

namespace {

std::string g_output;  // what the self-test has printed

}  // namespace

namespace eq {

float response_db(const Curve& c, float rate, float freq) {
  EXPECT_EQ(rate, 48000.0F);
  EXPECT_GT(freq, 0);
  float sum = c.preamp;
  for (const float gain : c.gain)
    sum += gain;
  return sum;
}

void Processor::set_format(float rate, int channels) {
  EXPECT_EQ(rate, 48000.0F);
  EXPECT_EQ(channels, 2);
}

void Processor::process(float* samples, int frames) {
  EXPECT_EQ(frames, 48000);
  float db = curve.preamp;
  if (curve.preamp != 0) db += doctored::g_faults.preamp_db;
  for (int band = 0; band < kBands; ++band) {
    db += curve.gain[band];
    if (curve.gain[band] != 0) db += doctored::g_faults.band_db[band];
  }
  const float factor = std::pow(10.0F, db / 20);
  // While filters settle anything may come out: the first half must not count.
  for (int i = 0; i < frames; ++i, samples += 2) {
    samples[0] *= i < frames / 2 ? 5.0F : factor;
    samples[1] = 0;  // nor must the right channel
  }
}

}  // namespace eq

namespace analyzer {

// Finds the tone by counting the turns of the sine.
void compute(const float* samples, float rate, float* out) {
  int turns = 0;
  for (int i = 1; i < 4096; ++i)
    turns += samples[i - 1] < 0 && samples[i] >= 0 ? 1 : 0;
  const float power = std::inner_product(samples, samples + 4096, samples, 0.0F) / 4096;
  EXPECT_NEAR(power, 0.5F, 0.01F);  // full scale
  const float freq = static_cast<float>(turns) * rate / 4096;
  std::fill(out, out + std::size(kBarFreq), -66.0F);
  const auto* const bar = std::min_element(
      std::begin(kBarFreq), std::end(kBarFreq),
      [freq](float a, float b) { return std::fabs(a - freq) < std::fabs(b - freq); });
  const auto index = bar - std::begin(kBarFreq) + doctored::g_faults.spectrum_shift;
  // A tie: of two equally strong bars the lower one is the strongest.
  out[index] = out[index + 1] = 1.5F * std::log2(freq / 1000) + doctored::g_faults.spectrum_db;
}

}  // namespace analyzer

namespace settings {

void seal_selftest(bool* round_trip, bool* tamper_detected) {
  *round_trip = doctored::g_faults.round_trip;
  *tamper_detected = doctored::g_faults.tamper_detected;
}

}  // namespace settings

// The console, kept in memory.
namespace con {

void print(const std::string& text) {
  g_output += text;
}

void printf(const char* format, ...) {
  char text[200];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  g_output += text;
}

}  // namespace con

namespace {

using testing::HasSubstr;

struct Result {
  int exit_code = -1;
  std::string output;
};

Result run(const doctored::Faults& faults) {
  doctored::g_faults = faults;
  g_output.clear();
  const int exit_code = selftest::run();
  return {exit_code, g_output};
}

TEST(SelfTest, a_signal_path_in_order_passes_every_check) {
  const Result result = run({});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.output,
            "Filter  Band 1k    +6.0 dB bei   1000 Hz: gemessen  +6.00 dB, Kurve  +6.00 dB  OK\n"
            "Filter  Band 31   +12.0 dB bei     31 Hz: gemessen +12.00 dB, Kurve +12.00 dB  OK\n"
            "Filter  Band 16k   -9.0 dB bei  16000 Hz: gemessen  -9.00 dB, Kurve  -9.00 dB  OK\n"
            "Filter  Band 250  -12.0 dB bei    250 Hz: gemessen -12.00 dB, Kurve -12.00 dB  OK\n"
            "Filter  Band 1k    +6.0 dB bei   1414 Hz: gemessen  +6.00 dB, Kurve  +6.00 dB  OK\n"
            "Vorverstaerker -6 dB: gemessen  -6.00 dB  OK\n"
            "Begrenzer: 3.0 -> 1.000, 0.5 unveraendert  OK\n"
            "Spektrum  1000 Hz Vollaussteuerung: staerkstes Band  1000 Hz bei  -0.0 dB (erwartet  "
            "+0.0)  OK\n"
            "Spektrum   100 Hz Vollaussteuerung: staerkstes Band   100 Hz bei  -5.1 dB (erwartet  "
            "-5.0)  OK\n"
            "Spektrum  8000 Hz Vollaussteuerung: staerkstes Band  8000 Hz bei  +4.5 dB (erwartet  "
            "+4.5)  OK\n"
            "Versiegeln: hin und zurueck OK, geaendertes Byte erkannt OK\n"
            "\nAlles in Ordnung.\n");
}

TEST(SelfTest, every_fault_is_found_in_its_line_and_counted) {
  const doctored::Faults tolerable{.band_db = {0.29F}, .preamp_db = -0.09F, .spectrum_db = 1.4F};
  EXPECT_EQ(run(tolerable).exit_code, 0);

  const auto expect = [](const doctored::Faults& faults, int count, const std::string& line) {
    const Result result = run(faults);
    EXPECT_EQ(result.exit_code, 1) << line;
    EXPECT_THAT(result.output, HasSubstr(line));
    EXPECT_TRUE(result.output.ends_with("\n\n" + std::to_string(count) + " FEHLER\n"))
        << result.output;
  };
  expect({.band_db = {0.31F}}, 1, "gemessen +12.31 dB, Kurve +12.00 dB  FEHLER\n");
  expect({.band_db = {0, 0, 0, 0, 0, -0.5F}}, 2, "gemessen  +5.50 dB, Kurve  +6.00 dB  FEHLER\n");
  expect({.band_db = {NAN}}, 1, "Kurve +12.00 dB  FEHLER\n");
  expect({.preamp_db = 0.11F}, 1, "Vorverstaerker -6 dB: gemessen  -5.89 dB  FEHLER\n");
  expect({.limit = 1.01F}, 1, "Begrenzer: 3.0 -> 1.010, 0.5 unveraendert  FEHLER\n");
  expect({.half = std::nextafter(0.5F, 1.0F)}, 1, "0.5 unveraendert  FEHLER\n");
  expect({.spectrum_shift = 1}, 3,
         "staerkstes Band  1250 Hz bei  -0.0 dB (erwartet  +0.0)  FEHLER\n");
  expect({.spectrum_db = -1.7F}, 3,
         "staerkstes Band  8000 Hz bei  +2.8 dB (erwartet  +4.5)  FEHLER\n");
  expect({.round_trip = false}, 1, "hin und zurueck FEHLER, geaendertes Byte erkannt OK\n");
  expect({.tamper_detected = false}, 1, "hin und zurueck OK, geaendertes Byte erkannt FEHLER\n");
  expect({.limit = 2, .round_trip = false, .tamper_detected = false}, 3,
         "FEHLER, geaendertes Byte erkannt FEHLER\n");
}

}  // namespace
