// DESIGN: plain POSIX calls, because std::filesystem and streams follow symbolic links, wait for
// pipes, and report neither fsync nor close. One function opens files and decides what to refuse;
// it truncates a file only after checking it.
#include "posix/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace files {
namespace {

constexpr std::size_t kChunk = 65536;
constexpr mode_t kPrivate = 0600;

// Whether the open file is a regular one, with errno as open would set it.
bool is_regular(int fd, struct stat* info) {
  if (fstat(fd, info) != 0) return false;
  if (S_ISREG(info->st_mode)) return true;
  errno = S_ISDIR(info->st_mode) ? EISDIR : EINVAL;
  return false;
}

// Returns -1 without closing anything else's error.
int refuse(int fd) {
  const int error = errno;
  close(fd);
  errno = error;
  return -1;
}

// Appends at most `limit` bytes; false on an error.
bool read_up_to(int fd, std::size_t limit, std::string* bytes) {
  std::size_t used = bytes->size();
  const std::size_t end = used + limit;
  for (;;) {
    bytes->resize(std::min(used + kChunk, end));
    if (bytes->size() == used) return true;
    const ssize_t n = read(fd, bytes->data() + used, bytes->size() - used);
    if (n < 0 && errno == EINTR) continue;
    if (n > 0) used += static_cast<std::size_t>(n);
    if (n > 0) continue;
    bytes->resize(used);
    return n == 0;
  }
}

// A new file, so that nobody can have planted one of this name.
Descriptor create(const std::string& path) {
  remove(path);
  return Descriptor(open_regular(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, kPrivate));
}

// Closes; an incomplete file is removed.
bool finish(Descriptor* file, const std::string& path, bool complete) {
  complete = file->close() && complete;
  if (!complete) remove(path);
  return complete;
}

}  // namespace

int Descriptor::release() {
  return std::exchange(fd_, -1);
}

bool Descriptor::close() {
  const int fd = release();
  return fd < 0 || ::close(fd) == 0;
}

bool exists(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0;
}

bool is_taken(const std::string& path) {
  struct stat info {};
  return lstat(path.c_str(), &info) == 0;
}

bool is_directory(const std::string& path) {
  struct stat info {};
  return lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool is_private_directory(const std::string& path) {
  struct stat info {};
  return lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == geteuid() &&
         (info.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

bool is_own_file(const std::string& path) {
  struct stat info {};
  return lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == geteuid();
}

void make_directories(const std::string& path, mode_t mode) {
  std::string ancestor;
  for (const char c : path) {
    ancestor += c;
    if (c == '/' && ancestor.size() > 1) mkdir(ancestor.c_str(), mode);
  }
  mkdir(path.c_str(), mode);
}

void remove(const std::string& path) {
  static_cast<void>(unlink(path.c_str()));
}

bool move(const std::string& from, const std::string& to, std::size_t limit) {
  if (std::rename(from.c_str(), to.c_str()) == 0) return true;
  if (errno != EXDEV || !copy(from, to, limit)) return false;
  remove(from);
  return true;
}

int open_regular(const char* path, int flags, mode_t mode) {
  // Without O_NONBLOCK, opening a named pipe would wait for its other end.
  const int fd = open(path, flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, mode);
  struct stat info {};
  return fd < 0 || is_regular(fd, &info) ? fd : refuse(fd);
}

int open_for_writing(const char* path, mode_t mode) {
  // Truncated only after the checks.
  const int fd = open_regular(path, O_WRONLY | O_CREAT, mode);
  return fd < 0 || ftruncate(fd, 0) == 0 ? fd : refuse(fd);
}

int open_own_for_writing(const char* path, mode_t mode) {
  int fd = open_regular(path, O_WRONLY | O_CREAT | O_EXCL, mode);
  if (fd >= 0 || errno != EEXIST) return fd;
  // Without O_CREAT: the kernel refuses that for other users' files in shared directories.
  fd = open_regular(path, O_WRONLY);
  struct stat info {};
  if (fd < 0) return fd;
  errno = EPERM;
  if (fstat(fd, &info) != 0 || info.st_uid != geteuid()) return refuse(fd);
  return ftruncate(fd, 0) == 0 ? fd : refuse(fd);
}

bool write_all(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = write(fd, bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

Written write_durably(const std::string& path, std::string_view bytes) {
  Descriptor file(open_for_writing(path.c_str(), kPrivate));
  if (!file) return Written::kNotOpened;
  const bool complete = write_all(file.get(), bytes) && fsync(file.get()) == 0;
  // Always closed, and the result counts: some file systems report a full disk only then.
  return file.close() && complete ? Written::kYes : Written::kIncomplete;
}

bool write_new(const std::string& path, std::string_view bytes) {
  Descriptor file = create(path);
  return file && finish(&file, path, write_all(file.get(), bytes));
}

bool copy(const std::string& from, const std::string& to, std::size_t limit) {
  const Descriptor source(open_regular(from.c_str(), O_RDONLY));
  struct stat info {};
  if (!source || fstat(source.get(), &info) != 0) return false;
  // A hole takes no space in the original, but would in the copy.
  if (static_cast<std::uintmax_t>(info.st_size) > limit) return false;
  std::string bytes;
  return read_up_to(source.get(), limit, &bytes) && write_new(to, bytes);
}

Read read_all(const std::string& path, std::size_t limit, std::string* bytes) {
  bytes->clear();
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file) return errno == ENOENT || errno == ENOTDIR ? Read::kMissing : Read::kFailed;
  struct stat info {};
  if (!is_regular(file.get(), &info)) return Read::kFailed;
  // The size is only a hint: the file may change while it is read.
  if (info.st_size > 0 && static_cast<std::uintmax_t>(info.st_size) > limit) return Read::kTooLarge;
  const bool read = read_up_to(file.get(), limit + 1, bytes);
  const bool too_large = bytes->size() > limit;
  if (!read || too_large) bytes->clear();
  return too_large ? Read::kTooLarge : read ? Read::kOk : Read::kFailed;
}

bool read_beginning(const std::string& path, std::size_t limit, std::string* bytes) {
  bytes->clear();
  const Descriptor file(open_regular(path.c_str(), O_RDONLY));
  const bool read = file && read_up_to(file.get(), limit, bytes);
  if (!read) bytes->clear();
  return read;
}

bool sync_directory_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string dir = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  Descriptor directory(open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return directory && fsync(directory.get()) == 0 && directory.close();
}

}  // namespace files
