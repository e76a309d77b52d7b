// DESIGN: two columns, so that the panel fits the collapsed window too: the settings, and
// information about the program. Texts of the second column shrink a little if a language needs
// more room.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "app/addresses.h"
#include "app/version.h"
#include "i18n/i18n.h"
#include "state.h"
#include "text.h"
#include "ui/theme.h"
#include "views.h"
#include "widgets.h"

namespace ui {

namespace {

constexpr float kText = 13.0F;

// The codes of all rows from the top.
std::vector<int> row_codes() {
  std::vector<int> codes;
  for (const Switch& row : kSwitches)
    codes.push_back(row.code);
  codes.insert(codes.end(), {kHitLanguage, kHitDark});
  return codes;
}

Rect start_of(const Rect& r, float end_width) {
  const float w = std::max(0.0F, r.w - end_width);
  return {start_align() == Align::Right ? r.x + r.w - w : r.x, r.y, w, r.h};
}

void separator(const Rect& row) {
  gfx::fill_rect({row.x, row.y + row.h - 1.0F, row.w, 1.0F},
                 theme::with_alpha(theme::colors()->border, 0.6F));
}

void row_label(const Rect& row, const char* key, int code, float end_width) {
  const theme::Colors& c = *theme::colors();
  const Rect label = start_of(row, end_width);
  const std::string text = i18n::T(key);
  const float size = fit_size(text, kText, 11.0F, label.w, false);
  gfx::text(label, shorten(text, size, label.w), size, hovered(code) ? c.text_strong : c.text,
            start_align(), false, true);
}

void draw_switch_row(const Rect& row, const Switch& what) {
  constexpr float kWidth = 42.0F;
  constexpr float kHeight = 22.0F;
  const theme::Colors& c = *theme::colors();
  const float at = switch_at(what);
  row_label(row, what.key, what.code, kWidth + 14.0F);
  const bool rtl = start_align() == Align::Right;
  const Rect body{rtl ? row.x : row.x + row.w - kWidth, row.y + (row.h - kHeight) * 0.5F, kWidth,
                  kHeight};
  const unsigned face = theme::mix(tone_colour(Tone::Off), c.accent, at);
  // White would hardly be visible on the dark theme's bright accent.
  const unsigned knob = theme::dark() ? theme::mix(0xFFFFFFFFU, c.panel, at) : 0xFFFFFFFFU;
  gfx::fill_round_rect(body, kHeight * 0.5F,
                       hovered(what.code) ? theme::mix(face, c.text_strong, 0.12F) : face);
  const float travel = kWidth - kHeight;
  const float cx = body.x + kHeight * 0.5F + travel * (rtl ? 1.0F - at : at);
  gfx::fill_circle(cx, body.y + kHeight * 0.5F, kHeight * 0.5F - 3.0F, knob);
  separator(row);
}

void language_row(const SettingsLayout& l, float h) {
  const theme::Colors& c = *theme::colors();
  const Rect& button = l.language_button;
  row_label(l.layer.at(kHitLanguage), "language", kHitLanguage, button.w + 14.0F);
  button_bg(button, kHitLanguage);
  const Rect label = mirrored(button, Rect{button.x + 12.0F, button.y, button.w - 46.0F, button.h});
  gfx::text(label, shorten(language_name(), kText, label.w), kText, c.text, start_align(), false,
            true);
  const int rows = 1 + static_cast<int>(i18n::languages().size());
  icon_chevron(mirrored(button, button.x + button.w - 18.0F), button.y + 15.0F,
               !opens_down(h, button, rows), c.text);
  separator(l.layer.at(kHitLanguage));
}

void theme_button(const Rect& r, const char* key, int code, bool chosen) {
  const theme::Colors& c = *theme::colors();
  if (chosen || pressed(code)) flat_bg(r, 8.0F, code, c.button_hover, true);
  const std::string text = i18n::T(key);
  const unsigned rest = chosen ? c.text : quiet_text();
  gfx::text(r, text, fit_size(text, kText, 10.0F, r.w - 10.0F, chosen),
            hovered(code) ? c.text_strong : rest, Align::Center, chosen, true);
}

void appearance_row(const SettingsLayout& l) {
  const theme::Colors& c = *theme::colors();
  const Rect dark = l.layer.at(kHitDark);
  const Rect light = l.layer.at(kHitLight);
  row_label(l.appearance, "appearance", kHitNone, dark.w + light.w + 14.0F);
  const Rect both{std::min(dark.x, light.x), dark.y, dark.w + light.w, dark.h};
  gfx::fill_round_rect(both, 8.0F, c.mute_face);
  gfx::stroke_round_rect(both, 8.0F, c.border, 1.0F);
  theme_button(dark, "theme_dark", kHitDark, theme::dark());
  theme_button(light, "theme_light", kHitLight, !theme::dark());
}

// About ---------------------------------------------------------------

struct AboutText {
  std::string heading;  // empty: none
  std::string text;
  unsigned colour;
  float after;  // distance to the next
};

// A label and its value. A full-width colon needs no further space.
std::string labelled(const std::string& label, const std::string& value) {
  return label + (label.ends_with("：") ? "" : " ") + isolated(value);
}

std::string component_line() {
  const std::string library = settings::seal_library();
  return library + (library == "Monocypher" ? " — CC0 / BSD-2-Clause" : " — ISC");
}

std::string version_line() {
  return with_argument(with_argument(i18n::T("about_version"), kVersion), kBuild);
}

std::vector<AboutText> about_texts() {
  const theme::Colors& c = *theme::colors();
  return {
      {"", i18n::T("about_tagline"), c.text, 8.0F},
      {i18n::T("about_disclaimer_title"), i18n::T("about_disclaimer"), quiet_text(), 8.0F},
      {i18n::T("third_party"), isolated(component_line()), quiet_text(), 0.0F},
  };
}

// The width of the heading if a short text fits beside it; 0 if the text is below it.
float heading_beside(const AboutText& t, float size, float width) {
  if (t.heading.empty()) return 0.0F;
  const float heading = gfx::text_width(t.heading + " ", size, true);
  return heading + gfx::text_width(t.text, size, false) <= width ? heading : 0.0F;
}

float heading_height(const AboutText& t, float size, float width) {
  return heading_beside(t, size, width) > 0.0F ? 0.0F : gfx::wrapped_height(t.heading, size, width);
}

float height_of(const std::vector<AboutText>& texts, float size, float width) {
  float height = 0.0F;
  for (const AboutText& t : texts)
    height += heading_height(t, size, width) + gfx::wrapped_height(t.text, size, width) + t.after;
  return height;
}

void link(const Rect& r, const std::string& text, const std::string& address, int code) {
  const theme::Colors& c = *theme::colors();
  const std::string line = text.empty() ? isolated(address) : labelled(directed(text), address);
  const unsigned colour = pressed(code) ? c.accent : hovered(code) ? c.text_strong : c.text;
  gfx::text(r, shorten(line, 12.0F, r.w), 12.0F, colour, start_align(), false, true);
  const float width = std::min(gfx::text_width(line, 12.0F, false), r.w);
  const float x = start_align() == Align::Right ? r.x + r.w - width : r.x;
  gfx::fill_rect({x, r.y + r.h - 2.0F, width, 1.0F},
                 theme::with_alpha(hovered(code) ? c.accent : c.text_secondary, 0.5F));
}

void about(const SettingsLayout& l) {
  const theme::Colors& c = *theme::colors();
  const Rect& r = l.about;
  gfx::text({r.x, r.y, r.w, 22.0F}, "Velmora", 16.0F, c.text, start_align(), true, true);
  gfx::text({r.x, r.y + 22.0F, r.w, 18.0F}, directed(version_line()), 12.0F, quiet_text(),
            start_align(), false, true);
  const std::vector<AboutText> texts = about_texts();
  const float top = r.y + 46.0F;
  const float room = l.layer.at(kHitHomepage).y - 6.0F - top;
  float size = 12.0F;
  while (size > 9.0F && height_of(texts, size, r.w) > room)
    size -= 0.5F;
  float y = top;
  for (const AboutText& t : texts) {
    const float line = gfx::wrapped_height(t.heading, size, r.w);
    gfx::text({r.x, y, r.w, line}, t.heading, size, c.text, start_align(), true, true);
    y += heading_height(t, size, r.w);
    const float before = heading_beside(t, size, r.w);
    const float height = gfx::wrapped_height(t.text, size, r.w - before);
    gfx::text_wrapped(mirrored(r, Rect{r.x + before, y, r.w - before, height + 2.0F}), t.text, size,
                      t.colour, start_align());
    y += height + t.after;
  }
  link(l.layer.at(kHitHomepage), "", kHomepage, kHitHomepage);
  link(l.layer.at(kHitReport), i18n::T("about_report_bug"), kSupportMail, kHitReport);
}

}  // namespace

std::string language_name() {
  const std::string& setting = state().settings->language;
  for (const i18n::Language& l : i18n::languages()) {
    if (l.code == setting) return l.name;
  }
  return i18n::T("language_auto");
}

std::vector<std::string> about_lines() {
  std::vector<std::string> lines{"Velmora", version_line()};
  for (AboutText& t : about_texts())
    lines.push_back(std::move(t.text));
  return lines;
}

void draw_settings_panel(float w, float h) {
  if (!state().look.settings_open) return;
  const theme::Colors& c = *theme::colors();
  const std::string close = i18n::T("close");
  SettingsLayout& l = state().panel;
  l = settings_layout(w, h, row_codes(), std::ceil(gfx::text_width(close, kText, false)),
                      start_align() == Align::Right);
  const Rect close_button = l.layer.at(kHitPanelClose);
  gfx::fill_rect({0.0F, 0.0F, w, h}, c.scrim);
  shadow(l.panel, 14.0F);
  panel_bg(l.panel, 14.0F);
  const float room = l.panel.w - 24.0F - 12.0F - close_button.w - 16.0F;
  const Rect heading =
      mirrored(l.panel, Rect{l.panel.x + 24.0F, l.panel.y + 14.0F, std::max(0.0F, room), 30.0F});
  gfx::text(heading, i18n::T("settings"), 18.0F, c.text, start_align(), true, true);
  button_bg(close_button, kHitPanelClose);
  button_label(close_button, close, kText, hovered(kHitPanelClose), false);
  for (const Switch& row : kSwitches)
    draw_switch_row(l.layer.at(row.code), row);
  language_row(l, h);
  appearance_row(l);
  about(l);
}

}  // namespace ui
