// DESIGN: descriptors instead of streams, because only they tell about fsync and close.
#include "app/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <utility>

namespace files {
namespace {

constexpr std::size_t kChunk = 65536;
constexpr mode_t kPrivate = 0600;

// Reads up to `size` bytes, fewer only at the end of the file; -1 on an error.
ssize_t read_chunk(int fd, char* into, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t n = read(fd, into + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return -1;
    if (n == 0) break;
    done += static_cast<std::size_t>(n);
  }
  return static_cast<ssize_t>(done);
}

}  // namespace

bool Descriptor::close() {
  const int fd = std::exchange(fd_, -1);
  return fd < 0 || ::close(fd) == 0;
}

bool exists(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0;
}

void make_directories(const std::string& path, mode_t mode) {
  std::string ancestor;
  for (const char c : path) {
    ancestor += c;
    if (c == '/' && ancestor.size() > 1) mkdir(ancestor.c_str(), mode);
  }
  mkdir(path.c_str(), mode);
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
  Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kPrivate));
  if (!file) return Written::kNotOpened;
  const bool complete = write_all(file.get(), bytes) && fsync(file.get()) == 0;
  // Closed in any case, and that counts too: some file systems report a full disk only then.
  return file.close() && complete ? Written::kYes : Written::kIncomplete;
}

Read read_all(const std::string& path, std::size_t limit, std::string* bytes) {
  bytes->clear();
  // Without O_NONBLOCK, opening a named pipe would wait for a writer.
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file) return errno == ENOENT || errno == ENOTDIR ? Read::kMissing : Read::kFailed;
  struct stat info {};
  if (fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) return Read::kFailed;
  if (info.st_size > 0 && static_cast<std::uintmax_t>(info.st_size) > limit) return Read::kTooLarge;
  std::string content;
  std::size_t used = 0;
  // The size is not relied on any further: the file may change while it is read.
  for (;;) {
    content.resize(std::min(used + kChunk, limit + 1));
    const ssize_t n = read_chunk(file.get(), content.data() + used, content.size() - used);
    if (n < 0) return Read::kFailed;
    used += static_cast<std::size_t>(n);
    if (used > limit) return Read::kTooLarge;
    if (used < content.size()) break;
  }
  content.resize(used);
  *bytes = std::move(content);
  return Read::kOk;
}

bool sync_directory_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string dir = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  Descriptor directory(open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return directory && fsync(directory.get()) == 0 && directory.close();
}

}  // namespace files
