// Internal: compute with a choice of transform, so that tests and benchmarks reach both on a
// machine with the instructions for the wide one.
#pragma once

namespace analyzer {

bool has_wide();

// As compute. `wide` needs has_wide().
void compute_with(const float* samples, float rate, float* out, bool wide);

}  // namespace analyzer
