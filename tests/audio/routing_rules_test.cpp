// Which device is followed, which streams are moved: decisions on made-up servers.

#include "routing_rules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace audio {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kOurClient = 7;

// Sinks named in the given order with indices 0, 1, 2, ...
Snapshot server(const std::string& default_sink, std::initializer_list<const char*> sinks) {
  Snapshot s;
  s.default_sink = default_sink;
  s.own_client = kOurClient;
  for (const char* name : sinks) {
    const auto index = static_cast<std::uint32_t>(s.sinks.size());
    s.sinks.push_back({.index = index,
                       .name = name,
                       .description = name,
                       .monitor = std::string(name) + ".monitor",
                       .monitor_index = 200 + index,
                       .module = 100 + index,
                       .muted = false,
                       .works_ahead = false,
                       .full_volume = true});
  }
  return s;
}

StreamInfo stream(std::uint32_t index, std::uint32_t device, std::uint32_t client,
                  bool ours = false) {
  return {.index = index, .device = device, .client = client, .ours_by_name = ours};
}

TEST(NextFollow, the_person_switching_the_default_wins) {
  const Snapshot s = server("headset", {"speakers", "velmora", "headset"});
  EXPECT_EQ(next_follow(s, {"speakers", ""}, "speakers").device, "headset");
  // Also over a device that was missed: the person has decided anew.
  const Follow f = next_follow(s, {"speakers", "hdmi"}, "");
  EXPECT_EQ(f.device, "headset");
  EXPECT_EQ(f.missed, "");
}

TEST(NextFollow, a_virtual_sink_is_never_followed) {
  for (const char* reserved : {"velmora", "tarsel", "pellavox"}) {
    const Snapshot s = server(reserved, {"velmora", "tarsel", "pellavox", "speakers"});
    EXPECT_EQ(next_follow(s, {}, reserved).device, "speakers") << reserved;
  }
  const Snapshot none = server("velmora", {"velmora", "tarsel", "pellavox"});
  EXPECT_EQ(next_follow(none, {}, "velmora").device, "");
  EXPECT_EQ(choose_target(none, "tarsel", ""), "");
}

TEST(NextFollow, hint_and_then_the_first_real_sink_stand_in) {
  const Snapshot s = server("velmora", {"velmora", "hdmi", "speakers"});
  EXPECT_EQ(next_follow(s, {}, "speakers").device, "speakers");
  EXPECT_EQ(next_follow(s, {}, "gone").device, "hdmi");
  EXPECT_EQ(next_follow(s, {"speakers", ""}, "hdmi").device, "speakers");
}

TEST(NextFollow, a_vanished_device_is_followed_again_when_it_returns) {
  const Follow away =
      next_follow(server("velmora", {"velmora", "speakers"}), {"headset", ""}, "headset");
  EXPECT_EQ(away.device, "speakers");
  EXPECT_EQ(away.missed, "headset");
  // The substitute goes too: the first device is the one that is missed.
  const Follow further = next_follow(server("velmora", {"velmora", "hdmi"}), away, "speakers");
  EXPECT_EQ(further.device, "hdmi");
  EXPECT_EQ(further.missed, "headset");
  const Follow back =
      next_follow(server("velmora", {"velmora", "hdmi", "headset"}), further, "hdmi");
  EXPECT_EQ(back.device, "headset");
  EXPECT_EQ(back.missed, "");
}

TEST(NextFollow, with_no_real_device_the_wish_is_kept) {
  const Follow f = next_follow(server("velmora", {"velmora"}), {"headset", ""}, "");
  EXPECT_EQ(f.device, "headset");
  EXPECT_EQ(choose_target(server("velmora", {"velmora"}), "", f.device), "");
}

TEST(ChooseTarget, an_absent_or_reserved_choice_falls_back_to_the_followed_device) {
  const Snapshot s = server("velmora", {"velmora", "pellavox", "speakers", "headset"});
  EXPECT_EQ(choose_target(s, "headset", "speakers"), "headset");
  EXPECT_EQ(choose_target(s, "gone", "speakers"), "speakers");
  EXPECT_EQ(choose_target(s, "pellavox", "speakers"), "speakers");
  EXPECT_EQ(choose_target(s, "velmora", "speakers"), "speakers");
  EXPECT_EQ(choose_target(s, "", "speakers"), "speakers");
}

TEST(Streams, those_on_the_followed_or_default_device_are_taken_and_given_back) {
  Snapshot s = server("hdmi", {"velmora", "speakers", "hdmi", "headset"});
  s.playbacks = {stream(1, 1, 20),
                 stream(2, 2, 21),
                 stream(3, 3, 22),
                 stream(4, 0, 23),
                 stream(5, 1, kOurClient, true),
                 stream(6, kNoIndex, 24)};
  EXPECT_THAT(streams_to_take(s, "speakers"), ElementsAre(1, 2));
  EXPECT_THAT(streams_to_return(s), ElementsAre(4));
  s.playbacks.push_back(stream(7, 0, kOurClient, true));
  EXPECT_THAT(streams_to_return(s), ElementsAre(4)) << "our own stream is not another program's";
}

TEST(Streams, the_siblings_are_left_alone) {
  Snapshot s = server("pellavox", {"velmora", "pellavox", "speakers"});
  s.playbacks = {stream(1, 1, 20), stream(2, 2, 21)};
  EXPECT_THAT(streams_to_take(s, "speakers"), ElementsAre(2));
}

TEST(Streams, absent_devices_match_no_stream) {
  Snapshot s = server("gone", {"velmora"});
  s.playbacks = {stream(1, kNoIndex, 20), stream(2, 5, 21)};
  EXPECT_THAT(streams_to_take(s, "also gone"), IsEmpty());
}

TEST(OtherInstance, a_marked_stream_of_another_connection_counts) {
  Snapshot s = server("speakers", {"speakers"});
  EXPECT_FALSE(has_other_instance(s));
  s.playbacks = {stream(1, 0, kOurClient, true), stream(2, 0, 20)};
  s.recordings = {stream(1, 0, kOurClient, true)};
  EXPECT_FALSE(has_other_instance(s));
  s.recordings.push_back(stream(2, 0, 30, true));
  EXPECT_TRUE(has_other_instance(s));
  s.recordings.clear();
  s.playbacks.push_back(stream(3, 0, 30, true));
  EXPECT_TRUE(has_other_instance(s));
}

TEST(OtherInstance, of_two_copies_on_one_sink_the_same_one_yields_on_both_sides) {
  Snapshot s = server("velmora", {"speakers", "velmora"});
  const std::uint32_t other = kOurClient + 1;
  s.recordings = {stream(1, 201, kOurClient, true), stream(2, 201, other, true)};
  EXPECT_FALSE(must_yield(s));
  s.own_client = other;
  EXPECT_TRUE(must_yield(s));
  // A copy that only watches another device, or a recorder of another program, is no rival.
  s.recordings = {stream(1, 200, kOurClient, true), stream(2, 201, 1, false)};
  EXPECT_FALSE(must_yield(s));
}

}  // namespace
}  // namespace audio
