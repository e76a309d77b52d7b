#include "app/settings.h"

#include <exception>

#include "save_crypt.h"
#include "sealed_file.h"
#include "settings_file.h"
#include "settings_text.h"

namespace settings {
namespace {

SealedFile g_file("settings.dat", "Settings");  // thread: as write_file

// Whether the user has changed any of the initial settings. The window's place and the engine's
// findings do not count.
bool changed_by_user(const Settings& s) {
  Settings initial;
  initial.active = s.active;
  initial.last_default = s.last_default;
  initial.win_x = s.win_x;
  initial.win_y = s.win_y;
  initial.win_w = s.win_w;
  initial.win_h = s.win_h;
  initial.mini_x = s.mini_x;
  initial.mini_y = s.mini_y;
  initial.mini_w = s.mini_w;
  initial.mini_h = s.mini_h;
  return s != initial;
}

}  // namespace

std::string file_path() {
  return g_file.path();
}

Settings load() {
  Settings s;
  if (const auto text = g_file.load()) deserialize(*text, &s);
  return s;
}

bool write_file(const Settings& s) {
  if (g_file.unread() && !changed_by_user(s)) return true;
  return g_file.save(serialize(s));
}

const char* seal_library() {
  return crypt::library();
}

void seal_selftest(bool* round_trip, bool* tamper_detected) {
  *round_trip = false;
  *tamper_detected = false;
  try {
    const std::string text = "Velmora settings \x01\x02 ÄÖÜ";
    std::string sealed = crypt::encrypt(text);
    std::string opened;
    *round_trip = crypt::decrypt(sealed, &opened) == 0 && opened == text;
    sealed.back() = static_cast<char>(sealed.back() ^ 0x01);
    *tamper_detected = crypt::decrypt(sealed, &opened) == 2;
  } catch (const std::exception&) {
    // Without random numbers nothing can be sealed: both results stay false.
  }
}

}  // namespace settings
