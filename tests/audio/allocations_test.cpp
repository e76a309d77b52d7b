// A frame takes no memory: what runs all day must not stir the heap sixty times a second.
#include <array>
#include <bit>
#include <cstdint>
#include <fstream>
#include <utility>

#include "engine_test.h"

namespace engine_test {
namespace {

TEST(Allocations, none_in_a_frame_while_music_plays) {
  require_programs(ServerKind::kPulseAudio);
  if (IsSkipped()) return;
  // Names as long as real ones, which no string holds without memory of its own.
  SoundServer server(ServerKind::kPulseAudio, {.devices = {"alsa_output.pci-0000_00_1f.3.analog"}});
  server.start();
  TonePlayer music(server.address(), noise(1));
  // The preloaded library maps this file and counts in it.
  TempDir directory;
  const std::string file = directory.path() / "count";
  std::array<char, sizeof(std::uint64_t)> bytes{};
  std::ofstream(file).write(bytes.data(), bytes.size());
  const auto count = [&] {
    std::ifstream(file).read(bytes.data(), bytes.size());
    return std::bit_cast<std::uint64_t>(bytes);
  };
  VelmoraOptions options;
  options.environment = {{"LD_PRELOAD", VELMORA_COUNT_ALLOCATIONS}, {"VELMORA_ALLOCATIONS", file}};
  VelmoraProcess program(server, options);
  ASSERT_TRUE(program.wait_for_log("First frame after", kPatience));
  std::uint64_t before = count();
  EXPECT_GT(before, 1000U) << "nothing is counted";
  EXPECT_TRUE(eventually("a second goes by", [&](std::string& seen) {
    std::this_thread::sleep_for(1s);  // some dozens of frames
    const std::uint64_t now = count();
    seen = std::to_string(now - before) + " allocations in the last second";
    return std::exchange(before, now) == now;
  }));
}

}  // namespace
}  // namespace engine_test
