// Equalizer files of other programs, and the notice about one that is refused.
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

// Imports the file of the start, once, and takes the notice away when its time is over.
void import_pending(std::uint64_t now);

void draw_notice();

}  // namespace ui
