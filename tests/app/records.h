// Settings records to test with, and how to compare them.
#pragma once

#include <algorithm>
#include <iterator>
#include <ostream>
#include <tuple>

#include "settings.h"

inline bool equal(const eq::Curve& a, const eq::Curve& b) {
  return std::equal(std::begin(a.gain), std::end(a.gain), std::begin(b.gain)) &&
         a.preamp == b.preamp;
}

inline bool operator==(const UserPreset& a, const UserPreset& b) {
  return a.name == b.name && equal(a.curve, b.curve);
}

// Exact: every field, every bit of the gains.
inline bool operator==(const Settings& a, const Settings& b) {
  const auto plain = [](const Settings& s) {
    return std::tie(s.preset, s.user_presets, s.active, s.active_on_start, s.compact,
                    s.compact_on_top, s.output, s.last_default, s.channel, s.language, s.theme,
                    s.win_x, s.win_y, s.win_w, s.win_h, s.collapsed, s.mini_x, s.mini_y, s.mini_w,
                    s.mini_h);
  };
  return equal(a.curve, b.curve) && plain(a) == plain(b);
}

// Every field differs from what a first run starts with.
inline Settings changed_settings() {
  Settings s;
  s.curve = {{-12, -3.5F, -0.5F, 0, 0.5F, 1, 2.5F, 6, 11.5F, 12}, -4.5F};
  s.preset = "u:Küche";
  s.user_presets = {{"Küche", {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, -11}},
                    {"a=b, c", {{0, 0, 0, 0, 0, 0, 0, 0, 0, -0.5F}, 0}}};
  s.active = false;
  s.active_on_start = false;
  s.compact = true;
  s.compact_on_top = false;
  s.output = "alsa_output.pci-0000_00_1f.3.analog-stereo";
  s.last_default = "bluez_output.00_11_22";
  s.channel = 2;
  s.language = "pt_BR";
  s.theme = "light";
  s.win_x = -40;
  s.win_y = 30;
  s.win_w = 1280;
  s.win_h = 720;
  s.collapsed = true;
  s.mini_x = 7;
  s.mini_y = -8;
  s.mini_w = 320;
  s.mini_h = 90;
  return s;
}
