// Which device is followed, which streams are moved: decisions on made-up servers.

#include "audio/routing_rules.h"
#include "test.h"

namespace audio {
namespace {

constexpr std::uint32_t kOurClient = 7;
constexpr std::uint32_t kOther = 8;

// Sinks named in the given order with indices 0, 1, 2, ..., their monitors with 200, 201, ...
Snapshot server(const std::string& default_sink, const std::vector<std::string>& sinks) {
  Snapshot s;
  s.default_sink = default_sink;
  s.own_client = kOurClient;
  for (const std::string& name : sinks) {
    SinkInfo sink;
    sink.index = static_cast<std::uint32_t>(s.sinks.size());
    sink.name = name;
    sink.monitor_index = 200 + sink.index;
    s.sinks.push_back(sink);
  }
  return s;
}

StreamInfo stream(std::uint32_t index, std::uint32_t device, std::uint32_t client,
                  bool ours = false) {
  return {.index = index, .device = device, .client = client, .ours_by_name = ours};
}

TEST(NextFollow, the_default_wins_then_what_was_missed_then_hint_and_first_real_sink_stand_in) {
  const struct {
    std::string default_sink;
    std::vector<std::string> sinks;
    Follow now;
    std::string hint;
    Follow wanted;
  } cases[] = {
      {"headset", {"speakers", "velmora", "headset"}, {"speakers", ""}, "", {"headset", ""}},
      {"headset", {"speakers", "hdmi", "headset"}, {"speakers", "hdmi"}, "", {"headset", ""}},
      // A virtual sink is never followed.
      {"velmora", {"velmora", "tarsel", "pellavox", "usb"}, {}, "velmora", {"usb", ""}},
      {"tarsel", {"velmora", "tarsel", "pellavox", "usb"}, {}, "tarsel", {"usb", ""}},
      {"pellavox", {"velmora", "tarsel", "pellavox", "usb"}, {}, "pellavox", {"usb", ""}},
      {"velmora", {"velmora", "tarsel", "pellavox"}, {}, "velmora", {"", ""}},
      {"velmora", {"velmora", "hdmi", "speakers"}, {}, "speakers", {"speakers", ""}},
      {"velmora", {"velmora", "hdmi", "speakers"}, {}, "gone", {"hdmi", ""}},
      {"velmora", {"velmora", "hdmi", "speakers"}, {"speakers", ""}, "hdmi", {"speakers", ""}},
      // A vanished device, and its substitute; the first one is missed until it returns.
      {"velmora", {"velmora", "speakers"}, {"headset", ""}, "headset", {"speakers", "headset"}},
      {"velmora", {"velmora", "hdmi"}, {"speakers", "headset"}, "", {"hdmi", "headset"}},
      {"velmora", {"velmora", "hdmi", "headset"}, {"hdmi", "headset"}, "hdmi", {"headset", ""}},
      {"velmora", {"velmora"}, {"headset", ""}, "", {"headset", ""}}};
  for (const auto& c : cases) {
    const Follow next =
        next_follow(server(c.default_sink, c.sinks), c.now, c.hint, Default::kChosen, {});
    EXPECT_EQ(std::tie(next.device, next.missed), std::tie(c.wanted.device, c.wanted.missed))
        << &c - cases;
  }
}

TEST(NextFollow, a_fallback_of_the_server_comes_after_what_was_followed_and_the_hint) {
  const auto next = [](const Follow& now, const std::string& hint) {
    return next_follow(server("hdmi", {"hdmi", "speakers", "usb"}), now, hint, Default::kFallback,
                       {})
        .device;
  };
  EXPECT_EQ(next({.device = "speakers"}, "usb"), "speakers");
  EXPECT_EQ(next({.device = "speakers", .missed = "usb"}, ""), "usb");
  EXPECT_EQ(next({.device = "gone"}, "usb"), "usb");
  EXPECT_EQ(next({.device = "gone"}, "velmora"), "hdmi");
}

TEST(Default, what_a_server_fell_back_to_is_no_choice_until_the_default_changes) {
  DefaultHistory history;
  std::string follow;
  const auto pass = [&](const std::string& default_sink, const std::vector<std::string>& sinks) {
    const Snapshot s = server(default_sink, sinks);
    const bool chosen = meaning_of_default(s, follow, &history) == Default::kChosen;
    if (chosen && default_sink != kSinkName) follow = default_sink;
    history.new_connection = false;
    remember_default(s, follow, &history);
    return chosen;
  };
  const std::vector<std::string> sinks = {"speakers", "headset", "usb", "velmora"};
  EXPECT_TRUE(pass("headset", sinks));
  EXPECT_TRUE(pass("velmora", sinks));
  for (const char* fallback : {"speakers", "speakers", "usb"}) {  // each time it restarts
    history.new_connection = true;
    for (int tries = 0; tries < 3; ++tries)
      EXPECT_FALSE(pass(fallback, sinks)) << tries;
  }
  EXPECT_TRUE(pass("velmora", sinks));
  EXPECT_TRUE(pass("speakers", sinks));
  // The followed device vanishes, and another one is chosen.
  EXPECT_FALSE(pass("headset", {"headset", "velmora"}));
  EXPECT_TRUE(pass("speakers", sinks));
}

TEST(NextFollow, a_new_sink_of_the_same_hardware_takes_the_place_of_a_lost_one_for_half_a_minute) {
  using std::chrono::seconds;
  const auto with = [](const std::vector<std::string>& names) {
    Snapshot s = server("velmora", names);
    for (SinkInfo& sink : s.sinks)
      if (sink.name.starts_with("bt")) sink.identity = "device.string=00:11";
    return s;
  };
  const auto pass = [](Follow* follow, const Snapshot& s, int at) {
    *follow = next_follow(s, *follow, "", Default::kChosen, Follow::Time{seconds(at)});
    return follow->device;
  };
  for (const int later : {29, 32}) {
    Follow follow{.device = "bt.a2dp"};
    EXPECT_EQ(pass(&follow, with({"velmora", "speakers", "bt.a2dp", "bt.old"}), 0), "bt.a2dp");
    EXPECT_EQ(pass(&follow, with({"velmora", "speakers", "bt.old"}), 100), "speakers");
    EXPECT_EQ(pass(&follow, with({"velmora", "speakers", "bt.old"}), 101), "speakers");
    EXPECT_EQ(pass(&follow, with({"velmora", "speakers", "bt.old", "bt.hfp"}), 100 + later),
              later < 30 ? "bt.hfp" : "speakers");
    // And back again.
    EXPECT_EQ(pass(&follow, with({"velmora", "speakers", "bt.a2dp"}), 140), "bt.a2dp");
  }
}

TEST(Filters, one_that_feeds_our_sink_is_no_device_and_none_is_robbed_of_its_stream) {
  Snapshot s = server("velmora", {"velmora", "eq", "surround", "speakers"});
  s.sinks[1].module = 11;
  s.sinks[2].link_group = "filter-1";
  // eq plays to surround, which plays to the speakers.
  s.playbacks = {stream(1, 2, kNoIndex), stream(2, 3, kNoIndex)};
  s.playbacks[0].module = 11;
  s.playbacks[1].link_group = "filter-1";
  EXPECT_FALSE(feeds_our_sink(s, s.sinks[1]));
  EXPECT_EQ(choose_target(s, "eq", "speakers"), "eq");
  s.default_sink = "speakers";
  EXPECT_THAT(streams_to_acquire(s, "surround"), IsEmpty());
  // surround plays to us.
  s.playbacks[1].device = 0;
  EXPECT_TRUE(feeds_our_sink(s, s.sinks[1]));
  EXPECT_EQ(choose_target(s, "eq", "speakers"), "speakers");
  EXPECT_EQ(next_follow(s, {.device = "eq"}, "surround", Default::kChosen, {}).device, "speakers");
  EXPECT_THAT(streams_of_filter(s, "surround"), ElementsAre(2));
  EXPECT_THAT(streams_of_filter(s, "eq"), IsEmpty());
  // The two play to each other.
  s.playbacks[1].device = 1;
  EXPECT_FALSE(feeds_our_sink(s, s.sinks[1]));
}

TEST(RecognisedBy, what_stays_when_a_device_returns_and_tells_it_from_all_others) {
  Snapshot s = server("a", {"a", "b", "c", "d", "e", "f", "g"});
  const struct {
    const char* identity;
    const char* port;
    const char* wanted;
  } sinks[] = {{"", "", "name=a"},
               {"device.bus_path=pci-1", "socket", "device.bus_path=pci-1, port=socket"},
               {"device.bus_path=pci-1", "hdmi\n", "device.bus_path=pci-1, port=hdmi "},
               {"device.bus_path=usb-1", "", "device.bus_path=usb-1"},
               {"device.bus_path=usb-2", "", "device.bus_path=usb-2, name=e"},
               {"device.bus_path=usb-2", "", "device.bus_path=usb-2, name=f"},
               {"api.bluez5.address=00:11", "headset-hf-output", "api.bluez5.address=00:11"}};
  for (std::size_t i = 0; i < s.sinks.size(); ++i) {
    s.sinks[i].identity = sinks[i].identity;
    s.sinks[i].port = sinks[i].port;
  }
  for (std::size_t i = 0; i < s.sinks.size(); ++i)
    EXPECT_EQ(recognised_by(s, s.sinks[i]), sinks[i].wanted);
}

TEST(ChooseTarget, an_absent_or_reserved_choice_falls_back_to_the_followed_device) {
  const Snapshot s = server("velmora", {"velmora", "pellavox", "speakers", "headset"});
  EXPECT_EQ(choose_target(s, "headset", "speakers"), "headset");
  for (const char* output : {"gone", "pellavox", "velmora", ""})
    EXPECT_EQ(choose_target(s, output, "speakers"), "speakers") << output;
  EXPECT_EQ(choose_target(s, "pellavox", "gone"), "");
  EXPECT_EQ(choose_target(s, "", "velmora"), "");
}

TEST(Streams, those_on_the_followed_or_default_device_are_taken_and_given_back) {
  Snapshot s = server("hdmi", {"velmora", "speakers", "hdmi", "headset"});
  s.playbacks = {stream(1, 1, 20),
                 stream(2, 2, 21),
                 stream(3, 3, 22),
                 stream(4, 0, 23),
                 stream(5, 1, kOurClient, true),
                 stream(6, kNoIndex, 24),
                 stream(7, 0, kOurClient, true)};
  EXPECT_THAT(streams_to_acquire(s, "speakers"), ElementsAre(1, 2));
  EXPECT_THAT(streams_to_return(s), ElementsAre(4));
  s.default_sink = "gone";
  s.sinks.resize(1);
  EXPECT_THAT(streams_to_acquire(s, "also gone"), IsEmpty());
  // The siblings are left alone.
  s = server("pellavox", {"velmora", "pellavox", "speakers"});
  s.playbacks = {stream(1, 1, 20), stream(2, 2, 21)};
  EXPECT_THAT(streams_to_acquire(s, "speakers"), ElementsAre(2));
}

TEST(OtherInstance, is_known_by_a_marked_stream_and_of_two_on_one_sink_the_same_one_yields) {
  Snapshot s = server("velmora", {"speakers", "velmora"});
  s.playbacks = {stream(1, 0, kOurClient, true), stream(2, 0, kOther)};
  s.recordings = {stream(1, 201, kOurClient, true)};
  EXPECT_FALSE(has_other_instance(s));
  s.playbacks.push_back(stream(3, 0, kOther, true));
  EXPECT_TRUE(has_other_instance(s));
  s.playbacks.clear();
  s.recordings.push_back(stream(2, 201, kOther, true));
  EXPECT_TRUE(has_other_instance(s));
  EXPECT_FALSE(must_yield(s));
  s.own_client = kOther;
  EXPECT_TRUE(must_yield(s));
  // A copy that only watches another device, or a recorder of another program, is no rival.
  s.recordings = {stream(1, 200, kOurClient, true), stream(2, 201, 1, false)};
  EXPECT_FALSE(must_yield(s));
}

}  // namespace
}  // namespace audio
