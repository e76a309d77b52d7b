// Importing equalizer files of other programs, and the notice about a refused one.
#pragma once

#include <cstdint>
#include <string>

namespace curves {
struct Import;
}

namespace ui {

struct Notice {
  std::string title;  // empty: none is shown
  std::string reason;
  std::uint64_t until_ms = 0;

  bool operator==(const Notice&) const = default;
};

// Starts the glide to an imported curve, and asks for its name.
void begin_import(const curves::Import& import);

// Imports the file given at the start, once, and removes an expired notice.
void import_pending(std::uint64_t now);

void draw_notice();

}  // namespace ui
