// The program as built, on a real server: whose sound goes where, and that everything comes back.

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <thread>

#include "engine_test.h"

namespace engine_test {
namespace {

using testing::HasSubstr;

class Routing : public EngineTest {
 protected:
  // On a busy machine PipeWire forgets a wish that comes right after the device.
  testing::AssertionResult make_default(const std::string& device) {
    return eventually("the default is " + device, [&] {
      if (client().default_sink() == device) return true;
      client().set_default_sink(device);
      return false;
    });
  }
  testing::AssertionResult sink_is_gone() {
    return eventually("our sink is gone", [&] { return !client().sink(kSink); });
  }
  // What the program prints that only lists the devices.
  std::string listed_devices() {
    VelmoraProcess list(server(), with({"--devices"}));
    EXPECT_EQ(list.wait(kPatience), kOk);
    return list.console();
  }
};

INSTANTIATE_TEST_SUITE_P(On, Routing, kServers, server_name);

TEST_P(Routing, takes_the_streams_of_the_followed_device_and_gives_everything_back) {
  TonePlayer elsewhere(server().address(), sines({{500, -20}}),
                       {.application_name = "Elsewhere", .device = "headset"});
  play(kTone);
  auto program = start();
  EXPECT_TRUE(music_is_on(kSink));
  EXPECT_EQ(client().sink_of("Elsewhere"), "headset");
  EXPECT_TRUE(hears("speakers", kTone));
  const auto sink = client().sink(kSink);
  ASSERT_TRUE(sink.has_value());
  EXPECT_EQ(sink->description, "Velmora");
  EXPECT_EQ(sink->rate_hz, kRate);
  end(program.get(), false);
  EXPECT_TRUE(as_before());
  EXPECT_THAT(program->log(), testing::EndsWith("Quit\n"));
}

TEST_P(Routing, off_or_without_takeover_neither_default_nor_streams_are_touched) {
  play(kTone);
  for (const bool off : {true, false}) {
    const char* const how = off ? "--off" : "--no-takeover";
    SCOPED_TRACE(how);
    auto program = launch(with({how, "--preset", "flat"}));
    const std::vector<std::string> wanted =
        off ? std::vector<std::string>{"recording: speakers.monitor"}
            : std::vector<std::string>{"playback: speakers", "recording: velmora.monitor"};
    EXPECT_TRUE(eventually("our streams run", [&](std::string& seen) {
      seen = testing::PrintToString(own_streams());
      return own_streams() == wanted;
    }));
    EXPECT_EQ(client().default_sink(), "speakers");
    EXPECT_EQ(client().sink_of(kMusic), "speakers");
    EXPECT_EQ(client().sink(kSink).has_value(), !off);
    if (!off) {
      TonePlayer chosen(server().address(), sines({{440, -30}}),
                        {.application_name = "Chosen", .device = kSink});
      EXPECT_TRUE(hears("speakers", {{440, -30}}));
    }
    end(program.get(), false);
    EXPECT_TRUE(as_before());
  }
}

TEST_P(Routing, a_device_that_is_chosen_or_followed_may_vanish_and_return) {
  client().add_null_sink("usb");
  for (const bool chosen : {true, false}) {
    SCOPED_TRACE(chosen ? "chosen" : "followed");
    if (!chosen) {
      ASSERT_TRUE(make_default("usb"));
    }
    play(kTone);
    ASSERT_TRUE(music_is_on(chosen ? "speakers" : "usb"));
    auto program = launch(with({"--preset", "flat", "--device", chosen ? "usb" : ""}));
    EXPECT_TRUE(routed_to("usb"));
    client().remove_sink("usb");
    std::string substitute;
    EXPECT_TRUE(eventually("another device takes its place", [&](std::string& seen) {
      const auto streams = own_streams();
      seen = testing::PrintToString(streams);
      for (const char* device : {"speakers", "headset"}) {
        if (streams.size() == 2 && streams[0] == std::string("playback: ") + device)
          substitute = device;
      }
      return !substitute.empty();
    }));
    if (chosen) {
      EXPECT_EQ(substitute, "speakers");
    }
    EXPECT_EQ(client().default_sink(), kSink);
    EXPECT_TRUE(hears(substitute, kTone));
    client().add_null_sink("usb");
    EXPECT_TRUE(routed_to("usb"));
    EXPECT_TRUE(hears("usb", kTone));
    // A card that changes its profile is back before anybody has seen it go.
    for (const auto gap : {0ms, 20ms, 300ms, 1500ms}) {
      client().unload_module(client().sink("usb")->owner_module);
      std::this_thread::sleep_for(gap);
      client().add_null_sink("usb");
      EXPECT_TRUE(routed_to("usb")) << gap.count();
      EXPECT_TRUE(hears("usb", kTone)) << gap.count();
    }
    EXPECT_EQ(program->count_in_log("restricted"), 0);
    end(program.get(), false);
    EXPECT_TRUE(as_before());
  }
}

TEST_P(Routing, follows_when_the_person_switches_the_default_and_pins_no_stream) {
  play(kTone);
  for (const bool killed : {false, true}) {
    SCOPED_TRACE(killed ? "killed" : "ended");
    auto program = start();
    ASSERT_TRUE(music_is_on(kSink));
    client().set_default_sink("headset");
    EXPECT_TRUE(routed_to("headset"));
    EXPECT_TRUE(music_is_on(kSink));
    EXPECT_TRUE(hears("headset", kTone));
    end(program.get(), killed);
    ASSERT_TRUE(music_is_on("headset"));
    ASSERT_TRUE(sink_is_gone());
    EXPECT_EQ(client().default_sink(), "headset");
    client().set_default_sink("speakers");
    EXPECT_TRUE(music_is_on("speakers")) << "the stream is pinned";
  }
}

TEST_P(Routing, what_was_turned_down_does_not_come_back_loud) {
  const auto has_level = [&](const char* device, double volume, bool mute) {
    return eventually(std::string("the level of ") + device, [&](std::string& seen) {
      const auto sink = client().sink(device);
      seen = std::to_string(sink->volume);
      return std::abs(sink->volume - volume) < 0.01 && sink->mute == mute;
    });
  };
  for (const bool killed : {false, true}) {
    SCOPED_TRACE(killed ? "killed" : "ended");
    const TempDir home;
    auto options = with({"--preset", "flat"});
    options.config_home = home.path();
    client().set_sink_volume("speakers", 0.8);
    client().set_sink_mute("speakers", false);
    ASSERT_TRUE(has_level("speakers", 0.8, false));
    auto program = start(options);
    EXPECT_TRUE(has_level(kSink, 1, false)) << "a new sink changes no loudness";
    let_the_level_settle();
    client().set_sink_volume(kSink, 0.5);
    client().set_sink_mute(kSink, true);
    ASSERT_TRUE(has_level(kSink, 0.5, true));
    for (const bool last : {false, true}) {
      end(program.get(), killed);
      EXPECT_TRUE(sink_is_gone());
      EXPECT_TRUE(has_level("speakers", 0.4, true));
      if (last) break;
      // Else the keys could turn it up to 0.4 only.
      const auto kept = home.path() / "Velmora/volume.txt";
      ASSERT_TRUE(eventually("it is kept", [&] { return std::filesystem::exists(kept); }));
      program = start(options);
      EXPECT_TRUE(has_level("speakers", 0.8, false));
      EXPECT_TRUE(has_level(kSink, 0.5, true));
    }
  }
}

TEST_P(Routing, of_two_copies_one_stays_passive_until_the_other_goes) {
  play(kTone);
  for (const bool together : {false, true, true, true, true}) {
    auto first = together ? launch() : start();
    auto second = launch();
    const auto passive = [&] {
      const std::string said = "Another installation is running - this one stays passive";
      return first->count_in_log(said) + second->count_in_log(said);
    };
    ASSERT_TRUE(eventually("one is passive", [&] { return passive() == 1; }));
    ASSERT_TRUE(routed_to("speakers"));
    EXPECT_TRUE(hears("speakers", kTone));
    end(first.get(), false);
    ASSERT_TRUE(routed_to("speakers"));
    EXPECT_TRUE(music_is_on(kSink));
    EXPECT_EQ(passive(), 1);
    end(second.get(), false);
    EXPECT_TRUE(as_before());
  }
}

TEST_P(Routing, a_sink_left_behind_is_taken_over_or_removed_and_the_guard_leaves_it_alone) {
  play(kTone);
  for (const bool off : {false, true}) {
    SCOPED_TRACE(off ? "off" : "on");
    auto dead = start();
    const pid_t guard = dead->guard().value();
    EXPECT_NE(getpgid(guard), getpgid(dead->pid())) << "a kill of the whole job takes both";
    kill(guard, SIGSTOP);
    dead->kill9();
    ASSERT_TRUE(client().sink(kSink).has_value());
    // The settings of the run before know the device to restore.
    VelmoraOptions options = with({off ? "--off" : "--preset", "flat"});
    options.config_home = dead->config_home();
    auto program = launch(std::move(options));
    EXPECT_TRUE(program->wait_for_log(off ? "Virtual sink removed"
                                          : "Virtual sink taken over from the last run"));
    if (!off) {
      EXPECT_TRUE(routed_to("speakers"));
    }
    kill(guard, SIGCONT);
    EXPECT_TRUE(eventually("the guard has ended", [&] { return kill(guard, 0) != 0; }));
    if (!off) {
      EXPECT_TRUE(routed_to("speakers"));
    }
    EXPECT_TRUE(hears("speakers", kTone));
    EXPECT_EQ(program->count_in_log("Virtual sink loaded"), 0);
    end(program.get(), false);
    EXPECT_TRUE(as_before());
  }
}

// Programs and devices call themselves whatever they like.
TEST_P(Routing, names_may_hold_anything_and_the_list_of_devices_has_a_line_for_each) {
  const std::string name = "a\nERROR b \x1b[31m \u202e\u2028c " + std::string(10000, 'x');
  client().add_null_sink("odd", name);
  client().set_default_sink("odd");
  TonePlayer music(server().address(), sines(kTone),
                   {.application_name = name, .stream_name = name});
  remember();
  const std::string list = listed_devices();
  EXPECT_TRUE(as_before(0ms));
  EXPECT_THAT(list, HasSubstr("  speakers" + std::string(53, ' ') + "Speakers\n"));
  EXPECT_THAT(list, HasSubstr("* odd" + std::string(58, ' ') + "a ERROR b  [31m  c xxx"));
  EXPECT_THAT(list, testing::Not(HasSubstr("\x1b")));
  EXPECT_EQ(std::ranges::count(list, '\n'), 3);
  auto program = launch();
  EXPECT_TRUE(routed_to("odd"));
  EXPECT_TRUE(hears("odd", kTone));
  EXPECT_EQ(std::ranges::count(listed_devices(), '\n'), 3) << "while another copy has the routing";
  end(program.get(), false);
  EXPECT_TRUE(as_before());
  const std::string log = program->log();
  EXPECT_THAT(log, HasSubstr("a ERROR b  [31m  c xxx"));
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);)
    EXPECT_THAT(line, testing::MatchesRegex("..:..:.. (INFO |WARN |ERROR) .*"));
}

