// UTF-8 text from outside (names of devices and presets, server replies), which may contain any
// bytes. Threads: any. Nothing fails: every invalid byte counts as one U+FFFD.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace utf8 {

constexpr char32_t kReplacement = 0xFFFD;

// Decodes the character that begins at byte `*at`, which must be inside the text, and moves past
// it. An invalid byte is skipped: *valid becomes false and the result is kReplacement.
char32_t next(std::string_view text, std::size_t* at, bool* valid);

bool valid(std::string_view text);
int count(std::string_view text);  // characters
void remove_last(std::string* text);

// The text as one line for a window, a log or a terminal, at most `max_chars` characters: invalid
// bytes become U+FFFD, control characters and line ends become blanks, and marks that turn the
// direction of writing are left out.
std::string one_line(std::string_view text, std::size_t max_chars = std::string_view::npos);

}  // namespace utf8
