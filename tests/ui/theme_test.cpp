// Whether texts can be read in both palettes, and arithmetic on colours.
#include "theme.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "ui_private.h"

namespace {

constexpr float kNan = NAN;

// Contrast as the Web Content Accessibility Guidelines define it, 1 to 21.
double luminance(unsigned colour) {
  const auto linear = [colour](unsigned shift) {
    const double c = ((colour >> shift) & 0xffU) / 255.0;
    return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(16) + 0.7152 * linear(8) + 0.0722 * linear(0);
}

double contrast(unsigned a, unsigned b) {
  const auto [low, high] = std::minmax({luminance(a), luminance(b)});
  return (high + 0.05) / (low + 0.05);
}

TEST(palette, can_be_read_where_text_stands) {
  for (const bool dark : {true, false}) {
    theme::set_dark(dark);
    EXPECT_EQ(theme::dark(), dark);
    const theme::Colors& c = *theme::colors();
    EXPECT_EQ(luminance(c.text) > luminance(c.panel), dark);
    for (const unsigned surface : {c.window_top, c.window_bottom, c.panel, c.recessed, c.button,
                                   c.button_hover, c.mute_face}) {
      for (const unsigned text : {c.text, c.text_strong, ui::quiet_text()})
        EXPECT_GE(contrast(text, surface), 4.5)
            << dark << std::hex << " " << text << " on " << surface;
    }
    EXPECT_GE(contrast(c.danger, c.panel), 4.5) << dark;
  }
}

TEST(mix, blends_every_channel_and_rounds_half_up) {
  EXPECT_EQ(theme::mix(0xff000000, 0xffffffff, 0.5F), 0xff808080);
  EXPECT_EQ(theme::mix(0x00ff8000, 0x80008040, 0.25F), 0x20bf8010);
  for (const float t : {0.0F, -1.0F, kNan})
    EXPECT_EQ(theme::mix(0x12345678, 0x9abcdef0, t), 0x12345678);
  for (const float t : {1.0F, 7.0F})
    EXPECT_EQ(theme::mix(0x12345678, 0x9abcdef0, t), 0x9abcdef0);
}

TEST(with_alpha, keeps_the_colour_and_clamps_the_alpha) {
  EXPECT_EQ(theme::with_alpha(0x1234567, 2.0F), 0xff234567);
  EXPECT_EQ(theme::with_alpha(0xff234567, 0.5F), 0x80234567);
  for (const float a : {-1.0F, kNan})
    EXPECT_EQ(theme::with_alpha(0xff234567, a), 0x00234567U);
}

TEST(bar_color, runs_through_its_stops_from_blue_to_red) {
  EXPECT_EQ(theme::bar_color(0.5F), 0xff7ae742);
  EXPECT_EQ(theme::bar_color(3.0F / 7.0F), 0xff3be25a);
  EXPECT_EQ(theme::bar_color(0.75F / 7.0F), theme::mix(0xff1e5bff, 0xff18b4ff, 0.75F));
  for (const float low : {0.0F, -3.0F, kNan})
    EXPECT_EQ(theme::bar_color(low), 0xff1e5bff);
  for (const float high : {1.0F, 3.0F, std::nextafter(1.0F, 0.0F)})
    EXPECT_EQ(theme::bar_color(high), 0xffff3b3b);
}

}  // namespace
