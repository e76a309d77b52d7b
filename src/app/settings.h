// Everything that Velmora remembers between runs, and the file that holds it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "eq_dsp.h"

struct UserPreset {
  std::string name;
  eq::Curve curve;
};

struct Settings {
  eq::Curve curve = eq::standard_curve();
  std::string preset = "b:preset_standard";
  std::vector<UserPreset> user_presets;
  bool active = true;
  bool active_on_start = true;
  bool compact = false;
  bool compact_on_top = true;
  std::string output;
  std::string last_default;
  std::int32_t channel = 0;
  std::string language = "auto";
  std::string theme = "dark";
  std::int32_t win_x = -1, win_y = -1, win_w = 0, win_h = 0;
  bool collapsed = false;
  std::int32_t mini_x = -1, mini_y = -1, mini_w = 0, mini_h = 0;
};

namespace settings {
Settings load();
bool save(const Settings& s);
std::string file_path();
void seal_selftest(bool* round_trip, bool* tamper_detected);
}  // namespace settings
