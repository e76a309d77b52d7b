#include "faultline_write.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

namespace faultline::detail {

void write_bytes(int fd, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t n = write(fd, bytes, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    bytes += n;
    size -= static_cast<std::size_t>(n);
  }
}

void write_text(int fd, const char* text) {
  write_bytes(fd, text, std::strlen(text));
}

void write_number(int fd, long long value) {
  std::array<char, 24> digits{};
  std::size_t at = digits.size();
  // Unsigned, because the least value has no positive counterpart.
  auto rest = static_cast<unsigned long long>(value);
  if (value < 0) rest = 0 - rest;
  do {
    digits[--at] = static_cast<char>('0' + rest % 10);
    rest /= 10;
  } while (rest > 0);
  if (value < 0) digits[--at] = '-';
  write_bytes(fd, &digits[at], digits.size() - at);
}

void write_field(int fd, const char* title, const char* value) {
  if (value == nullptr || *value == '\0') return;
  write_text(fd, title);
  write_text(fd, value);
  write_text(fd, "\n");
}

const char* signal_name(int sig) {
  switch (sig) {
    case SIGILL:
      return "SIGILL (Illegal instruction)";
    case SIGTRAP:
      return "SIGTRAP (Trap - usually a fatal GLib/GTK error)";
    case SIGABRT:
      return "SIGABRT (Abort)";
    case SIGBUS:
      return "SIGBUS (Bus error)";
    case SIGFPE:
      return "SIGFPE (Floating point exception)";
    case SIGSEGV:
      return "SIGSEGV (Segmentation fault)";
    default:
      return "unknown signal";
  }
}

}  // namespace faultline::detail
