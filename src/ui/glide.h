// The way of all eleven gains to a preset, band after band.
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

// Leaves the gains where they are heard to be.
void stop_glide();

// Where the gains arrive in the end, or are where there is no glide.
const eq::Curve& curve_to_come();
// What the engine plays with.
const eq::Curve& curve_to_hear();

// Puts the gains where they arrive in the end.
void finish_glide();

// Moves the gains to where they are at a time in ms. Returns whether there was a glide.
bool advance_glide(std::uint64_t now);

}  // namespace ui
