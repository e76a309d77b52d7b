// Small tools for the files that the program keeps: POSIX descriptors with every result looked at.
// Threads: any; no state.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace files {

// Owns a descriptor; -1 is none.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

  // Closes early, to learn whether that went well: some file systems report a failed write only
  // now.
  bool close();

 private:
  int fd_;
};

// Whether something of this name is there; a dangling symbolic link is not.
bool exists(const std::string& path);

// Creates the directory and every missing ancestor with `mode`. Errors are ignored, existing ones
// left alone.
void make_directories(const std::string& path, mode_t mode);

// Writes everything. Returns false, with errno set, when not all of it could be written.
bool write_all(int fd, std::string_view bytes);

enum class Written {
  kYes,
  kNotOpened,
  kIncomplete,  // what is on disk now is of no use
};

// Writes a file, replacing its content, and waits until it is safe on disk. A new file belongs to
// the user alone.
Written write_durably(const std::string& path, std::string_view bytes);

enum class Read {
  kOk,
  kMissing,   // nothing of this name
  kFailed,    // cannot be opened or read, or is no regular file
  kTooLarge,  // more than `limit` bytes
};

// Reads a whole regular file. `bytes` is empty unless the result is kOk. Never waits for a pipe's
// other end.
Read read_all(const std::string& path, std::size_t limit, std::string* bytes);

// Makes a rename within the directory survive a loss of power. Returns false when the system cannot
// promise it.
bool sync_directory_of(const std::string& path);

}  // namespace files
