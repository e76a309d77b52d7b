// DESIGN: names of devices and presets come from outside and may hold anything, so everything that
// is drawn passes through one_line once. Lines are built from parts whose directions may differ;
// the parts are isolated from each other with Unicode's own marks, which take no room.
#include <cmath>

#include "i18n.h"
#include "ui_private.h"

namespace ui {

namespace {

constexpr std::size_t kMaxLine = 200;  // characters; measuring costs time in proportion
constexpr const char* kEllipsis = "…";
constexpr const char* kFirstStrongIsolate = "\u2068";  // NOLINT(misc-misleading-bidirectional)
constexpr const char* kPopIsolate = "\u2069";
constexpr const char* kRightToLeftMark = "\u200F";
constexpr char32_t kReplacement = 0xFFFD;

bool is_continuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// Decodes the character at `at` and moves past it. What is no character is one byte of
// kReplacement, and *valid becomes false.
char32_t next_char(std::string_view text, std::size_t* at, bool* valid) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte((*at)++);
  if (lead < 0x80U) return lead;
  const int more = lead >= 0xF0U && lead <= 0xF4U  ? 3
                   : lead >= 0xE0U && lead < 0xF0U ? 2
                   : lead >= 0xC2U && lead < 0xE0U ? 1
                                                   : 0;
  const auto bad = [&] {
    *valid = false;
    return kReplacement;
  };
  if (more == 0 || *at + static_cast<std::size_t>(more) > text.size()) return bad();
  char32_t c = lead & (0x3FU >> static_cast<unsigned>(more));
  for (int i = 0; i < more; ++i) {
    const char next = text[*at + static_cast<std::size_t>(i)];
    if (!is_continuation(next)) return bad();
    c = (c << 6U) | (static_cast<unsigned char>(next) & 0x3FU);
  }
  constexpr char32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
  if (c < kLeast[more] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return bad();
  *at += static_cast<std::size_t>(more);
  return c;
}

// Marks that turn the direction of what follows, up to the end of the line.
bool is_direction_control(char32_t c) {
  return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

bool is_control(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029;
}

}  // namespace

int count_chars(std::string_view utf8) {
  int n = 0;
  for (const char c : utf8)
    n += is_continuation(c) ? 0 : 1;
  return n;
}

void remove_last_char(std::string* utf8) {
  while (!utf8->empty()) {
    const char last = utf8->back();
    utf8->pop_back();
    if (!is_continuation(last)) return;
  }
}

bool valid_utf8(std::string_view utf8) {
  bool valid = true;
  for (std::size_t at = 0; at < utf8.size();)
    next_char(utf8, &at, &valid);
  return valid;
}

std::string one_line(std::string_view text) {
  std::string line;
  std::size_t count = 0;
  for (std::size_t at = 0; at < text.size() && count < kMaxLine; ++count) {
    const std::size_t begin = at;
    bool valid = true;
    const char32_t c = next_char(text, &at, &valid);
    if (!valid) {
      line += "\uFFFD";
    } else if (is_control(c)) {
      line += ' ';
    } else if (!is_direction_control(c)) {
      line += text.substr(begin, at - begin);
    }
  }
  return line;
}

std::string shorten(const std::string& text, float size, float max_width, bool bold) {
  if (gfx::text_width(text, size, bold) <= max_width) return text;
  const float room = max_width - gfx::text_width(kEllipsis, size, bold);
  std::string cut = text.substr(0, static_cast<std::size_t>(gfx::fit_chars(text, size, room)));
  while (!cut.empty() && (cut.back() == ' ' || (bold && gfx::text_width(cut, size, true) > room)))
    remove_last_char(&cut);
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

std::string isolated(const std::string& text) {
  return i18n::rtl() ? kFirstStrongIsolate + text + kPopIsolate : text;
}

std::string directed(const std::string& text) {
  return i18n::rtl() ? kRightToLeftMark + text : text;
}

bool starts_rtl(std::string_view text) {
  bool valid = true;
  for (std::size_t at = 0; at < text.size();) {
    const char32_t c = next_char(text, &at, &valid);
    if ((c >= 0x590 && c < 0x900) || (c >= 0xFB1D && c < 0xFE00) || (c >= 0xFE70 && c < 0xFF00))
      return true;
    if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c >= 0xC0) return false;
  }
  return false;
}

Align start_align() {
  return i18n::rtl() ? Align::Right : Align::Left;
}

}  // namespace ui
