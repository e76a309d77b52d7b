// DESIGN: raw writes instead of the C stream, so that nothing is lost if the process ends without
// flushing.
#include "con.h"

#include <unistd.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "posix/files.h"

namespace con {

void print(const std::string& text) {
  files::write_all(STDOUT_FILENO, text);
}

void print_error(const std::string& text) {
  files::write_all(STDERR_FILENO, text);
}

void printf(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  if (length <= 0) return;
  std::string text(static_cast<std::size_t>(length) + 1, '\0');
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  text.pop_back();  // the terminator
  print(text);
}

}  // namespace con
