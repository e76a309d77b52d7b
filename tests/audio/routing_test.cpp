// The program as built, on a real server: whose sound goes where, and that everything comes back.

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "engine_test.h"

namespace engine_test {
namespace {

class Routing : public EngineTest {};

INSTANTIATE_TEST_SUITE_P(On, Routing,
                         testing::Values(ServerKind::kPulseAudio, ServerKind::kPipeWire),
                         [](const auto& param) { return name_of(param.param); });

TEST_P(Routing, takes_the_streams_of_the_followed_device_and_gives_everything_back) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  TonePlayer elsewhere(server().address(), sines({{500, -20}}),
                       {.application_name = "Elsewhere", .device = "headset"});
  remember();
  auto program = start(with({"--preset", "flat"}));
  EXPECT_TRUE(stream_is_on(kMusic, kSink));
  EXPECT_EQ(client().sink_of("Elsewhere"), "headset");
  EXPECT_TRUE(hears("speakers", 1000, -20));
  const auto sink = client().sink(kSink);
  ASSERT_TRUE(sink.has_value());
  EXPECT_EQ(sink->description, "Velmora");
  EXPECT_EQ(sink->rate_hz, 48000U);

  EXPECT_EQ(program->stop(), (ExitStatus{.code = 0, .signal = 0}));
  EXPECT_TRUE(as_before());
  EXPECT_EQ(client().sink_of(kMusic), "speakers");
  EXPECT_EQ(program->count_in_log("Virtual sink removed"), 1);
  EXPECT_THAT(program->log(), testing::EndsWith("Quit\n"));
}

TEST_P(Routing, off_watches_the_real_device_and_leaves_no_sink) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  auto program = launch(with({"--off"}));
  EXPECT_TRUE(wait_until("the spectrum is recorded", kPatience, [&](std::string& seen) {
    seen = testing::PrintToString(own_streams(client()));
    return own_streams(client()) == std::vector<std::string>{"recording: speakers.monitor"};
  }));
  EXPECT_EQ(client().default_sink(), "speakers");
  EXPECT_FALSE(client().sink(kSink).has_value());
  EXPECT_EQ(client().sink_of(kMusic), "speakers");
  program->stop();
  EXPECT_TRUE(as_before());
}

TEST_P(Routing, no_takeover_touches_neither_default_nor_streams) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  auto program = launch(with({"--no-takeover", "--preset", "flat"}));
  EXPECT_TRUE(
      wait_until("our streams run", kPatience, [&] { return own_streams(client()).size() == 2; }));
  EXPECT_EQ(client().default_sink(), "speakers");
  EXPECT_EQ(client().sink_of(kMusic), "speakers");
  {
    TonePlayer chosen(server().address(), sines({{440, -30}}),
                      {.application_name = "Chosen", .device = kSink});
    EXPECT_TRUE(hears("speakers", 440, -30));
  }
  program->stop();
  EXPECT_TRUE(as_before());
}

TEST_P(Routing, a_chosen_device_is_played_to_while_it_is_there) {
  client().add_null_sink("usb");
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  auto program = launch(with({"--device", "usb", "--preset", "flat"}));
  EXPECT_TRUE(routed_to("usb"));
  EXPECT_TRUE(hears("usb", 1000, -20));
  client().remove_sink("usb");
  EXPECT_TRUE(routed_to("speakers"));
  EXPECT_TRUE(hears("speakers", 1000, -20));
  client().add_null_sink("usb");
  EXPECT_TRUE(routed_to("usb"));
  EXPECT_TRUE(hears("usb", 1000, -20));
  program->stop();
  EXPECT_TRUE(as_before());
}

TEST_P(Routing, the_followed_device_vanishes_and_returns) {
  client().add_null_sink("usb");
  // On a busy machine PipeWire forgets a wish that comes right after the device.
  ASSERT_TRUE(wait_until("the default is usb", kPatience, [&] {
    if (client().default_sink() == "usb") return true;
    client().set_default_sink("usb");
    return false;
  }));
  TonePlayer music(server().address(), sines({{1000, -20}}));
  ASSERT_TRUE(stream_is_on(kMusic, "usb"));
  remember();
  auto program = launch(with({"--preset", "flat"}));
  EXPECT_TRUE(routed_to("usb"));
  client().remove_sink("usb");
  EXPECT_TRUE(wait_until("another device takes its place", kPatience, [&](std::string& seen) {
    const auto streams = own_streams(client());
    seen = testing::PrintToString(streams);
    return streams.size() == 2 && streams[0] != "playback: usb" &&
           streams[0] != "playback: velmora";
  }));
  EXPECT_EQ(client().default_sink(), kSink);
  client().add_null_sink("usb");
  EXPECT_TRUE(routed_to("usb"));
  EXPECT_TRUE(hears("usb", 1000, -20));
  program->stop();
  EXPECT_TRUE(as_before());
}

