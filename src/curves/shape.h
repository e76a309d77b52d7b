// Internal: the content of an equalizer file of any format, passed from the readers to the fit.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "curves/curve_files.h"

namespace curves {

// The sample rate in Hz at which a file's filters are evaluated.
inline constexpr double kRate = 48000.0;

enum class Kind { kPeak, kLowShelf, kHighShelf, kLowPass, kHighPass, kBandPass };

struct Filter {
  Kind kind = Kind::kPeak;
  double hz = 0.0;       // above 0, below half the sample rate
  double gain_db = 0.0;  // no meaning for a pass
  double q = 0.0;        // above 0
};

// The Q of a bandwidth in octaves at hz, and of a shelf's slope, where 1 is the steepest without an
// overshoot. The latter is NaN for a slope that is too steep for the gain.
double q_of_bandwidth(double octaves, double hz);
double q_of_slope(double slope, double gain_db);

struct Point {
  double hz = 0.0;
  double gain_db = 0.0;
};
using Graph = std::vector<Point>;  // ascending, not empty

struct Shape {
  std::vector<Filter> filters;
  std::vector<Graph> graphs;
  double preamp_db = 0.0;
  std::vector<std::string> left_out;
};

// The response in dB at hz, without the preamp: the sum of all filters and graphs.
double response_db(const Shape& shape, double hz);

// The readers. Each fills an empty shape from UTF-8, or returns why it refuses.
std::optional<Refusal> read_apo(std::string_view text, Shape* shape);
std::optional<Refusal> read_easyeffects(std::string_view text, Shape* shape);

// Converts a text file to UTF-8, from UTF-8, UTF-16 with a byte order mark, or else Windows-1252.
// False if it is not a text.
bool decode(std::string_view bytes, std::string* text);

// Whether a value is plausible; a NaN never is.
bool sane_gain(double db);
bool sane_hz(double hz);
bool sane_q(double q);

}  // namespace curves
