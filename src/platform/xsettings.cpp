// DESIGN: what another program has stored is read with every length checked. The server is held
// between the two questions (who owns the settings, what are they), because asking a window that
// has just gone would end the program.
#include "xsettings.h"

#include <algorithm>
#include <cstddef>

#include "platform_private.h"

// After all our headers: X11 defines words like None as macros.
#include <SDL_syswm.h>
#ifdef SDL_VIDEO_DRIVER_X11
#include <X11/Xlib.h>
#endif

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

struct X11 {
  template <typename Function>
  static void find(Function** function, const char* name) {
    *function = reinterpret_cast<Function*>(compat::x11_symbol(name));
  }
  X11() {
    find(&atom, "XInternAtom");
    find(&screen, "XDefaultScreen");
    find(&owner, "XGetSelectionOwner");
    find(&property, "XGetWindowProperty");
    find(&grab, "XGrabServer");
    find(&ungrab, "XUngrabServer");
    find(&flush, "XFlush");
    find(&free, "XFree");
  }
  [[nodiscard]] bool complete() const {
    return atom != nullptr && screen != nullptr && owner != nullptr && property != nullptr &&
           grab != nullptr && ungrab != nullptr && flush != nullptr && free != nullptr;
  }
  decltype(XInternAtom)* atom = nullptr;
  decltype(XDefaultScreen)* screen = nullptr;
  decltype(XGetSelectionOwner)* owner = nullptr;
  decltype(XGetWindowProperty)* property = nullptr;
  decltype(XGrabServer)* grab = nullptr;
  decltype(XUngrabServer)* ungrab = nullptr;
  decltype(XFlush)* flush = nullptr;
  decltype(XFree)* free = nullptr;
};

std::string property_of(const X11& x11, Display* display, Window window) {
  const Atom settings = x11.atom(display, "_XSETTINGS_SETTINGS", False);
  Atom type = 0;
  int format = 0;
  unsigned long count = 0;
  unsigned long left = 0;
  unsigned char* data = nullptr;
  if (x11.property(display, window, settings, 0, kMostWords, False, settings, &type, &format,
                   &count, &left, &data) != Success ||
      data == nullptr)
    return "";
  std::string bytes;
  if (format == 8) bytes.assign(reinterpret_cast<const char*>(data), count);
  x11.free(data);
  return bytes;
}

std::string read_settings(Display* display) {
  static const X11 x11;
  if (!x11.complete()) return "";
  const std::string name = "_XSETTINGS_S" + std::to_string(x11.screen(display));
  const Atom selection = x11.atom(display, name.c_str(), False);
  x11.grab(display);
  const Window owner = x11.owner(display, selection);
  std::string bytes = owner != 0 ? property_of(x11, display, owner) : "";
  x11.ungrab(display);
  x11.flush(display);
  return bytes;
}

#endif

}  // namespace

namespace platform {

std::string xsettings() {
#ifdef SDL_VIDEO_DRIVER_X11
  SDL_SysWMinfo info{};
  SDL_VERSION(&info.version)
  if (SDL_GetWindowWMInfo(window(), &info) == SDL_TRUE && info.subsystem == SDL_SYSWM_X11)
    return read_settings(info.info.x11.display);
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
