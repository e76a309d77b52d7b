// The sound itself: what another program plays arrives equalized, and nothing is lost on the way.
// The engine runs inside the test, so that wishes can be changed while it plays.

#include <cmath>
#include <cstdlib>

#include "audio/audio.h"
#include "engine_test.h"

namespace engine_test {
namespace {

class Sound : public EngineTest {
 protected:
  void TearDown() override { audio::stop(); }

  void run() {
    setenv("PULSE_SERVER", server().address().c_str(), 1);
    audio::set_curve({});
    audio::set_active(true);
    ASSERT_TRUE(audio::start(true));
    ASSERT_TRUE(eventually("the engine runs", [&] {
      const audio::Status s = audio::status();
      return s.state == audio::kRunning && s.active && s.streams_alive;
    }));
  }
  // Waits until the sound has come through, and a moment longer.
  static void settle(Recorder* recorder) {
    EXPECT_TRUE(
        eventually("the sound arrives", [&] { return rms(recorder->newest(200ms).left) > 1e-3; }));
    recorder->next(300ms);
  }
};

INSTANTIATE_TEST_SUITE_P(On, Sound, kServers, server_name);

TEST_P(Sound, tones_arrive_and_are_shown_as_the_curve_says_on_both_channels) {
  std::vector<Sine> tones;
  for (const double hz : {125.0, 1000.0, 8000.0}) {
    tones.push_back({hz, -30, Sine::kLeft});
    tones.push_back({hz, -36, Sine::kRight});
  }
  std::vector<float> left(8192, 7.0F);
  std::vector<float> right(8192, 7.0F);
  float rate = 0;
  std::uint64_t serial = 1;
  EXPECT_FALSE(audio::tap(left.data(), right.data(), 8192, &rate, &serial));
  EXPECT_EQ(std::tuple(rate, serial, left[0]), std::tuple(48000.0F, 0U, 7.0F));
  run();
  play(tones);
  ASSERT_TRUE(music_is_on(kSink));
  for (const char* preset : {"preset_rock", "preset_vocal"}) {
    const eq::Curve curve = eq::preset_curve(eq::find_preset(preset));
    audio::set_curve(curve);
    EXPECT_TRUE(hears("speakers", through(curve, tones))) << preset;
  }
  // The tap is whole, without a seam and in the right order; the beginning of the tone may have
  // one of its own.
  audio::set_curve({});
  play({{1000, -20, Sine::kLeft}, {2000, -26, Sine::kRight}});
  EXPECT_TRUE(eventually("the tone is tapped", [&] {
    return audio::tap(left.data(), right.data(), 100000, nullptr, &serial) &&
           std::abs(level_db(left, 1000) + 20) < 0.2 &&
           std::abs(level_db(right, 2000) + 26) < 0.2 && max_jump(left) < 0.02;
  }));
  EXPECT_GT(serial, 0U);
}

TEST_P(Sound, a_changing_curve_makes_no_gap) {
  run();
  play({{440, -12}});
  Recorder recorder(server().address(), "speakers.monitor");
  settle(&recorder);
  // A busy machine may lose a cycle of its own accord, but not in every second; changes that tore
  // the sound apart would do so in each. The tone's own largest step is 0.0145, and 6 dB at once
  // add little to it.
  EXPECT_TRUE(eventually("a second of changes passes without a gap", [&](std::string& seen) {
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
  play({{440, -12}});
  Recorder recorder(server().address(), "speakers.monitor");
  settle(&recorder);
  const std::size_t from = recorder.frames();
  run();
  ASSERT_TRUE(music_is_on(kSink));
  recorder.next(2500ms);
  const Stereo sound = recorder.window(from, recorder.frames());
  EXPECT_LT(longest_gap_ms(sound.left, 0.01), 500);
}

// A null sink that nobody has used is up to two seconds ahead of the clock: ours after it was
// loaded, and the user's own where that is the device.
TEST_P(Sound, the_first_sound_after_the_start_is_not_lost) {
  client().load_module("module-null-sink", "sink_name=plain");
  client().set_default_sink("plain");
  run();
  ASSERT_TRUE(eventually("the plain device is played to",
                         [&] { return audio::status().target == "plain"; }));
  play({{440, -12}});
  Recorder recorder(server().address(), "plain.monitor");
  const Stereo sound = recorder.next(1200ms);
  EXPECT_GT(rms(std::span(sound.left).last(kRate * 3 / 10)), 0.1);
}

TEST_P(Sound, muting_silences_the_device_and_off_gives_everything_back) {
  play(kTone);
  run();
  ASSERT_TRUE(hears("speakers", kTone));
  let_the_level_settle();
  audio::set_mute(true);
  EXPECT_TRUE(audio::status().muted) << "the button reacts before the server does";
  EXPECT_TRUE(eventually("the device is muted", [&] { return client().sink("speakers")->mute; }));
  client().set_sink_mute(kSink, true);
  EXPECT_TRUE(eventually("it is still shown", [&] { return audio::status().muted; }));
  audio::set_mute(false);
  EXPECT_TRUE(eventually("device and sink are unmuted, as is shown", [&] {
    return !client().sink("speakers")->mute && !client().sink(kSink)->mute &&
           !audio::status().muted;
  }));

  audio::set_active(false);
  ASSERT_TRUE(eventually("the equalizer is off", [&] { return !audio::status().active; }));
  EXPECT_FALSE(client().sink(kSink).has_value());
  EXPECT_EQ(client().sink_of(kMusic), "speakers");
  float left = 0;
  float right = 0;
  audio::take_peaks(&left, &right);
  EXPECT_TRUE(eventually("peaks move", [&] {
    audio::take_peaks(&left, &right);
    return left > 0.05F && right > 0.05F;
  }));
  audio::set_active(true);
  EXPECT_TRUE(music_is_on(kSink));
  audio::stop();
  EXPECT_TRUE(as_before());
}

TEST_P(Sound, the_delay_stays_near_its_target_after_hiccups) {
  run();
  TonePlayer music(server().address(), noise(1, -20));
  Recorder in(server().address(), "velmora.monitor");
  Recorder out(server().address(), "speakers.monitor");
  settle(&out);
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
  const auto is_short = [&] {
    return wait_until("the delay is short", 10s, [&](std::string& seen) {
      const double ms = delay_ms();
      seen = std::to_string(ms) + " ms";
      return ms > 0 && ms < 130;
    });
  };
  EXPECT_TRUE(is_short()) << "after the start";
  server().freeze();
  std::this_thread::sleep_for(400ms);
  server().thaw();
  EXPECT_TRUE(is_short()) << "after a server that hung";
  for (const char* device : {"headset", "speakers"}) {
    client().set_default_sink(device);
    ASSERT_TRUE(routed_to(device));
  }
  EXPECT_TRUE(is_short()) << "after two switches";
}

TEST_P(Sound, a_server_that_hangs_holds_no_caller_up) {
  run();
  play(kTone);
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
