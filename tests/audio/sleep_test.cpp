// With nothing playing, the real device may sleep; the first sound wakes it.
#include <algorithm>

#include "engine_test.h"

namespace engine_test {
namespace {

class Sleep : public EngineTest {
 protected:
  Sleep() : EngineTest({.suspend_on_idle_s = 1}) {}
};

INSTANTIATE_TEST_SUITE_P(On, Sleep, kServers, server_name);

// Off, a capture of the device's own monitor shows its spectrum: that keeps nothing awake either.
TEST_P(Sleep, the_device_sleeps_in_silence_and_the_first_sound_wakes_it) {
  for (const bool off : {false, true}) {
    SCOPED_TRACE(off ? "off" : "on");
    auto program = launch(with({off ? "--off" : "--preset", "flat"}));
    const auto captured = [&] {
      const auto streams = client().source_outputs();
      return streams.size() == 1 && !streams[0].corked;
    };
    ASSERT_TRUE(eventually("the sound is captured", captured));
    for (int round = 0; round < 2; ++round) {
      ASSERT_TRUE(wait_until("the device sleeps", 40s, [&](std::string& seen) {
        const pa_sink_state_t state = client().sink("speakers").value().state;
        seen = "default " + client().default_sink() + ", state " + std::to_string(state);
        return client().default_sink() == (off ? "speakers" : kSink) && state == PA_SINK_SUSPENDED;
      }));
      TonePlayer music(server().address(), sines(kTone));
      EXPECT_TRUE(eventually("the capture goes on", captured));
      EXPECT_TRUE(hears("speakers", kTone));
    }
    EXPECT_EQ(program->count_in_log("underrun"), 0);
  }
}

// A ramp shows for each of its samples when it was played.
TEST_P(Sleep, the_first_sound_is_heard_from_its_beginning) {
  Recorder recorder(server().address(), "speakers.monitor");  // keeps the device awake
  auto program = launch();
  for (const bool asleep : {false, true}) {
    ASSERT_TRUE(wait_until(asleep ? "our stream sleeps" : "our stream plays", 40s, [&] {
      const auto streams = client().sink_inputs_of(kOurs);
      return streams.size() == 1 && streams[0].corked == asleep;
    }));
  }
  constexpr double kStart = 0.1;
  constexpr double kPerFrame = 0.5 / (2 * kRate);
  const std::size_t from = recorder.frames();
  TonePlayer ramp(server().address(), [](std::uint64_t first, std::span<float> frames) {
    for (std::size_t i = 0; i < frames.size(); ++i) {
      const double at = static_cast<double>(first + i / 2);
      frames[i] = at < 2 * kRate ? static_cast<float>(kStart + kPerFrame * at) : 0.0F;
    }
  });
  std::vector<float> heard;
  ASSERT_TRUE(eventually("the ramp has been heard", [&] {
    heard = recorder.window(from, recorder.frames()).left;
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
