// The palettes, whether their texts can be read, and arithmetic on colours.
#include "theme.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

using theme::Colors;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

class palette : public testing::Test {
 protected:
  void TearDown() override { theme::set_dark(false); }
  static Colors of(bool dark) {
    theme::set_dark(dark);
    return *theme::colors();
  }
};

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

TEST_F(palette, is_light_until_it_is_switched) {
  EXPECT_FALSE(theme::dark());
  const Colors* light = theme::colors();
  theme::set_dark(true);
  EXPECT_TRUE(theme::dark());
  EXPECT_NE(theme::colors(), light);
  theme::set_dark(false);
  EXPECT_EQ(theme::colors(), light);
}

TEST_F(palette, keeps_its_order) {
  unsigned light[theme::kColorCount];
  unsigned dark[theme::kColorCount];
  const Colors named_light = of(false);
  const Colors named_dark = of(true);
  std::memcpy(light, &named_light, sizeof light);
  std::memcpy(dark, &named_dark, sizeof dark);
  const unsigned known[][3] = {{0, 0xffeef1f5, 0xff0e1117},  {6, 0xff1b222b, 0xffd6dee8},
                               {9, 0xff0a84d6, 0xff27d3ff},  {13, 0xffffffff, 0xffe9eef3},
                               {18, 0x40000000, 0x33ffffff}, {23, 0xffe3eaf3, 0xff283244},
                               {27, 0x80000000, 0xb0000000}};
  for (const auto& [i, in_light, in_dark] : known) {
    EXPECT_EQ(light[i], in_light) << i;
    EXPECT_EQ(dark[i], in_dark) << i;
  }
}

TEST_F(palette, can_be_read_where_text_stands) {
  for (const bool dark : {false, true}) {
    const Colors c = of(dark);
    for (const unsigned surface : {c.window_top, c.window_bottom, c.panel, c.recessed, c.button,
                                   c.button_hover, c.mute_face}) {
      EXPECT_GE(contrast(c.text, surface), 4.5) << dark << " " << std::hex << surface;
      EXPECT_GE(contrast(c.text_strong, surface), 4.5) << dark << " " << std::hex << surface;
    }
    EXPECT_GE(contrast(c.text_secondary, c.panel), 4.5) << dark;
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
