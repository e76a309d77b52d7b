// DESIGN: plain POSIX calls, because std::filesystem follows symbolic links where it matters here.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "faultline_private.h"

namespace faultline::detail {

namespace {

constexpr mode_t kFileMode = 0600;

// -1 when there is no regular file of this name. Never waits for a pipe's other end.
int open_regular(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
  struct stat info {};
  if (fd >= 0 && (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode))) {
    close(fd);
    return -1;
  }
  return fd;
}

// Appends at most `limit` bytes; false on an error.
bool read_up_to(int fd, std::string* out, std::size_t limit) {
  std::array<char, 16384> part{};
  while (out->size() < limit) {
    const ssize_t n = read(fd, part.data(), std::min(part.size(), limit - out->size()));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) break;
    out->append(part.data(), static_cast<std::size_t>(n));
  }
  return true;
}

bool write_all(int fd, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t n = write(fd, bytes, size);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    bytes += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

bool copy_content(int from, int to) {
  for (std::string part;; part.clear()) {
    if (!read_up_to(from, &part, 65536) || !write_all(to, part.data(), part.size())) return false;
    if (part.empty()) return true;
  }
}

// A new file: nobody can have prepared one of this name to have it filled.
int create(const std::string& path) {
  file_remove(path);
  return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
}

// Closes; a file that is not complete is of no use to anybody.
bool finish(int fd, const std::string& path, bool complete) {
  complete = close(fd) == 0 && complete;
  if (!complete) file_remove(path);
  return complete;
}

}  // namespace

std::size_t fitting(const std::string& text, std::size_t limit) {
  if (text.size() <= limit) return text.size();
  std::size_t end = limit;
  // A byte of the form 10xxxxxx continues a character.
  while (end > 0 && limit - end < 4 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U)
    --end;
  return end;
}

bool file_exists(const std::string& path) {
  struct stat info {};
  return lstat(path.c_str(), &info) == 0;
}

bool file_rename(const std::string& from, const std::string& to) {
  if (std::rename(from.c_str(), to.c_str()) == 0) return true;
  // The runtime directory is usually a file system of its own.
  if (errno != EXDEV || !file_copy(from, to)) return false;
  file_remove(from);
  return true;
}

void file_remove(const std::string& path) {
  static_cast<void>(unlink(path.c_str()));
}

bool file_read(const std::string& path, std::string* out, std::size_t limit) {
  out->clear();
  const int fd = open_regular(path);
  if (fd < 0) return false;
  const bool read = read_up_to(fd, out, limit);
  close(fd);
  if (!read) out->clear();
  return read;
}

bool file_copy(const std::string& from, const std::string& to) {
  const int source = open_regular(from);
  if (source < 0) return false;
  const int target = create(to);
  const bool copied = target >= 0 && finish(target, to, copy_content(source, target));
  close(source);
  return copied;
}

bool file_write(const std::string& path, const std::string& bytes) {
  const int fd = create(path);
  return fd >= 0 && finish(fd, path, write_all(fd, bytes.data(), bytes.size()));
}

}  // namespace faultline::detail