TEST_P(Routing, follows_when_the_person_switches_the_default) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  auto program = start(with({"--preset", "flat"}));
  ASSERT_TRUE(stream_is_on(kMusic, kSink));
  client().set_default_sink("headset");
  EXPECT_TRUE(routed_to("headset"));
  EXPECT_TRUE(stream_is_on(kMusic, kSink));
  EXPECT_TRUE(hears("headset", 1000, -20));
  program->stop();
  EXPECT_TRUE(wait_until("the new default stays", kPatience,
                         [&] { return client().default_sink() == "headset"; }));
  EXPECT_TRUE(stream_is_on(kMusic, "headset"));
  EXPECT_FALSE(client().sink(kSink).has_value());
}

TEST_P(Routing, streams_are_not_pinned_after_the_end) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  for (const bool killed : {false, true}) {
    client().set_default_sink("speakers");
    ASSERT_TRUE(stream_is_on(kMusic, "speakers"));
    auto program = start();
    ASSERT_TRUE(stream_is_on(kMusic, kSink));
    if (killed) {
      program->kill9();
    } else {
      program->stop();
    }
    ASSERT_TRUE(stream_is_on(kMusic, "speakers"));
    ASSERT_TRUE(wait_until("our sink is gone", kPatience, [&] { return !client().sink(kSink); }));
    client().set_default_sink("headset");
    EXPECT_TRUE(stream_is_on(kMusic, "headset"))
        << (killed ? "after a kill" : "after a normal end");
  }
}

// A server may bring an earlier level back a moment later, and the program then corrects it once
// more.
void let_the_level_settle() {
  std::this_thread::sleep_for(1100ms);
}

TEST_P(Routing, what_was_turned_down_does_not_come_back_loud) {
  for (const bool killed : {false, true}) {
    client().set_sink_volume("speakers", 0.8);
    client().set_sink_mute("speakers", false);
    auto program = start();
    EXPECT_TRUE(wait_until("a new sink changes no loudness", kPatience, [&] {
      const auto sink = client().sink(kSink);
      return std::abs(sink->volume - 1.0) < 0.01 && !sink->mute;
    }));
    let_the_level_settle();
    client().set_sink_volume(kSink, 0.5);
    client().set_sink_mute(kSink, true);
    ASSERT_TRUE(
        wait_until("the volume is set", kPatience, [&] { return client().sink(kSink)->mute; }));
    if (killed) {
      program->kill9();
    } else {
      program->stop();
    }
    EXPECT_TRUE(wait_until("the device is as quiet as our sink was", kPatience,
                           [&](std::string& seen) {
                             const auto speakers = client().sink("speakers");
                             seen = std::to_string(speakers->volume);
                             return !client().sink(kSink) && speakers->mute &&
                                    std::abs(speakers->volume - 0.4) < 0.01;
                           }))
        << (killed ? "after a kill" : "after a normal end");
  }
}

TEST_P(Routing, a_second_copy_stays_passive_and_takes_over_when_the_first_goes) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  auto first = start(with({"--preset", "flat"}));
  auto second = launch(with({"--preset", "flat"}));
  EXPECT_TRUE(second->wait_for_log("Another installation is running - this one stays passive"));
  EXPECT_TRUE(hears("speakers", 1000, -20));
  // The list of devices can still be had, while another copy has the routing.
  VelmoraProcess list(server(), with({"--devices"}));
  const auto listed = list.wait(kPatience);
  ASSERT_TRUE(listed.has_value());
  EXPECT_EQ(listed->code, 0);
  EXPECT_THAT(list.console(), testing::HasSubstr("* speakers"));
  first->stop();
  EXPECT_TRUE(routed_to("speakers"));
  EXPECT_TRUE(stream_is_on(kMusic, kSink));
  EXPECT_EQ(second->count_in_log("stays passive"), 1);
  second->stop();
  EXPECT_TRUE(as_before());
}

TEST_P(Routing, of_two_copies_started_together_one_routes) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  for (int i = 0; i < 4; ++i) {
    auto first = launch(with({"--preset", "flat"}));
    auto second = launch(with({"--preset", "flat"}));
    ASSERT_TRUE(wait_until("one is passive", kPatience, [&] {
      return first->count_in_log("stays passive") + second->count_in_log("stays passive") == 1;
    }));
    ASSERT_TRUE(routed_to("speakers"));
    EXPECT_TRUE(hears("speakers", 1000, -20));
    first->stop();
    ASSERT_TRUE(routed_to("speakers"));
    second->stop();
    EXPECT_TRUE(as_before());
  }
}

