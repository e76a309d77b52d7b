// A frame takes no memory: what runs all day must not stir the heap sixty times a second.
#include <cstdlib>
#include <new>

#include "window.h"

namespace {

int g_allocations = 0;

using frame_memory = Window;

}  // namespace

// Not inlined: GCC 14 would see free() follow an operator new, and warn.
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++g_allocations;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

TEST_F(frame_memory, is_not_taken_while_music_plays) {
  // Names as long as real ones, which no string holds without memory of its own.
  fakes::sound.status.target = fakes::sound.status.follow = "alsa_output.pci-0000_00_1f.3.analog";
  fakes::sound.has_sound = true;
  fakes::sound.left = 0.5F;
  frame(100);
  const int before = g_allocations;
  EXPECT_GT(before, 100) << "nothing is counted";
  for (int i = 0; i < 60; ++i) {
    ++fakes::sound.serial;
    fakes::sound.peak[0] = 0.5F;
    EXPECT_TRUE(frame(16));
  }
  EXPECT_EQ(g_allocations, before);
}
