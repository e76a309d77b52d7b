// Internal: what a file asks for, whatever its format, as the readers hand it to the fit.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "curves/curve_files.h"

namespace curves {

// The sample rate in Hz at which a file's filters are what they are.
inline constexpr double kRate = 48000.0;

enum class Kind { kPeak, kLowShelf, kHighShelf, kLowPass, kHighPass, kBandPass };

struct Filter {
  Kind kind = Kind::kPeak;
  double hz = 0.0;       // above 0, below half the sample rate
  double gain_db = 0.0;  // no meaning for a pass
  double q = 0.0;        // above 0
};

// The quality that a bandwidth in octaves gives at hz, and the one that a shelf's slope gives, 1
// being the steepest without a bump. The latter is NaN for a slope that is too steep for the gain.
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

// The readers. UTF-8 in; each fills a new shape, or says why not.
std::optional<Refusal> read_apo(std::string_view text, Shape* shape);
std::optional<Refusal> read_easyeffects(std::string_view text, Shape* shape);

// The bytes of a text file as UTF-8, from UTF-8, from UTF-16 with a byte order mark, or else from
// Windows-1252. False when it is no text.
bool decode(std::string_view bytes, std::string* text);

// Whether a value can be meant; a NaN never is.
bool sane_gain(double db);
bool sane_hz(double hz);
bool sane_q(double q);

}  // namespace curves
