#pragma once
namespace analyzer {
void compute(const float* samples, float rate, float* out);
float to_db(float x);
}  // namespace analyzer
