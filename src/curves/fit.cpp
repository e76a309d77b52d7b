// DESIGN: least squares over log frequency between the file's response and ours, by Gauss-Newton:
// in decibels a band's response is nearly proportional to its gain, so a few linear steps are
// enough. The ten gains are bounded; the level is free, because the preamp corrects it.
//
// The sliders move in half decibels. Rounding each gain by itself would add the errors of
// neighbours that overlap; so they are rounded from the lowest to the highest, fitting the
// remaining ones again each time, and then single and paired steps are tried. If half decibels
// would add noticeably to a small error, the gains are rounded to tenths or hundredths.
#include "fit.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace curves {
namespace {

constexpr std::size_t kBands = eq::kBands;
constexpr double kMostGainDb = eq::kMaxGainDb;
constexpr double kLowestHz = 20.0;
constexpr double kPointsPerOctave = 24.0;
constexpr std::size_t kPoints = 240;  // up to 19.9 kHz
constexpr double kDimHz = 16000.0;
constexpr double kDimWeight = 0.3;

constexpr int kSteps = 6;  // of Gauss-Newton; three are enough for most
constexpr double kTinyStepDb = 1e-4;
constexpr double kProbeDb = 0.25;  // half of a difference from which a slope is taken
constexpr int kSweeps = 2000;      // at most, of the solver within bounds
constexpr double kSolvedDb = 1e-9;

// The weight of a decibel of gain against one of error, tried in turn; and how much that may add to
// the rms error.
constexpr std::array kModesty = {0.03, 0.01, 0.003, 0.001, 0.0};
constexpr double kModestyDb = 0.005;

constexpr std::array kGridDb = {0.5, 0.1, 0.01};
constexpr double kRoundingDb = 0.015;  // what rounding may add to the rms error
constexpr double kBoundStepDb = 0.5;
constexpr double kHairDb = 1e-3;  // a maximum this close to a step is on it

constexpr double kSameHz = 0.01;  // as a share: 31.25 is printed as 31
constexpr double kOurQ = 1.41;
constexpr double kSameQ = 0.006;  // the square root of two is printed as 1.41

using Gains = std::array<double, kBands>;
using Matrix = std::array<Gains, kBands>;
using Response = std::array<double, kPoints>;

double hz_at(std::size_t point) {
  return kLowestHz * std::exp2(static_cast<double>(point) / kPointsPerOctave);
}

double weight_at(std::size_t point) {
  return hz_at(point) > kDimHz ? kDimWeight : 1.0;
}

template <typename F>
double weighted_mean(F value_at) {
  double sum = 0.0;
  double weights = 0.0;
  for (std::size_t k = 0; k < kPoints; ++k) {
    sum += weight_at(k) * value_at(k);
    weights += weight_at(k);
  }
  return sum / weights;
}

void remove_level(Response* r) {
  const double level = weighted_mean([&](std::size_t k) { return (*r)[k]; });
  for (double& db : *r)
    db -= level;
}

Response response_of(const eq::Curve& curve) {
  Response r;
  for (std::size_t k = 0; k < kPoints; ++k) {
    r[k] = static_cast<double>(
        eq::response_db(curve, static_cast<float>(kRate), static_cast<float>(hz_at(k))));
  }
  return r;
}

eq::Curve curve_of(const Gains& gains) {
  eq::Curve curve;
  std::transform(gains.begin(), gains.end(), std::begin(curve.gain),
                 [](double db) { return static_cast<float>(db + 0.0); });
  return curve;
}

// The maximum over all frequencies, including the bands' centres, where single bands have theirs.
double highest_db(const eq::Curve& curve) {
  const Response r = response_of(curve);
  double highest = *std::max_element(r.begin(), r.end());
  for (const float hz : eq::kFreq) {
    const float at_center = eq::response_db(curve, static_cast<float>(kRate), hz);
    highest = std::max(highest, static_cast<double>(at_center));
  }
  return highest;
}

// How the response changes with one gain, per decibel, the level aside.
Response slope_of(std::size_t band, double gain_db) {
  eq::Curve above;
  eq::Curve below;
  above.gain[band] = static_cast<float>(gain_db + kProbeDb);
  below.gain[band] = static_cast<float>(gain_db - kProbeDb);
  Response slope = response_of(above);
  const Response less = response_of(below);
  for (std::size_t k = 0; k < slope.size(); ++k)
    slope[k] = (slope[k] - less[k]) / (2.0 * kProbeDb);
  remove_level(&slope);
  return slope;
}

// The error's mean square as a function of the gains, but for a constant: gains' * h * gains / 2 -
// b * gains.
struct Quadratic {
  Matrix h{};
  Gains b{};
  double most_gain_db = kMostGainDb;  // the upper bound of every gain

