// Files: POSIX descriptors with every result checked, and safe handling of files that another user
// may have planted.
//
// Writing never follows a symbolic link at the end of a path, never waits for a pipe's other end,
// and refuses anything but a regular file. Threads: any; no state.
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

  // Gives the descriptor to the caller.
  int release();

  // Closes early and returns whether that succeeded: some file systems report a failed write only
  // then.
  bool close();

 private:
  int fd_;
};

// Whether something of this name exists; a dangling symbolic link does not.
bool exists(const std::string& path);

// Whether something has this name, a dangling symbolic link included.
bool is_taken(const std::string& path);

// Whether it is a directory (not a link to one) of this user that nobody else can enter.
bool is_private_directory(const std::string& path);

// Whether it is a directory, not a link to one.
bool is_directory(const std::string& path);

// Whether it is a regular file of this user, not a link to one.
bool is_own_file(const std::string& path);

// Creates the directory and every missing ancestor with `mode`. Existing directories are left
// unchanged, errors ignored.
void make_directories(const std::string& path, mode_t mode);

// Removes anything but a directory. A missing file is not an error.
void remove(const std::string& path);

// Renames, or copies (to a file that only the user can read) and removes where the new name is on
// another file system. Replaces `to`. At most `limit` bytes are copied; a larger file stays.
bool move(const std::string& from, const std::string& to, std::size_t limit);

// Opening -------------------------------------------------------------
// These return a descriptor that is closed on exec, or -1 with errno set. They may be called from a
// signal handler.

// Opens a regular file, not a link. `flags` are those of open(); with O_CREAT a missing file is
// created with `mode`. Anything else of that name is refused and left unchanged.
int open_regular(const char* path, int flags, mode_t mode = 0);

// The same for writing; creates or truncates the file.
int open_for_writing(const char* path, mode_t mode);

// The same in a directory where others can create files: refuses a file that is not this user's.
int open_own_for_writing(const char* path, mode_t mode);

// Whole files ---------------------------------------------------------

// Writes everything. Returns false, with errno set, when not all of it could be written.
bool write_all(int fd, std::string_view bytes);

enum class Written {
  kYes,
  kNotOpened,
  kIncomplete,  // the file's content is unusable now
};

// Writes a file, replacing its content, and waits until it is safe on disk. A new file belongs to
// the user alone.
Written write_durably(const std::string& path, std::string_view bytes);

// Writes a new file that only the user can read, in place of any file of that name. An incomplete
// file is removed.
bool write_new(const std::string& path, std::string_view bytes);

// Copies a regular file (not a link) of at most `limit` bytes. The copy replaces `to`; only the
// user can read it.
bool copy(const std::string& from, const std::string& to, std::size_t limit);

enum class Read {
  kOk,
  kMissing,   // nothing of this name
  kFailed,    // no permission, an I/O error, or no regular file
  kTooLarge,  // more than `limit` bytes
};

// Reads a whole regular file; follows links. `bytes` is empty unless the result is kOk.
Read read_all(const std::string& path, std::size_t limit, std::string* bytes);

// Reads the first `limit` bytes of a regular file, not a link. On an error returns false, with
// `bytes` empty.
bool read_beginning(const std::string& path, std::size_t limit, std::string* bytes);

// Makes a rename within the directory survive a power failure. Returns false when the system cannot
// promise it.
bool sync_directory_of(const std::string& path);

}  // namespace files
