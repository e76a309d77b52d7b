// With nothing playing, the real device may sleep; the first sound wakes it.
#include "engine_test.h"

namespace engine_test {
namespace {

class Sleep : public testing::TestWithParam<ServerKind> {
 protected:
  void SetUp() override { require_programs(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(On, Sleep,
                         testing::Values(ServerKind::kPulseAudio, ServerKind::kPipeWire),
                         [](const auto& param) { return name_of(param.param); });

TEST_P(Sleep, the_device_sleeps_in_silence_and_the_first_sound_wakes_it) {
  SoundServer server(GetParam(), {.suspend_on_idle_s = 1});
  server.start();
  PulseClient client(server.address());
  VelmoraOptions options;
  options.arguments = {"--preset", "flat"};
  VelmoraProcess program(server, options);
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(wait_until("the device sleeps", 40s, [&](std::string& seen) {
      const auto sink = client.sink("speakers");
      seen = "default " + client.default_sink() + ", state " +
             std::to_string(sink.has_value() ? sink->state : -1);
      return client.default_sink() == kSink && sink.has_value() &&
             sink->state == PA_SINK_SUSPENDED;
    }));
    TonePlayer music(server.address(), sines({{1000, -20}}));
    EXPECT_TRUE(wait_until("the tone is heard", kPatience, [&](std::string& seen) {
      Recorder recorder(server.address(), "speakers.monitor");
      const Stereo sound = recorder.next(400ms);
      const double heard = level_db(std::span(sound.left).last(kRate / 4), 1000);
      seen = std::to_string(heard) + " dB";
      return std::abs(heard + 20) < 0.3;
    }));
  }
  EXPECT_EQ(program.count_in_log("underrun"), 0);
}

}  // namespace
}  // namespace engine_test
