// DESIGN: unknown lines are ignored, so that messages can be added.

#include "guard_protocol.h"

#include <charconv>

namespace guard {

namespace {
constexpr std::size_t kMaxLine = 65536;
}  // namespace

void LineReader::feed(const char* data, std::size_t size) {
  for (const char* end = data + size; data != end; ++data) {
    if (*data == '\n') {
      if (!overlong_) parse_line();
      line_.clear();
      overlong_ = false;
    } else if (line_.size() < kMaxLine) {
      line_.push_back(*data);
    } else {
      overlong_ = true;
    }
  }
}

void LineReader::parse_line() {
  if (line_.starts_with("A ")) {
    orders_.armed = true;
    orders_.device = line_.substr(2);
  } else if (line_.starts_with("M ")) {
    std::uint32_t index = 0;
    const char* const last = line_.data() + line_.size();
    const auto [end, error] = std::from_chars(line_.data() + 2, last, index);
    if (error == std::errc() && end == last) orders_.module = index;
  } else if (line_ == "T 1" || line_ == "T 0") {
    orders_.takeover = line_ == "T 1";
  } else if (line_ == "D") {
    orders_.armed = false;
    orders_.device.clear();
    orders_.module = audio::kNoIndex;
  } else if (line_ == "Q") {
    orders_.quit = true;
  }
}

}  // namespace guard
