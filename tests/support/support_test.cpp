// The ground under the server tests: if these fail, no other server test means anything.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "pulse_client.h"
#include "recorder.h"
#include "sound_server.h"
#include "tone_player.h"
#include "wait_until.h"

namespace {

using namespace std::chrono_literals;
using namespace support;
using testing::ContainsRegex;
using testing::Not;

class Support : public testing::TestWithParam<ServerKind> {
 protected:
  void SetUp() override { require_programs(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(On, Support,
                         testing::Values(ServerKind::kPulseAudio, ServerKind::kPipeWire),
                         [](const auto& param) { return name_of(param.param); });

TEST_P(Support, servers_live_side_by_side_freeze_come_back_and_leave_nothing_behind) {
  std::filesystem::path directory;
  {
    SoundServer first(GetParam());
    SoundServer second(GetParam());
    first.start();
    second.start();
    PulseClient client(first.address());
    EXPECT_EQ(client.sinks().size(), 2U);    // ours,
    EXPECT_EQ(client.sources().size(), 2U);  // with their monitors
    for (const pid_t pid : first.pids()) {
      // What looks for sound cards, headsets and cameras, whether or not there are any here.
      EXPECT_THAT(
          read_file("/proc/" + std::to_string(pid) + "/maps"),
          Not(ContainsRegex("libspa-(alsa|bluez5|v4l2|libcamera)|module-(udev|alsa|bluez)")));
    }
    client.set_default_sink("headset");
    EXPECT_TRUE(wait_until("the first has a new default", 5s,
                           [&] { return client.default_sink() == "headset"; }));
    EXPECT_EQ(PulseClient(second.address()).default_sink(), "speakers");

    const auto sound = sines({{1000, -20, Sine::kLeft}, {1000, -26, Sine::kRight}});
    TonePlayer player(first.address(), sound);
    first.kill();
    EXPECT_TRUE(wait_until("the player fails", 5s, [&] { return player.failed(); }));
    EXPECT_ANY_THROW(client.sinks());
    first.start();
    EXPECT_TRUE(client.sink("headset").has_value());

    TonePlayer other(second.address(), sound);
    Recorder recorder(second.address(), "speakers.monitor");
    recorder.next(100ms);
    second.freeze();
    EXPECT_ANY_THROW(recorder.next(1s));
    second.thaw();
    // On a busy machine the player may run dry for a moment: one half second without that is
    // enough.
    EXPECT_TRUE(wait_until("half a second at the right levels", 10s, [&](std::string& seen) {
      const Stereo heard = recorder.next(500ms);
      const double left = level_db(heard.left, 1000);
      const double right = level_db(heard.right, 1000);
      seen = std::to_string(left) + " and " + std::to_string(right) + " dB";
      return std::abs(left + 20) < 0.05 && std::abs(right + 26) < 0.05;
    }));
    second.freeze();  // a frozen server goes as well

    directory = first.directory();
    EXPECT_FALSE(processes_with("XDG_RUNTIME_DIR", directory.string()).empty());
  }
  EXPECT_TRUE(processes_with("XDG_RUNTIME_DIR", directory.string()).empty());
  EXPECT_FALSE(std::filesystem::exists(directory));
}

}  // namespace
