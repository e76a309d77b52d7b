// DESIGN: another program wrote the data, so every length is checked while reading. The server is
// grabbed between the two queries (who owns the settings, what are they), because querying a window
// that has just been destroyed would end the program.
#include "xsettings.h"

#include <algorithm>
#include <cstddef>

#include "platform_private.h"
#include "x11.h"

namespace {

// Reads values from the front; past the end it yields zeros and is no longer good.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : left_(bytes) { big_endian_ = take(4)[0] != 0; }
  bool good() const { return good_; }

  std::string_view take(std::size_t n) {
    if (n > left_.size()) {
      good_ = false;
      left_ = {};
      return std::string_view("\0\0\0\0", 4).substr(0, std::min<std::size_t>(n, 4));
    }
    const std::string_view taken = left_.substr(0, n);
    left_.remove_prefix(n);
    return taken;
  }
  std::uint32_t number(std::size_t n) {
    std::uint32_t value = 0;
    const std::string_view bytes = take(n);
    for (std::size_t i = 0; i < n; ++i)
      value = value << 8U | static_cast<unsigned char>(bytes[big_endian_ ? i : n - 1 - i]);
    return value;
  }
  // A text is filled up to a multiple of four bytes.
  std::string_view text(std::size_t n) {
    const std::string_view whole = take((n + 3) / 4 * 4);
    return whole.substr(0, std::min(n, whole.size()));
  }

 private:
  std::string_view left_;
  bool big_endian_ = false;
  bool good_ = true;
};

#ifdef SDL_VIDEO_DRIVER_X11

constexpr long kMostWords = 16384;  // of four bytes

std::string property_of(const platform::X11Window& ours, Window owner) {
  const Atom settings = ours.atom("_XSETTINGS_SETTINGS");
  Atom type = 0;
  int format = 0;
  unsigned long count = 0;
  unsigned long left = 0;
  unsigned char* data = nullptr;
  if (ours.x11.property(ours.display, owner, settings, 0, kMostWords, False, settings, &type,
                        &format, &count, &left, &data) != Success ||
      data == nullptr)
    return "";
  std::string bytes;
  if (format == 8) bytes.assign(reinterpret_cast<const char*>(data), count);
  ours.x11.free(data);
  return bytes;
}

std::string read_settings(const platform::X11Window& ours) {
  const std::string name = "_XSETTINGS_S" + std::to_string(ours.x11.default_screen(ours.display));
  const Atom selection = ours.atom(name.c_str());
  ours.x11.grab_server(ours.display);
  const Window owner = ours.x11.selection_owner(ours.display, selection);
  std::string bytes = owner != 0 ? property_of(ours, owner) : "";
  ours.x11.ungrab_server(ours.display);
  ours.x11.flush(ours.display);
  return bytes;
}

#endif

}  // namespace

namespace platform {

std::string xsettings() {
#ifdef SDL_VIDEO_DRIVER_X11
  if (const auto ours = x11_window()) return read_settings(*ours);
#endif
  return "";
}

std::optional<std::int32_t> xsetting(std::string_view all, std::string_view name) {
  constexpr std::uint32_t kNumber = 0;
  constexpr std::uint32_t kText = 1;
  constexpr std::uint32_t kColour = 2;
  Reader reader(all);
  reader.take(4);  // a serial number, as before each value
  for (std::uint32_t left = reader.number(4); left > 0 && reader.good(); --left) {
    const std::uint32_t type = reader.number(1);
    reader.take(1);
    const std::string_view found = reader.text(reader.number(2));
    reader.take(4);
    if (type == kNumber) {
      const auto value = static_cast<std::int32_t>(reader.number(4));
      if (found == name && reader.good()) return value;
    } else if (type == kText) {
      reader.text(reader.number(4));
    } else if (type == kColour) {
      reader.take(8);
    } else {
      return std::nullopt;
    }
  }
  return std::nullopt;
}

}  // namespace platform
