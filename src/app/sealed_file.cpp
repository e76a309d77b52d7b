// DESIGN: a save writes a second file, makes it durable and only then renames it, so a reader finds
// the old file or the new one. A load trusts only sealed data.
#include "sealed_file.h"

#include <cstddef>
#include <cstdio>
#include <exception>

#include "app/logger.h"
#include "app/paths.h"
#include "posix/files.h"
#include "save_crypt.h"

namespace settings {
namespace {

// A hundred presets take some 20 KiB. A larger file is not ours, and reading it could exhaust the
// memory.
constexpr std::size_t kMaxFileSize = std::size_t{64} << 20U;

constexpr const char* kDamaged = ".manipuliert";
constexpr const char* kUnread = ".unread";

}  // namespace

std::string SealedFile::path() const {
  return paths::config_dir() + "/" + name_;
}

bool SealedFile::failed(const std::string& why) const {
  logger::error(std::string(what_) + " " + why);
  return false;
}

void SealedFile::move_aside() const {
  const std::string aside = path() + kDamaged;
  const bool moved = std::rename(path().c_str(), aside.c_str()) == 0;
  logger::warn(std::string(what_) + " damaged - " +
               (moved ? "moved aside as " : "cannot be moved aside as ") + aside);
}

// Moves the file that could not be read to an unused name.
bool SealedFile::keep_unread() {
  const std::string unread = path() + kUnread;
  std::string kept = unread;
  for (int i = 2; files::is_taken(kept); ++i)
    kept = unread + std::to_string(i);
  if (std::rename(path().c_str(), kept.c_str()) != 0) return failed("cannot be replaced");
  logger::warn(std::string(what_) + " that could not be read are kept as " + kept);
  unread_ = false;
  return true;
}

bool SealedFile::replace(const std::string& sealed) {
  const std::string file = path();
  const std::string temporary = file + ".tmp";
  switch (files::write_durably(temporary, sealed)) {
    case files::Written::kNotOpened:
      return failed("not writable: " + temporary);
    case files::Written::kIncomplete:
      return failed("not completely written");
    case files::Written::kYes:
      break;
  }
  if (unread_ && files::is_taken(file) && !keep_unread()) return false;
  if (std::rename(temporary.c_str(), file.c_str()) != 0) return failed("cannot be replaced");
  // The new file is in place; it is only uncertain which one would survive a power failure.
  if (!files::sync_directory_of(file))
    logger::warn(std::string(what_) + " replaced, but not yet safe on disk: " + file);
  return true;
}

std::optional<std::string> SealedFile::load() {
  std::string sealed;
  unread_ = false;
  switch (files::read_all(path(), kMaxFileSize, &sealed)) {
    case files::Read::kMissing:
      return std::nullopt;
    case files::Read::kFailed:
      unread_ = true;
      logger::warn(std::string(what_) + " not readable: " + path());
      return std::nullopt;
    case files::Read::kTooLarge:
      move_aside();
      return std::nullopt;
    case files::Read::kOk:
      break;
  }
  std::string text;
  const int opened = crypt::decrypt(sealed, &text);
  if (opened == 0) return text;
  if (opened == 2) move_aside();  // else it is empty: nothing was ever saved
  return std::nullopt;
}

bool SealedFile::save(const std::string& text) {
  try {
    return replace(crypt::encrypt(text));
  } catch (const std::exception&) {
    // No random numbers for the seal, or no memory: this save fails, the program continues.
    return failed("not completely written");
  }
}

}  // namespace settings
