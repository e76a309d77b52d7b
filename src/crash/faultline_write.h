// Writing in a signal handler: takes no lock, allocates nothing, ignores write errors. Threads:
// any; also from a signal handler.
#pragma once

#include <cstddef>

namespace faultline::detail {

void write_bytes(int fd, const char* bytes, std::size_t size);
void write_text(int fd, const char* text);
void write_number(int fd, long long value);
// "Title: value\n", where `title` ends with ": "; nothing without a value (null or empty).
void write_field(int fd, const char* title, const char* value);

// Name and meaning of one of the signals that are caught.
const char* signal_name(int sig);

}  // namespace faultline::detail
