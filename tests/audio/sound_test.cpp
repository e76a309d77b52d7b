// The sound itself: what another program plays arrives equalized, and nothing is lost on the way.
// The engine runs inside the test, so that wishes can be changed while it plays.

#include <cmath>
#include <cstdlib>

#include "audio.h"
#include "engine_test.h"

namespace engine_test {
namespace {

class Sound : public EngineTest {
 protected:
  void TearDown() override { audio::stop(); }

  void run(const eq::Curve& curve, bool active = true) {
    setenv("PULSE_SERVER", server().address().c_str(), 1);
    audio::set_curve(curve);
    audio::set_active(active);
    ASSERT_TRUE(audio::start(true));
    ASSERT_TRUE(wait_until("the engine runs", kPatience, [&] {
      const audio::Status s = audio::status();
      return s.state == audio::kRunning && s.active == active && (s.streams_alive || !active);
    }));
  }
};

INSTANTIATE_TEST_SUITE_P(On, Sound, testing::Values(ServerKind::kPulseAudio, ServerKind::kPipeWire),
                         [](const auto& param) { return name_of(param.param); });

// Waits until the tone has come through, then returns half a second of it.
Stereo settled(Recorder& recorder) {
  EXPECT_TRUE(wait_until("the sound arrives", kPatience,
                         [&] { return rms(recorder.newest(200ms).left) > 1e-3; }));
  recorder.next(300ms);
  return recorder.next(500ms);
}

TEST_P(Sound, tones_arrive_as_the_curve_says_on_both_channels) {
  constexpr double kTones[] = {125, 1000, 8000};
  constexpr double kLevel = -30;
  run(eq::preset_curve(eq::find_preset("preset_rock")));
  std::vector<Sine> parts;
  for (const double f : kTones) {
    parts.push_back({f, kLevel, Sine::kLeft});
    parts.push_back({f, kLevel - 6, Sine::kRight});
  }
  TonePlayer music(server().address(), sines(parts));
  ASSERT_TRUE(stream_is_on(kMusic, kSink));
  Recorder recorder(server().address(), "speakers.monitor");
  for (const char* preset : {"preset_rock", "preset_vocal"}) {
    const eq::Curve curve = eq::preset_curve(eq::find_preset(preset));
    audio::set_curve(curve);
    EXPECT_TRUE(wait_until(
        std::string("the tones are as ") + preset + " says", kPatience, [&](std::string& seen) {
          const Stereo sound = recorder.next(500ms);
          double worst = 0;
          for (const double f : kTones) {
            const double wanted = kLevel + eq::response_db(curve, 48000, static_cast<float>(f));
            worst = std::max(worst, std::abs(level_db(sound.left, f) - wanted));
            worst = std::max(worst, std::abs(level_db(sound.right, f) - (wanted - 6)));
          }
          seen = "off by " + std::to_string(worst) + " dB";
          return worst < 0.3;
        }));
  }
}

TEST_P(Sound, a_changing_curve_makes_no_gap) {
  run({});
  TonePlayer music(server().address(), sines({{440, -12}}));
  Recorder recorder(server().address(), "speakers.monitor");
  settled(recorder);
  // A busy machine may lose a cycle of its own accord, but not in every second; changes that tore
  // the sound apart would do so in each. The tone's own largest step is 0.0145, and 6 dB at once
  // add little to it.
  EXPECT_TRUE(
      wait_until("a second of changes passes without a gap", kPatience, [&](std::string& seen) {
        const std::size_t from = recorder.frames();
        for (int i = 0; i < 40; ++i) {
          eq::Curve curve;
          curve.gain[4] = static_cast<float>(i % 7) - 3.0F;
          curve.preamp = i % 2 == 0 ? -6.0F : 0.0F;
          audio::set_curve(curve);
          recorder.next(25ms);
        }
        const Stereo sound = recorder.window(from, recorder.frames());
        const double gap_ms = longest_gap_ms(sound.left, 0.01);
        const double jump = max_jump(sound.left);
        seen = "gap " + std::to_string(gap_ms) + " ms, jump " + std::to_string(jump);
        return gap_ms < 1.0 && jump < 0.03;
      }));
}

TEST_P(Sound, the_takeover_of_a_playing_stream_is_a_short_gap) {
  TonePlayer music(server().address(), sines({{440, -12}}), {.latency = 200ms});
  Recorder recorder(server().address(), "speakers.monitor");
  settled(recorder);
  const std::size_t from = recorder.frames();
  run({});
  ASSERT_TRUE(stream_is_on(kMusic, kSink));
  recorder.next(2500ms);
  const Stereo sound = recorder.window(from, recorder.frames());
  EXPECT_LT(longest_gap_ms(sound.left, 0.01), 500);
}

// A null sink that nobody has used is up to two seconds ahead of the clock: ours after it was
// loaded, and the person's own where that is the device.
TEST_P(Sound, the_first_sound_after_the_start_is_not_lost) {
  client().load_module("module-null-sink", "sink_name=plain");
  client().set_default_sink("plain");
  run({});
  ASSERT_TRUE(wait_until("the plain device is played to", kPatience,
                         [&] { return audio::status().target == "plain"; }));
  TonePlayer music(server().address(), sines({{440, -12}}));
  Recorder recorder(server().address(), "plain.monitor");
  const Stereo sound = recorder.next(1200ms);
  EXPECT_GT(rms(std::span(sound.left).last(kRate * 3 / 10)), 0.1);
}

TEST_P(Sound, the_limiter_bounds_what_the_curve_boosts) {
  eq::Curve loud;
  loud.gain[5] = 12;
  loud.preamp = 6;
  run(loud);
  TonePlayer music(server().address(), sines({{1000, -1}}));
  Recorder recorder(server().address(), "speakers.monitor");
  const Stereo sound = settled(recorder);
  EXPECT_LE(peak(sound.left), 1.0);
  EXPECT_GT(peak(sound.left), 0.95);
}

TEST_P(Sound, muting_silences_the_device_and_unmuting_brings_it_back) {
  run({});
  TonePlayer music(server().address(), sines({{1000, -20}}));
  ASSERT_TRUE(hears("speakers", 1000, -20));
  audio::set_mute(true);
  EXPECT_TRUE(audio::status().muted) << "the button reacts before the server does";
  EXPECT_TRUE(wait_until("the device is muted", kPatience,
                         [&] { return client().sink("speakers")->mute; }));
  client().set_sink_mute(kSink, true);
  EXPECT_TRUE(wait_until("it is still shown", kPatience, [&] { return audio::status().muted; }));
  audio::set_mute(false);
  EXPECT_TRUE(wait_until("device and sink are unmuted", kPatience, [&] {
    return !client().sink("speakers")->mute && !client().sink(kSink)->mute;
  }));
  EXPECT_TRUE(wait_until("that is shown", kPatience, [&] { return !audio::status().muted; }));
}

TEST_P(Sound, off_gives_everything_back_and_the_spectrum_goes_on) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  run({});
  ASSERT_TRUE(stream_is_on(kMusic, kSink));
  audio::set_active(false);
  ASSERT_TRUE(
      wait_until("the equalizer is off", kPatience, [&] { return !audio::status().active; }));
  EXPECT_FALSE(client().sink(kSink).has_value());
  EXPECT_EQ(client().sink_of(kMusic), "speakers");
  float left = 0;
  float right = 0;
  audio::take_peaks(&left, &right);
  EXPECT_TRUE(wait_until("peaks move", kPatience, [&] {
    audio::take_peaks(&left, &right);
    return left > 0.05F && right > 0.05F;
  }));
  audio::set_active(true);
  EXPECT_TRUE(stream_is_on(kMusic, kSink));
  audio::stop();
  EXPECT_TRUE(as_before());
}

TEST_P(Sound, the_tap_shows_what_is_played) {
  std::vector<float> left(8192, 7.0F);
  std::vector<float> right(8192, 7.0F);
  float rate = 0;
  std::uint64_t serial = 1;
  EXPECT_FALSE(audio::tap(left.data(), right.data(), 8192, &rate, &serial));
  EXPECT_EQ(rate, 48000.0F);
  EXPECT_EQ(serial, 0U);
  EXPECT_EQ(left[0], 7.0F);
  run({});
  TonePlayer music(server().address(),
                   sines({{1000, -20, Sine::kLeft}, {2000, -26, Sine::kRight}}));
  // Whole, without a seam and in the right order; the beginning of the tone may have one of its
  // own.
  EXPECT_TRUE(wait_until("the tone is tapped", kPatience, [&] {
    return audio::tap(left.data(), right.data(), 100000, nullptr, &serial) &&
           std::abs(level_db(left, 1000) + 20) < 0.2 &&
           std::abs(level_db(right, 2000) + 26) < 0.2 && max_jump(left) < 0.02;
  }));
  EXPECT_GT(serial, 0U);
}

TEST_P(Sound, the_delay_stays_near_its_target_after_hiccups) {
  run({});
  TonePlayer music(server().address(), noise(1, -20));
  Recorder in(server().address(), "velmora.monitor");
  Recorder out(server().address(), "speakers.monitor");
  settled(out);
  const auto delay_ms = [&] {
    // Both recorders are asked at the same moment for what is new.
    const std::size_t in_from = in.frames();
    const std::size_t out_from = out.frames();
    in.next(300ms);
    out.next(700ms);
    const Stereo a = in.window(in_from, in_from + kRate / 5);
    const Stereo b = out.window(out_from, out_from + kRate * 6 / 10);
    const auto frames = delay_frames(a.left, b.left, kRate * 4 / 10);
    return frames ? static_cast<double>(*frames) / 48.0 : -1.0;
  };
  const auto settles = [&](const char* after) {
    EXPECT_TRUE(
        wait_until(std::string("the delay is short after ") + after, 10s, [&](std::string& seen) {
          const double ms = delay_ms();
          seen = std::to_string(ms) + " ms";
          return ms > 0 && ms < 130;
        }));
  };
  settles("the start");
  server().freeze();
  std::this_thread::sleep_for(400ms);
  server().thaw();
  settles("a server that hung");
  client().set_default_sink("headset");
  ASSERT_TRUE(routed_to("headset"));
  client().set_default_sink("speakers");
  ASSERT_TRUE(routed_to("speakers"));
  settles("two switches");
}

TEST_P(Sound, a_server_that_hangs_holds_no_caller_up) {
  run({});
  TonePlayer music(server().address(), sines({{1000, -20}}));
  server().freeze();
  audio::set_output("headset");  // a pass that gets no answer
  std::vector<float> samples(8192);
  // Bounded by what the worst single wait on the server would cost, not by a clock: 1000 rounds
  // would take hours.
  const auto began = std::chrono::steady_clock::now();
  for (int i = 0; i < 1000; ++i) {
    audio::set_active(i % 2 == 0);
    audio::set_mute(false);
    audio::set_output(i % 2 == 0 ? "" : "headset");
    audio::set_restore_hint("speakers");
    audio::set_curve({});
    static_cast<void>(audio::status());
    static_cast<void>(audio::devices());
    audio::tap(samples.data(), samples.data(), 4096, nullptr, nullptr);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - began, 2s);
  audio::set_active(true);
  audio::set_output("");
  server().thaw();
  EXPECT_TRUE(routed_to("speakers"));
}

}  // namespace
}  // namespace engine_test
