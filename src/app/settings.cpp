// DESIGN: a save writes beside the file, makes the bytes durable and only then renames, so a reader
// finds the old file or the new one. A load trusts only what the seal vouches for.
#include "app/settings.h"

#include <cstddef>
#include <cstdio>
#include <exception>

#include "app/logger.h"
#include "app/paths.h"
#include "posix/files.h"
#include "save_crypt.h"
#include "settings_file.h"
#include "settings_text.h"

namespace settings {
namespace {

// A hundred presets take some 20 KiB. A larger file is not ours, and reading it could exhaust the
// memory.
constexpr std::size_t kMaxFileSize = std::size_t{64} << 20U;

constexpr const char* kDamaged = ".manipuliert";
constexpr const char* kUnread = ".unread";

// The file was there and could not be read: it may be whole. Thread: as write_file.
bool g_unread = false;

void move_aside(const std::string& path) {
  const std::string aside = path + kDamaged;
  if (std::rename(path.c_str(), aside.c_str()) == 0) {
    logger::warn("Settings damaged - moved aside as " + aside);
  } else {
    logger::warn("Settings damaged - cannot be moved aside as " + aside);
  }
}

// Whether the user changed anything since a first run's settings. Where the window is and what the
// engine found do not count.
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

// Puts the file that could not be read out of the way, under a name that nothing has yet.
bool keep_unread(const std::string& path) {
  std::string kept = path + kUnread;
  for (int i = 2; files::is_taken(kept); ++i)
    kept = path + kUnread + std::to_string(i);
  if (std::rename(path.c_str(), kept.c_str()) != 0) {
    logger::error("Settings cannot be replaced");
    return false;
  }
  logger::warn("Settings that could not be read are kept as " + kept);
  g_unread = false;
  return true;
}

bool incomplete() {
  logger::error("Settings not completely written");
  return false;
}

bool save_sealed(const std::string& sealed) {
  const std::string path = file_path();
  const std::string temporary = path + ".tmp";
  switch (files::write_durably(temporary, sealed)) {
    case files::Written::kNotOpened:
      logger::error("Settings not writable: " + temporary);
      return false;
    case files::Written::kIncomplete:
      return incomplete();
    case files::Written::kYes:
      break;
  }
  if (g_unread && files::is_taken(path) && !keep_unread(path)) return false;
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    logger::error("Settings cannot be replaced");
    return false;
  }
  // The new file is in place; only which one a power failure would leave is uncertain.
  if (!files::sync_directory_of(path))
    logger::warn("Settings replaced, but not yet safe on disk: " + path);
  return true;
}

}  // namespace

std::string file_path() {
  return paths::config_dir() + "/settings.dat";
}

Settings load() {
  Settings s;
  const std::string path = file_path();
  std::string sealed;
  g_unread = false;
  switch (files::read_all(path, kMaxFileSize, &sealed)) {
    case files::Read::kMissing:
      return s;
    case files::Read::kFailed:
      g_unread = true;
      logger::warn("Settings not readable: " + path);
      return s;
    case files::Read::kTooLarge:
      move_aside(path);
      return s;
    case files::Read::kOk:
      break;
  }
  std::string text;
  switch (crypt::decrypt(sealed, &text)) {
    case 0:
      deserialize(text, &s);
      break;
    case 2:
      move_aside(path);
      break;
    default:  // empty: nothing was ever saved
      break;
  }
  return s;
}

bool write_file(const Settings& s) {
  if (g_unread && !changed_by_user(s)) return true;
  try {
    return save_sealed(crypt::encrypt(serialize(s)));
  } catch (const std::exception&) {
    // No random numbers for the seal, or no memory: this save fails, the program goes on.
    return incomplete();
  }
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
