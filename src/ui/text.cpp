// DESIGN: names of devices and presets come from outside and may contain anything, so every drawn
// text passes through one_line once. Lines are built from parts that may differ in direction;
// Unicode's isolation marks, which have no width, keep them apart.
#include "text.h"

#include <cmath>
#include <cstdio>

#include "app/utf8.h"
#include "i18n/i18n.h"

namespace ui {

namespace {

constexpr std::size_t kMaxLine = 200;  // characters; measuring costs time in proportion
constexpr const char* kEllipsis = "…";
constexpr const char* kFirstStrongIsolate = "\u2068";  // NOLINT(misc-misleading-bidirectional)
constexpr const char* kPopIsolate = "\u2069";
constexpr const char* kRightToLeftMark = "\u200F";

}  // namespace

std::string one_line(std::string_view text) {
  return utf8::one_line(text, kMaxLine);
}

std::string shorten(const std::string& text, float size, float max_width, bool bold) {
  if (gfx::text_width(text, size, bold) <= max_width) return text;
  const float room = max_width - gfx::text_width(kEllipsis, size, bold);
  std::string cut = text.substr(0, static_cast<std::size_t>(gfx::fit_chars(text, size, room)));
  while (!cut.empty() && (cut.back() == ' ' || (bold && gfx::text_width(cut, size, true) > room)))
    utf8::remove_last(&cut);
  return cut + kEllipsis;
}

float fit_size(const std::string& text, float size, float least, float max_width, bool bold) {
  while (size > least && gfx::text_width(text, size, bold) > max_width)
    size -= 0.5F;
  return size;
}

std::string with_argument(std::string text, std::string_view argument) {
  const std::size_t at = text.find_first_of('%');
  if (at != std::string::npos && at + 1 < text.size()) text.replace(at, 2, argument);
  return text;
}

std::string gain_text(float gain_db) {
  char text[16];
  std::snprintf(text, sizeof text, "%+.1f",
                static_cast<double>(std::fabs(gain_db) < 0.05F ? 0.0F : gain_db));
  return text;
}

std::string isolated(const std::string& text) {
  return i18n::rtl() ? kFirstStrongIsolate + text + kPopIsolate : text;
}

std::string directed(const std::string& text) {
  return i18n::rtl() ? kRightToLeftMark + text : text;
}

bool starts_rtl(std::string_view text) {
  bool valid = true;
  for (std::size_t at = 0; at < text.size();) {
    const char32_t c = utf8::next(text, &at, &valid);
    if ((c >= 0x590 && c < 0x900) || (c >= 0xFB1D && c < 0xFE00) || (c >= 0xFE70 && c < 0xFF00))
      return true;
    if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c >= 0xC0) return false;
  }
  return false;
}

Align start_align() {
  return i18n::rtl() ? Align::Right : Align::Left;
}

gfx::Rect mirrored(const gfx::Rect& within, const gfx::Rect& part) {
  if (!i18n::rtl()) return part;
  return {mirrored(within, part.x + part.w), part.y, part.w, part.h};
}

float mirrored(const gfx::Rect& within, float x) {
  return i18n::rtl() ? 2.0F * within.x + within.w - x : x;
}

}  // namespace ui
