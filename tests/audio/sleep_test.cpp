// With nothing playing, the real device may sleep; the first sound wakes it.
#include <algorithm>

#include "engine_test.h"

namespace engine_test {
namespace {

class Sleep : public testing::TestWithParam<ServerKind> {
 protected:
  void SetUp() override { require_programs(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(On, Sleep, testing::Values(ServerKind::kPulseAudio, ServerKind::kPipeWire),
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
      return client.default_sink() == kSink && sink.has_value() && sink->state == PA_SINK_SUSPENDED;
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

// Off, a capture of the device's own monitor shows its spectrum: that keeps nothing awake either.
TEST_P(Sleep, the_device_sleeps_beside_a_spectrum_and_sound_is_seen_again) {
  SoundServer server(GetParam(), {.suspend_on_idle_s = 1});
  server.start();
  PulseClient client(server.address());
  VelmoraOptions options;
  options.arguments = {"--off"};
  VelmoraProcess program(server, options);
  const auto captured = [&](bool corked) {
    const auto streams = client.source_outputs();
    return streams.size() == 1 && streams[0].corked == corked;
  };
  ASSERT_TRUE(wait_until("the spectrum is captured", kPatience, [&] { return captured(false); }));
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(wait_until("the device sleeps", 40s, [&](std::string& seen) {
      const auto sink = client.sink("speakers");
      seen = "state " + std::to_string(sink.has_value() ? sink->state : -1);
      return sink.has_value() && sink->state == PA_SINK_SUSPENDED;
    }));
    TonePlayer music(server.address(), sines({{1000, -20}}));
    EXPECT_TRUE(wait_until("the capture goes on", kPatience, [&] { return captured(false); }));
    const auto sink = client.sink("speakers");
    EXPECT_TRUE(sink.has_value() && sink->state == PA_SINK_RUNNING);
  }
}

// A ramp tells for each of its samples when it was played.
TEST_P(Sleep, the_first_sound_is_heard_from_its_beginning) {
  SoundServer server(GetParam());
  server.start();
  PulseClient client(server.address());
  VelmoraOptions options;
  options.arguments = {"--preset", "flat"};
  VelmoraProcess program(server, options);
  for (const bool asleep : {false, true}) {
    ASSERT_TRUE(wait_until(asleep ? "our stream sleeps" : "our stream plays", 40s, [&] {
      const auto streams = client.sink_inputs_of(kOurs);
      return streams.size() == 1 && streams[0].corked == asleep;
    }));
  }
  constexpr double kStart = 0.1;
  constexpr double kPerFrame = 0.5 / (2 * kRate);
  Recorder recorder(server.address(), "speakers.monitor");
  TonePlayer ramp(server.address(), [](std::uint64_t first, std::span<float> frames) {
    for (std::size_t i = 0; i < frames.size(); ++i) {
      const double at = static_cast<double>(first + i / 2);
      frames[i] = at < 2 * kRate ? static_cast<float>(kStart + kPerFrame * at) : 0.0F;
    }
  });
  std::vector<float> heard;
  ASSERT_TRUE(wait_until("the ramp has been heard", kPatience, [&] {
    heard = recorder.window(0, recorder.frames()).left;
    return std::ranges::any_of(heard, [](float x) { return x > 0.58F; });
  }));
  const auto first = std::ranges::find_if(heard, [](float x) { return x > 0.05F; });
  constexpr double kFewMs = 0.006 * kRate * kPerFrame;
  EXPECT_LT(*first, kStart + kFewMs);
  // Nor is anything missing right behind it, while the queue finds its length. What a busy server
  // leaves out shows as zeros.
  constexpr int kStep = kRate / 100;
  for (int step = 1; step < 10; ++step) {
    const auto at = first + step * kStep;
    if (std::find(at, at + kStep + 1, 0.0F) != at + kStep + 1) break;
    EXPECT_NEAR(at[kStep] - at[0], kStep * kPerFrame, kFewMs) << step * 10 << " ms";
  }
}

}  // namespace
}  // namespace engine_test