// Somebody else unloads our module: the record stream must never end up on a microphone or another
// monitor, and our playback never on our own sink.
TEST_P(Routing, recovers_when_its_sink_is_removed_by_others) {
  const std::vector<Sine> at_half_volume = {{1000, -20 - 18.06}};
  play(kTone);
  auto program = start();
  let_the_level_settle();
  client().set_sink_volume(kSink, 0.5);
  EXPECT_TRUE(hears("speakers", at_half_volume));
  for (int i = 0; i < 3; ++i) {
    // A sink that has just been removed may still be listed, without its module.
    ASSERT_TRUE(eventually("the sink is removed", [&] {
      const auto sink = client().sink(kSink);
      if (sink.has_value()) client().unload_module(sink->owner_module);
      return sink.has_value();
    }));
    EXPECT_TRUE(eventually("a new sink is in place", [&](std::string& seen) {
      const std::vector<std::string> streams = own_streams();
      seen = testing::PrintToString(streams);
      EXPECT_THAT(streams, testing::Each(testing::AnyOf(
                               "playback: speakers", "recording: velmora.monitor", "recording: ")));
      return client().sink(kSink).has_value() && streams.size() == 2 &&
             client().default_sink() == kSink;
    }));
  }
  EXPECT_TRUE(music_is_on(kSink));
  EXPECT_TRUE(hears("speakers", at_half_volume)) << "what had been turned down is no louder for it";
  let_the_level_settle();
  client().set_sink_volume(kSink, 1);
  EXPECT_TRUE(hears("speakers", kTone));
  end(program.get(), false);
  EXPECT_TRUE(as_before());
}

}  // namespace
}  // namespace engine_test
