// Whether texts can be read in both palettes.
#include "ui/theme.h"

#include "test.h"
#include "ui/status_view.h"
#include "ui/widgets.h"

namespace {

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

TEST(palette, can_be_read_where_text_stands_and_signs_be_seen) {
  for (const bool dark : {true, false}) {
    theme::set_dark(dark);
    const theme::Colors& c = *theme::colors();
    EXPECT_EQ(luminance(c.text) > luminance(c.panel), dark);
    for (const unsigned surface : {c.window_top, c.window_bottom, c.panel, c.recessed, c.button,
                                   c.button_hover, c.mute_face}) {
      for (const unsigned text : {c.text, c.text_strong, ui::quiet_text()})
        EXPECT_GE(contrast(text, surface), 4.5) << dark << std::hex << " " << surface;
    }
    EXPECT_GE(contrast(c.danger, c.panel), 4.5) << dark;
    EXPECT_GE(contrast(c.text, ui::pressed_face()), 4.5) << dark;
    for (const ui::Tone tone : {ui::Tone::Good, ui::Tone::Off, ui::Tone::Warning, ui::Tone::Danger})
      EXPECT_GE(contrast(ui::tone_colour(tone), c.window_bottom), 3.0) << dark;
    EXPECT_GE(contrast(ui::tone_colour(ui::Tone::Off), c.panel), 3.0) << dark << ", switches";
    EXPECT_GE(contrast(c.accent, c.panel), 3.0) << dark << ", switches";
  }
}

}  // namespace
