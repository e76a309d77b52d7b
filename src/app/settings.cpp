// DESIGN: a save writes beside the file, makes the bytes durable and only then renames, so that a
// reader finds the old file or the new one. A load believes nothing that the seal does not vouch
// for.
#include "app/settings.h"

#include <cstddef>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <system_error>

#include "app/files.h"
#include "app/logger.h"
#include "app/paths.h"
#include "save_crypt.h"
#include "settings_text.h"

namespace settings {
namespace {

// A hundred presets take some 20 KiB. Beyond this the file is not ours, and reading it could
// exhaust the memory.
constexpr std::size_t kMaxFileSize = std::size_t{64} << 20U;

constexpr const char* kAside = ".manipuliert";

void move_aside(const std::string& path) {
  const std::string aside = path + kAside;
  if (std::rename(path.c_str(), aside.c_str()) == 0) {
    logger::warn("Settings damaged - moved aside as " + aside);
  } else {
    logger::warn("Settings damaged - cannot be moved aside as " + aside);
  }
}

// What cannot be read today, for want of the right or because the disk errs, is not to be replaced
// by a first run's settings.
void keep_unread(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_regular_file(path, error))
    std::filesystem::rename(path, path + kAside, error);
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
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    logger::error("Settings cannot be replaced");
    return false;
  }
  // The new file is in place; all that is uncertain is which one a loss of power would leave.
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
  switch (files::read_all(path, kMaxFileSize, &sealed)) {
    case files::Read::kMissing:
      return s;
    case files::Read::kFailed:
      keep_unread(path);
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

bool save(const Settings& s) {
  try {
    return save_sealed(crypt::encrypt(serialize(s)));
  } catch (const std::exception&) {
    // No random numbers for the seal, or no memory: this save does not happen, the program goes on.
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
    // Without random numbers nothing can be sealed: both findings stay false.
  }
}

}  // namespace settings
