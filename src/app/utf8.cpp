#include "app/utf8.h"

namespace utf8 {

namespace {

bool is_continuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// Marks that turn the direction of the rest of the line.
bool is_direction_control(char32_t c) {
  return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

bool is_control(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029;
}

}  // namespace

char32_t next(std::string_view text, std::size_t* at, bool* valid) {
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

bool valid(std::string_view text) {
  bool valid = true;
  for (std::size_t at = 0; at < text.size();)
    next(text, &at, &valid);
  return valid;
}

int count(std::string_view text) {
  int n = 0;
  for (const char c : text)
    n += is_continuation(c) ? 0 : 1;
  return n;
}

void remove_last(std::string* text) {
  while (!text->empty()) {
    const char last = text->back();
    text->pop_back();
    if (!is_continuation(last)) return;
  }
}

std::string one_line(std::string_view text, std::size_t max_chars) {
  std::string line;
  std::size_t count = 0;
  for (std::size_t at = 0; at < text.size() && count < max_chars; ++count) {
    const std::size_t begin = at;
    bool valid = true;
    const char32_t c = next(text, &at, &valid);
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

}  // namespace utf8
