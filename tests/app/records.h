// Settings records to test with, and how to compare them.
#pragma once

#include <ostream>

#include "settings.h"
#include "settings_text.h"

// By their text form, in which every field is written (settings_text_test.cpp).
inline bool operator==(const Settings& a, const Settings& b) {
  return settings::serialize(a) == settings::serialize(b);
}
inline std::ostream& operator<<(std::ostream& out, const Settings& s) {
  return out << settings::serialize(s);
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
