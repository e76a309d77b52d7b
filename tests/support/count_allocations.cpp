// Preloaded into the program: counts what its main thread allocates, in the file that
// VELMORA_ALLOCATIONS names. The C++ library's allocations come here as well.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

// The allocator behind the one that is replaced here.
extern "C" {
void* __libc_malloc(std::size_t size);                           // NOLINT
void* __libc_calloc(std::size_t count, std::size_t size);        // NOLINT
void* __libc_realloc(void* block, std::size_t size);             // NOLINT
void* __libc_memalign(std::size_t alignment, std::size_t size);  // NOLINT
}

namespace {

std::atomic<std::uint64_t>* g_count = nullptr;  // shared with the test
pid_t g_main = 0;

void note() {
  if (g_count != nullptr && gettid() == g_main) ++*g_count;
}

__attribute__((constructor)) void open_count() {
  const char* path = std::getenv("VELMORA_ALLOCATIONS");
  if (path == nullptr) return;
  const int fd = open(path, O_RDWR | O_CLOEXEC);
  if (fd < 0) return;
  void* shared = mmap(nullptr, sizeof *g_count, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  close(fd);
  if (shared == MAP_FAILED) return;
  g_main = getpid();
  g_count = static_cast<std::atomic<std::uint64_t>*>(shared);
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) noexcept {
  note();
  return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  note();
  return __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) noexcept {
  note();
  return __libc_realloc(block, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  note();
  return __libc_memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
  note();
  *block = __libc_memalign(alignment, size);
  return *block == nullptr ? ENOMEM : 0;
}

}  // extern "C"
