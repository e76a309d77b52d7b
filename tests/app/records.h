// Settings records to test with.
#pragma once

#include <ostream>
#include <string>

#include "app/settings.h"
#include "app/settings_text.h"

inline std::ostream& operator<<(std::ostream& out, const Settings& s) {
  return out << settings::serialize(s);
}

inline Settings parsed(const std::string& text) {
  Settings s;
  settings::deserialize(text, &s);
  return s;
}

// Every field differs from what a first run starts with.
constexpr const char* kChangedText =
    "band0=-12\nband1=-3.5\nband2=-0.5\nband3=0\nband4=0.5\n"
    "band5=1\nband6=2.5\nband7=6\nband8=11.5\nband9=12\n"
    "preset=u:Küche\n"
    "user_presets=2\n"
    "up0_name=Küche\n"
    "up0=1,2,3,4,5,6,7,8,9,10,-11\n"
    "up1_name=a=b, c\n"
    "up1=0,0,0,0,0,0,0,0,0,-0.5,0\n"
    "preamp=-4.5\n"
    "active=0\nactive_on_start=0\ncompact=1\ncompact_on_top=0\n"
    "output=alsa_output.pci-0000_00_1f.3.analog-stereo\n"
    "last_default=bluez_output.00_11_22\n"
    "channel=2\nlanguage=pt_BR\ntheme=light\n"
    "win_x=-40\nwin_y=30\nwin_w=1280\nwin_h=720\n"
    "collapsed=1\n"
    "mini_x=7\nmini_y=-8\nmini_w=320\nmini_h=90\n";
inline Settings changed_settings() {
  return parsed(kChangedText);
}