  [[nodiscard]] double slope(const Gains& gains, std::size_t i) const {
    double sum = -b[i];
    for (std::size_t j = 0; j < gains.size(); ++j)
      sum += h[i][j] * gains[j];
    return sum;
  }

  // Moves the gains from `first` on to the minimum within the bounds, one at a time, repeatedly;
  // they overlap little enough for that.
  void minimize(Gains* gains, std::size_t first) const {
    double moved = kMostGainDb;
    for (int sweep = 0; sweep < kSweeps && moved > kSolvedDb; ++sweep) {
      moved = 0.0;
      for (std::size_t i = first; i < gains->size(); ++i) {
        const double old = (*gains)[i];
        (*gains)[i] = std::clamp(old - slope(*gains, i) / h[i][i], -kMostGainDb, most_gain_db);
        moved = std::max(moved, std::fabs((*gains)[i] - old));
      }
    }
  }
};

// The error about the given gains.
Quadratic model(const Response& target, const Gains& gains) {
  std::array<Response, kBands> slopes;
  for (std::size_t i = 0; i < kBands; ++i)
    slopes[i] = slope_of(i, gains[i]);
  Response rest = response_of(curve_of(gains));
  for (std::size_t k = 0; k < rest.size(); ++k)
    rest[k] = target[k] - rest[k];
  remove_level(&rest);

  const auto product = [](const Response& x, const Response& y) {
    return weighted_mean([&](std::size_t k) { return x[k] * y[k]; });
  };
  Quadratic q;
  for (std::size_t i = 0; i < gains.size(); ++i) {
    q.b[i] = product(slopes[i], rest);
    for (std::size_t j = 0; j < gains.size(); ++j) {
      q.h[i][j] = product(slopes[i], slopes[j]);
      q.b[i] += q.h[i][j] * gains[j];
    }
  }
  return q;
}

double to_grid(double db, double grid_db) {
  return std::round(db / grid_db) * grid_db;
}

// Tries single and paired steps of the grid until none is an improvement.
void improve(const Quadratic& q, double grid_db, Gains* gains) {
  const auto try_steps = [&](std::size_t i, double step_i, std::size_t j, double step_j) {
    Gains moved = *gains;
    moved[i] += step_i;
    if (j != i) moved[j] += step_j;
    for (const double db : {moved[i], moved[j]}) {
      if (db < -kMostGainDb || db > q.most_gain_db) return false;
    }
    // The error is a parabola along a line: its change is the step times the slope half-way.
    Gains half = *gains;
    half[i] = (half[i] + moved[i]) / 2.0;
    half[j] = (half[j] + moved[j]) / 2.0;
    double change = step_i * q.slope(half, i);
    if (j != i) change += step_j * q.slope(half, j);
    if (change > -1e-12) return false;
    *gains = moved;
    return true;
  };
  for (bool better = true; better;) {
    better = false;
    for (std::size_t i = 0; i < gains->size(); ++i) {
      for (std::size_t j = i; j < gains->size(); ++j) {
        for (const double step : {grid_db, -grid_db})
          better = try_steps(i, step, j, step) || try_steps(i, step, j, -step) || better;
      }
    }
  }
}

Gains rounded(const Quadratic& q, Gains gains, double grid_db) {
  for (std::size_t i = 0; i < gains.size(); ++i) {
    gains[i] = std::min(to_grid(gains[i], grid_db), std::floor(q.most_gain_db / grid_db) * grid_db);
    q.minimize(&gains, i + 1);
  }
  improve(q, grid_db, &gains);
  return gains;
}

// Computes the error of the gains, and the preamp on a grid: the file's level, but not so high that
// anything gets louder than full scale.
Fit judged(const Response& target, double file_preamp_db, const Gains& gains, double grid_db) {
  Fit f;
  f.curve = curve_of(gains);
  const Response ours = response_of(f.curve);
  Response error;
  for (std::size_t k = 0; k < error.size(); ++k)
    error[k] = target[k] - ours[k];
  const double level_db = weighted_mean([&](std::size_t k) { return error[k]; });
  remove_level(&error);
  f.rms_db = std::sqrt(weighted_mean([&](std::size_t k) { return error[k] * error[k]; }));
  const auto worst = std::max_element(
      error.begin(), error.end(), [](double a, double b) { return std::fabs(a) < std::fabs(b); });
  f.worst_db = std::fabs(*worst);
  f.worst_hz = hz_at(static_cast<std::size_t>(worst - error.begin()));

  const double room_db = std::floor((kHairDb - highest_db(f.curve)) / grid_db) * grid_db;
  const double preamp_db = std::min(to_grid(file_preamp_db + level_db, grid_db), room_db);
  // Adding zero turns a negative zero into a positive one.
  f.curve.preamp = static_cast<float>(std::clamp(preamp_db, -kMostGainDb, kMostGainDb) + 0.0);
  return f;
}

// The gains of a file whose filters are our bands.
std::optional<Gains> own_gains(const Shape& shape) {
  if (!shape.graphs.empty()) return std::nullopt;
  Gains gains{};
  std::array<bool, kBands> set{};
  for (const Filter& f : shape.filters) {
    const auto* const band = std::find_if(
        std::begin(eq::kFreq), std::end(eq::kFreq),
        [&](float hz) { return std::fabs(f.hz / static_cast<double>(hz) - 1.0) < kSameHz; });
    const auto i = static_cast<std::size_t>(band - std::begin(eq::kFreq));
    if (f.kind != Kind::kPeak || i >= gains.size() || set[i]) return std::nullopt;
    if (std::fabs(f.q - kOurQ) > kSameQ || std::fabs(f.gain_db) > kMostGainDb) return std::nullopt;
    gains[i] = f.gain_db;
    set[i] = true;
  }
  return gains;
}

// The least error, by gains however large within their bounds.
Gains closest(const Response& target) {
  Gains best{};
  for (int i = 0; i < kSteps; ++i) {
    const Gains before = best;
    model(target, best).minimize(&best, 0);
    const bool still = std::equal(best.begin(), best.end(), before.begin(), [](double a, double b) {
      return std::fabs(a - b) < kTinyStepDb;
    });
    if (still) break;
  }
  return best;
}

}  // namespace

