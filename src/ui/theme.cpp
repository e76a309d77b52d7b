// DESIGN: two constant tables and the flag that selects one; painters ask for the table in every
// frame.
#include "ui/theme.h"

#include <algorithm>
#include <cmath>

namespace theme {
namespace {

constexpr Colors kLight = {
    .window_top = 0xffeef1f5,
    .window_bottom = 0xffd9dee6,
    .panel = 0xffffffff,
    .recessed = 0xffe8ecf1,
    .border = 0xffc5cdd8,
    .highlight = 0x66ffffff,
    .text = 0xff1b222b,
    .text_secondary = 0xff6b7784,
    .text_strong = 0xff000000,
    .accent = 0xff0a84d6,
    .accent_soft = 0x440a84d6,
    .track = 0xff2a313b,
    .track_outline = 0xffaeb8c4,
    .knob_top = 0xffffffff,
    .knob_bottom = 0xffb9c3ce,
    .knob_grip = 0xff7a8594,
    .knob_outline = 0xff8792a0,
    .mark = 0x14000000,
    .mark_zero = 0x40000000,
    .unlit = 0xffe1e6ed,
    .on = 0xff12a865,
    .off = 0xff9aa5b2,
    .button = 0xffffffff,
    .button_hover = 0xffe3eaf3,
    .mute_face = 0xffffffff,
    .warning = 0xffb8860b,
    .danger = 0xffd32f2f,
    .scrim = 0x80000000,
};

constexpr Colors kDark = {
    .window_top = 0xff0e1117,
    .window_bottom = 0xff06080c,
    .panel = 0xff161b24,
    .recessed = 0xff0b0e14,
    .border = 0xff232b38,
    .highlight = 0x22ffffff,
    .text = 0xffd6dee8,
    .text_secondary = 0xff7c8898,
    .text_strong = 0xffffffff,
    .accent = 0xff27d3ff,
    .accent_soft = 0x5527d3ff,
    .track = 0xff05070a,
    .track_outline = 0xff2a3342,
    .knob_top = 0xffe9eef3,
    .knob_bottom = 0xff8d98a6,
    .knob_grip = 0xff4a5462,
    .knob_outline = 0xff20262f,
    .mark = 0x14ffffff,
    .mark_zero = 0x33ffffff,
    .unlit = 0xff141922,
    .on = 0xff2be38b,
    .off = 0xff4a5462,
    .button = 0xff1d2430,
    .button_hover = 0xff283244,
    .mute_face = 0xff0a0d12,
    .warning = 0xffe2b93b,
    .danger = 0xffff5a5a,
    .scrim = 0xb0000000,
};

bool g_dark = false;  // main thread

unsigned byte_at(unsigned colour, unsigned shift) {
  return (colour >> shift) & 0xffU;
}

}  // namespace

const Colors* colors() {
  return g_dark ? &kDark : &kLight;
}

void set_dark(bool dark) {
  g_dark = dark;
}

bool dark() {
  return g_dark;
}

unsigned mix(unsigned a, unsigned b, float t) {
  if (!(t > 0.0F)) return a;
  if (t >= 1.0F) return b;
  unsigned mixed = 0;
  for (const unsigned shift : {0U, 8U, 16U, 24U}) {
    const auto from = static_cast<float>(byte_at(a, shift));
    const auto to = static_cast<float>(byte_at(b, shift));
    mixed |= static_cast<unsigned>(std::lround(from + (to - from) * t)) << shift;
  }
  return mixed;
}

unsigned with_alpha(unsigned c, float alpha) {
  const float clamped = alpha > 0.0F ? std::min(alpha, 1.0F) : 0.0F;
  return (static_cast<unsigned>(std::lround(255.0F * clamped)) << 24U) | (c & 0x00ffffffU);
}

unsigned bar_color(float level) {
  static constexpr unsigned kStops[] = {0xff1e5bff, 0xff18b4ff, 0xff19e0c8, 0xff3be25a,
                                        0xffb8ec2a, 0xffffd21f, 0xffff8a1c, 0xffff3b3b};
  if (!(level > 0.0F)) return kStops[0];
  if (level >= 1.0F) return kStops[7];
  const float p = level * 7.0F;
  const auto i = static_cast<int>(p);
  const float f = p - static_cast<float>(i);
  return f > 0.0F ? mix(kStops[i], kStops[i + 1], f) : kStops[i];
}

}  // namespace theme
