// The ground under the server tests: if these fail, no other server test means anything.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <thread>

#include "pulse_client.h"
#include "recorder.h"
#include "sound_server.h"
#include "tone_player.h"
#include "wait_until.h"

namespace {

using namespace std::chrono_literals;
using namespace support;

constexpr double kThousandHz = 1000;

class Support : public testing::TestWithParam<ServerKind> {
 protected:
  void SetUp() override { require_programs(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(On, Support,
                         testing::Values(ServerKind::kPulseAudio, ServerKind::kPipeWire),
                         [](const auto& param) { return name_of(param.param); });

TEST_P(Support, tone_arrives_at_its_level) {
  SoundServer server(GetParam());
  server.start();
  TonePlayer::Options patient;
  patient.latency = 200ms;
  TonePlayer player(server.address(),
                    sines({{kThousandHz, -20, Sine::kLeft}, {kThousandHz, -26, Sine::kRight}}),
                    patient);
  Recorder recorder(server.address(), "speakers.monitor");

  // On a busy machine the player may run dry for a moment: one half second without that is enough.
  EXPECT_TRUE(wait_until("half a second at the right levels", 10s, [&](std::string& seen) {
    const Stereo sound = recorder.next(500ms);
    const double left = level_db(sound.left, kThousandHz);
    const double right = level_db(sound.right, kThousandHz);
    seen = std::to_string(left) + " and " + std::to_string(right) + " dB, " +
           std::to_string(player.underruns()) + " underruns";
    return std::abs(left + 20) < 0.05 && std::abs(right + 26) < 0.05;
  }));
  EXPECT_EQ(player.sink(), "speakers");
}

TEST_P(Support, frozen_server_goes_on_after_the_thaw) {
  SoundServer server(GetParam());
  server.start();
  Recorder recorder(server.address(), "speakers.monitor");
  recorder.next(100ms);

  server.freeze();
  // What was on its way arrives; then nothing more does.
  std::size_t last = recorder.frames();
  ASSERT_TRUE(wait_until("the recording stands still", 5s, [&] {
    const std::size_t now = recorder.frames();
    std::this_thread::sleep_for(50ms);
    last = recorder.frames();
    return now == last;
  }));
  server.thaw();

  EXPECT_GT(recorder.next(100ms).left.size(), 0U);
  EXPECT_FALSE(recorder.failed());
}

TEST_P(Support, killed_server_is_noticed_and_comes_back_with_its_devices) {
  SoundServer server(GetParam());
  server.start();
  PulseClient client(server.address());
  client.set_default_sink("headset");
  TonePlayer player(server.address(), silence());

  server.kill();
  EXPECT_TRUE(wait_until("the player fails", 5s, [&] { return player.failed(); }));
  EXPECT_ANY_THROW(client.sinks());

  server.start();
  EXPECT_TRUE(client.sink("speakers").has_value());
  EXPECT_TRUE(client.sink("headset").has_value());
}

TEST_P(Support, two_servers_live_side_by_side_and_leave_nothing_behind) {
  std::filesystem::path directory;
  {
    SoundServer first(GetParam());
    SoundServer second(GetParam());
    first.start();
    second.start();
    PulseClient client(first.address());
    client.set_default_sink("headset");
    EXPECT_TRUE(wait_until("the first has a new default", 5s,
                           [&] { return client.default_sink() == "headset"; }));
    EXPECT_EQ(PulseClient(second.address()).default_sink(), "speakers");
    directory = first.directory();
    EXPECT_THAT(processes_with("XDG_RUNTIME_DIR", directory.string()),
                testing::Not(testing::IsEmpty()));
    second.freeze();  // a frozen server goes as well
  }
  EXPECT_THAT(processes_with("XDG_RUNTIME_DIR", directory.string()), testing::IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(directory));
}

}  // namespace
