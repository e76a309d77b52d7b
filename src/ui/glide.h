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

  bool operator==(const Glide&) const = default;
};

// Starts from where the gains are.
void start_glide(const eq::Curve& to);

// Leaves the gains where they are.
void stop_glide();

// Puts the gains where they arrive in the end.
void finish_glide();

// Moves the gains to where they are at a time in ms. Returns whether there was a glide.
bool advance_glide(std::uint64_t now);

}  // namespace ui