TEST_P(Routing, a_sink_left_behind_is_taken_over) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  for (const bool off : {false, true}) {
    auto dead = start();
    kill(dead->guard().value(), SIGKILL);
    dead->kill9();
    ASSERT_TRUE(client().sink(kSink).has_value());
    // The settings of the run before know the device to restore.
    VelmoraOptions options =
        with(off ? std::vector<std::string>{"--off"} : std::vector<std::string>{});
    options.config_home = dead->config_home();
    auto program = launch(std::move(options));
    if (off) {
      EXPECT_TRUE(program->wait_for_log("Virtual sink removed"));
    } else {
      EXPECT_TRUE(program->wait_for_log("Virtual sink taken over from the last run"));
      EXPECT_TRUE(routed_to("speakers"));
    }
    program->stop();
    EXPECT_TRUE(as_before());
  }
}

TEST_P(Routing, only_lists_devices) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  client().add_null_sink("usb", "A headset on USB");
  remember();
  VelmoraProcess list(server(), with({"--devices"}));
  const auto status = list.wait(kPatience);
  ASSERT_TRUE(status.has_value());
  EXPECT_EQ(status->code, 0);
  EXPECT_THAT(list.console(),
              testing::HasSubstr("* speakers" + std::string(53, ' ') + "Speakers\n"));
  EXPECT_THAT(list.console(),
              testing::HasSubstr("  usb" + std::string(58, ' ') + "A headset on USB\n"));
  EXPECT_TRUE(as_before(0ms));
}

// Programs and devices call themselves whatever they like.
TEST_P(Routing, names_may_hold_anything) {
  const std::string name = "a\nERROR b \x1b[31m \u202e\u2028c " + std::string(10000, 'x');
  client().add_null_sink("odd", name);
  client().set_default_sink("odd");
  TonePlayer music(server().address(), sines({{1000, -20}}),
                   {.application_name = name, .stream_name = name});
  remember();
  auto program = launch(with({"--preset", "flat"}));
  EXPECT_TRUE(routed_to("odd"));
  EXPECT_TRUE(hears("odd", 1000, -20));
  VelmoraProcess list(server(), with({"--devices"}));
  EXPECT_TRUE(list.wait(kPatience).has_value());
  EXPECT_THAT(list.console(), testing::AllOf(testing::HasSubstr("a ERROR b  [31m  c xxx"),
                                             testing::Not(testing::HasSubstr("\x1b"))));
  EXPECT_EQ(std::ranges::count(list.console(), '\n'), 3) << "a line for each device";
  program->stop();
  EXPECT_TRUE(as_before());
  const std::string log = program->log();
  EXPECT_THAT(log, testing::HasSubstr("a ERROR b  [31m  c xxx"));
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);)
    EXPECT_THAT(line, testing::MatchesRegex("..:..:.. (INFO |WARN |ERROR) .*"));
}

constexpr double kHalfVolumeDb = 18.06;

// Somebody else unloads our module: the record stream must never end up on a microphone or another
// monitor, and our playback never on our own sink.
TEST_P(Routing, recovers_when_its_sink_is_removed_by_others) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  auto program = start(with({"--preset", "flat"}));
  let_the_level_settle();
  client().set_sink_volume(kSink, 0.5);
  EXPECT_TRUE(hears("speakers", 1000, -20 - kHalfVolumeDb));
  for (int i = 0; i < 3; ++i) {
    // A sink that has just been removed may still be listed, without its module.
    ASSERT_TRUE(wait_until("the sink is removed", kPatience, [&](std::string& seen) {
      const auto sink = client().sink(kSink);
      if (!sink.has_value()) return false;
      try {
        client().unload_module(sink->owner_module);
      } catch (const std::runtime_error& error) {
        seen = error.what();
        return false;
      }
      return true;
    }));
    EXPECT_TRUE(wait_until("a new sink is in place", kPatience, [&](std::string& seen) {
      const std::vector<std::string> streams = own_streams(client());
      seen = testing::PrintToString(streams);
      for (const std::string& stream : streams) {
        EXPECT_TRUE(stream == "playback: speakers" || stream == "recording: velmora.monitor" ||
                    stream == "recording: ")
            << stream;
      }
      return client().sink(kSink).has_value() && streams.size() == 2 &&
             client().default_sink() == kSink;
    }));
  }
  EXPECT_TRUE(stream_is_on(kMusic, kSink));
  // What had been turned down is no louder for it.
  EXPECT_TRUE(hears("speakers", 1000, -20 - kHalfVolumeDb));
  let_the_level_settle();
  client().set_sink_volume(kSink, 1);
  EXPECT_TRUE(hears("speakers", 1000, -20));
  program->stop();
  EXPECT_TRUE(as_before());
}

}  // namespace
}  // namespace engine_test
