// The animation of all eleven gains to a preset, band after band.
#pragma once

#include <cstdint>

#include "gains.h"

namespace ui {

struct Glide {
  bool running = false;
  float from[kGains]{};
  eq::Curve to;
  std::uint64_t start_ms = 0;
  bool shown_only = false;  // the engine is at `to` already

  bool operator==(const Glide&) const = default;
};

// Starts from where the gains are, as they are heard.
void start_glide(const eq::Curve& to, bool shown_only = false);

// Stops, leaving the gains as they are heard.
void stop_glide();

// The gains at the end of the glide, or as they are without one.
const eq::Curve& curve_to_come();
// The curve that the engine plays with.
const eq::Curve& curve_to_hear();

// Jumps to the end of the glide.
void finish_glide();

// Moves the gains to where they are at a time in ms. Returns whether there was a glide.
bool advance_glide(std::uint64_t now);

}  // namespace ui
