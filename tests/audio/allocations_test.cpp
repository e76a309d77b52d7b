// A frame takes no memory: what runs all day must not stir the heap sixty times a second.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <fstream>
#include <thread>
#include <utility>

#include "engine_test.h"
#include "temp_dir.h"

namespace engine_test {
namespace {

using Count = std::atomic<std::uint64_t>;

// Zero, and mapped: what the preloaded library counts into.
class SharedCount {
 public:
  SharedCount() {
    std::ofstream(path()) << std::string(sizeof(Count), '\0');
    const int fd = open(path().c_str(), O_RDONLY | O_CLOEXEC);
    map_ = mmap(nullptr, sizeof(Count), PROT_READ, MAP_SHARED, fd, 0);
    close(fd);
  }
  ~SharedCount() { munmap(map_, sizeof(Count)); }
  SharedCount(const SharedCount&) = delete;
  SharedCount& operator=(const SharedCount&) = delete;

  [[nodiscard]] std::string path() const { return (directory_.path() / "count").string(); }
  [[nodiscard]] std::uint64_t value() const { return static_cast<const Count*>(map_)->load(); }

 private:
  TempDir directory_;
  void* map_ = nullptr;
};

TEST(Allocations, none_in_a_frame_while_music_plays) {
  require_programs(ServerKind::kPulseAudio);
  if (IsSkipped()) return;
  // Names as long as real ones, which no string holds without memory of its own.
  SoundServer server(ServerKind::kPulseAudio, {.devices = {"alsa_output.pci-0000_00_1f.3.analog"}});
  server.start();
  TonePlayer music(server.address(), noise(1));
  const SharedCount count;
  VelmoraOptions options;
  options.environment = {{"LD_PRELOAD", VELMORA_COUNT_ALLOCATIONS},
                         {"VELMORA_ALLOCATIONS", count.path()}};
  VelmoraProcess program(server, options);
  ASSERT_TRUE(program.wait_for_log("First frame after", kPatience));
  EXPECT_GT(count.value(), 1000U) << "nothing is counted";
  std::uint64_t before = count.value();
  EXPECT_TRUE(wait_until("a second goes by", kPatience, [&](std::string& seen) {
    std::this_thread::sleep_for(1s);  // some dozens of frames
    const std::uint64_t now = count.value();
    seen = std::to_string(now - before) + " allocations in the last second";
    return std::exchange(before, now) == now;
  }));
}

}  // namespace
}  // namespace engine_test
