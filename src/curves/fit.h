// Internal: our curve that comes closest to a file's response.
#pragma once

#include "dsp/eq_dsp.h"
#include "shape.h"

namespace curves {

struct Fit {
  eq::Curve curve;
  bool exact = false;
  double rms_db = 0.0;  // these three as in Import
  double worst_db = 0.0;
  double worst_hz = 0.0;
};

Fit fit(const Shape& shape);

}  // namespace curves
