// Text in UTF-8 that comes from outside (names of devices and presets, answers of servers) and may
// hold anything. Any thread; no errors: what is no character is one byte of U+FFFD.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace utf8 {

constexpr char32_t kReplacement = 0xFFFD;

// Decodes the character that begins at byte `*at` (which must be inside) and moves past it. Where
// none begins, one byte is passed, *valid becomes false and the result is kReplacement.
char32_t next(std::string_view text, std::size_t* at, bool* valid);

bool valid(std::string_view text);
int count(std::string_view text);  // characters
void remove_last(std::string* text);

// Made fit to stand in one line, in a window, a log or a terminal: invalid bytes are U+FFFD,
// control characters and line ends blanks, marks that turn the direction of writing are left out.
// At most `max_chars` characters.
std::string one_line(std::string_view text, std::size_t max_chars = std::string_view::npos);

}  // namespace utf8