Fit fit(const Shape& shape) {
  Response target;
  for (std::size_t k = 0; k < kPoints; ++k)
    target[k] = response_db(shape, hz_at(k));
  const auto judge = [&](const Gains& gains, double grid_db) {
    return judged(target, shape.preamp_db, gains, grid_db);
  };
  const double finest_db = kGridDb.back();

  if (const std::optional<Gains> own = own_gains(shape)) {
    Fit f = judge(*own, finest_db);
    f.exact = true;
    return f;
  }

  const Gains best = closest(target);
  const double least_db = judge(best, finest_db).rms_db;
  const Quadratic plain = model(target, best);
  Quadratic q;
  Gains gains;
  for (const double modesty : kModesty) {
    q = plain;
    for (std::size_t i = 0; i < best.size(); ++i)
      q.h[i][i] += modesty;
    gains = best;
    q.minimize(&gains, 0);
    if (judge(gains, finest_db).rms_db <= least_db + kModestyDb) break;
  }

  for (double bound_db = kMostGainDb;; bound_db -= kBoundStepDb) {
    q.most_gain_db = bound_db;
    q.minimize(&gains, 0);
    const double bounded_db = judge(gains, finest_db).rms_db;
    for (const double grid_db : kGridDb) {
      const Gains on_grid = rounded(q, gains, grid_db);
      const Fit f = judge(on_grid, grid_db);
      if (f.rms_db > bounded_db + kRoundingDb && grid_db > finest_db) continue;
      // If overlapping bands add up to more than the preamp can take back, they are reduced.
      if (highest_db(curve_of(on_grid)) > kMostGainDb && bound_db > 0.0) break;
      return f;
    }
  }
}

}  // namespace curves
