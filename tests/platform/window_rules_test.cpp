// Sizes, places, borders and copied parts, on made-up displays.

#include "platform/window_rules.h"
#include "platform/xsettings.h"
#include "test.h"

namespace platform {

namespace {

constexpr Area kDesk{0, 30, 1920, 1050};
constexpr Size kFull{960, 640};
constexpr Size kFullMinimum{480, 320};
constexpr Size kCompact{420, 132};

TEST(Ticks, go_on_where_the_counter_wraps_around) {
  WideTicks ticks;
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(widen(ticks, 0xFFFFFFF0U), 0xFFFFFFF0U);
  EXPECT_EQ(widen(ticks, 5), (std::uint64_t{1} << 32U) + 5);
  EXPECT_EQ(widen(ticks, 4), (std::uint64_t{2} << 32U) + 4);
}

TEST(Idle, waits_end_when_the_next_of_twenty_frames_a_second_is_due) {
  for (const auto& [us, ms] : {std::pair{0, 20}, {29000, 20}, {29001, 19}, {49000, 1}, {99000, 1}})
    EXPECT_EQ(idle_wait_ms(false, std::chrono::microseconds{us}), ms) << us;
  EXPECT_EQ(idle_wait_ms(true, std::chrono::milliseconds{40}), 50);
}

TEST(ModeSize, is_a_sensible_saved_one_in_the_views_shape_that_fits_the_display) {
  const auto expect_sizes = [](bool compact, bool collapsed, std::optional<Area> display,
                               std::initializer_list<std::pair<Size, Size>> sizes) {
    for (const auto& [saved, size] : sizes)
      EXPECT_EQ(mode_size(compact, collapsed, saved, display), size) << saved.w << "," << saved.h;
  };
  expect_sizes(
      false, false, kDesk,
      {{{480, 320}, kFullMinimum}, {{479, 320}, kFull}, {{1200, 640}, kFull}, {{960, 900}, kFull}});
  expect_sizes(false, true, kDesk, {{{480, 170}, {480, 170}}, {{480, 119}, {960, 340}}});
  expect_sizes(true, false, kDesk,
               {{{840, 264}, {840, 264}}, {{419, 264}, kCompact}, {{840, 131}, kCompact}});
  // 600 - 60 points of height are free.
  expect_sizes(false, false, Area{0, 0, 1024, 600}, {{{0, 0}, {810, 540}}});
  expect_sizes(false, false, Area{0, 0, 500, 900}, {{{0, 0}, kFullMinimum}});
  expect_sizes(false, false, Area{0, 0, 10, 10}, {{{0, 0}, {1, 1}}});
  expect_sizes(false, false, std::nullopt, {{{1440, 960}, {1440, 960}}});
  expect_sizes(true, false, std::nullopt, {{{840, 264}, kCompact}});
  expect_sizes(true, false, Area{}, {{{840, 264}, kCompact}});
}

TEST(Place, a_saved_position_counts_while_its_title_strip_is_on_a_display) {
  const std::vector<Area> displays{kDesk, {1920, 0, 1280, 1024}};
  const auto stays = [&](Point p) { return place_for(p, kFull, displays, kDesk) == p; };
  constexpr int kFar = std::numeric_limits<int>::max();
  // The left and upper edges belong to a display, the right and lower ones do not.
  for (const Point p : {Point{2500, 200}, {-480, 20}, {3199 - 480, 100}, {100, 1069}})
    EXPECT_TRUE(stays(p)) << p.x << "," << p.y;
  for (const Point p : {Point{-481, 20}, {100, 19}, {3200 - 480, 100}, {100, 1070}, {kFar, kFar}})
    EXPECT_FALSE(stays(p)) << p.x << "," << p.y;
}

TEST(Place, without_a_good_position_small_windows_go_to_the_corner_and_others_to_the_middle) {
  EXPECT_EQ(place_for({-1, 100}, kCompact, {kDesk}, kDesk), (Point{1476, 924}));
  EXPECT_EQ(place_for({100, -1}, kFull, {kDesk}, kDesk), (Point{480, 235}));
  EXPECT_EQ(place_for({-1, -1}, {600, 400}, {}, std::nullopt), (Point{660, 340}));
  EXPECT_EQ(place_for({-1, -1}, {599, 400}, {}, std::nullopt), (Point{1297, 656}));
}

TEST(Shape, follows_the_side_that_moved_more_between_the_smallest_size_and_the_display) {
  const std::tuple<Size, std::optional<Size>, Size> cases[] = {
      {{1060, 640}, {}, {1060, 707}},         {{960, 700}, {}, {1050, 700}},
      {{1020, 690}, {}, {1035, 690}},  // in proportion: 60 of 960 is less than 50 of 640
      {{1020, 680}, {}, {1020, 680}},         {{700, 466}, {}, {700, 466}},  // and not 699
      {{300, 640}, {}, kFullMinimum},         {{1500, 640}, Size{1280, 770}, {1155, 770}},
      {{1500, 640}, Size{0, 0}, {1500, 1000}}};
  for (const auto& [now, usable, corrected] : cases)
    EXPECT_EQ(corrected_size(now, kFull, kFull, kFullMinimum, usable), corrected);
}

TEST(Shape, of_a_window_that_rests_is_right_as_asked_for_as_refused_or_as_a_tile_given_at_once) {
  constexpr Size kTile{800, 900};
  constexpr Size kAsked{720, 480};
  for (const auto& [now, refused, may_be_tiled, steps, right] :
       {std::tuple{kTile, false, false, 1, kFull},
        {Size{721, 481}, false, false, 1, kAsked},
        {Size{722, 480}, false, false, 1, kFull},
        {kTile, true, false, 9, kTile},
        {kTile, false, true, 2, kTile},
        {kTile, false, true, 3, kFull},
        {Size{}, false, false, 9, Size{}}})
    EXPECT_EQ(right_size({now, kAsked, kFull, refused, may_be_tiled, steps}), right) << steps;
}

TEST(Border, is_told_by_the_place_and_corners_win_over_edges) {
  using enum Border;
  const std::pair<Point, Border> cases[] = {
      {{9, 17}, TopLeft},      {{17, 9}, TopLeft},   {{9, 18}, Left},           {{18, 9}, Top},
      {{10, 17}, None},        {{402, 9}, TopRight}, {{410, 17}, TopRight},     {{410, 18}, Right},
      {{17, 122}, BottomLeft}, {{18, 122}, Bottom},  {{402, 122}, BottomRight}, {{409, 66}, None}};
  for (const auto& [p, border] : cases)
    EXPECT_EQ(border_at(p, kCompact), border) << p.x << "," << p.y;
}

TEST(XSettings, are_read_in_both_byte_orders_and_never_past_their_end) {
  using namespace std::string_literals;
  const std::string little = "\0\0\0\0serl\3\0\0\0"s + "\1\0\5\0Th/emABCserl\3\0\0\0abcX"s +
                             "\2\0\1\0CXXXserl12345678"s + "\0\0\6\0Net/DoXXserl\x2c\1\0\0"s;
  const std::string big = "\1\0\0\0serl\0\0\0\1"s + "\0\0\0\6Net/DoXXserl\0\0\1\x2c"s;
  for (const std::string& all : {little, big}) {
    EXPECT_EQ(xsetting(all, "Net/Do"), 300);
    EXPECT_EQ(xsetting(all, "Net/DoXX"), std::nullopt);
    for (std::size_t n = 0; n < all.size(); ++n)
      EXPECT_EQ(xsetting(std::string_view(all).substr(0, n), "Net/Do"), std::nullopt) << n;
  }
  EXPECT_EQ(xsetting("\0\0\0\0serl\xff\xff\xff\xff"s + std::string(64, '\x7f'), "a"), std::nullopt);
}

TEST(DoubleClick, is_two_presses_close_in_time_and_place) {
  for (const auto& [most, far, ms] : {std::tuple{double_click({}, {}), 5, 500U},
                                      {double_click(-1, -1), 5, 500U},
                                      {double_click(300, 8), 8, 300U},
                                      {double_click(1 << 30, 1 << 30), 50, 5000U}}) {
    EXPECT_TRUE(is_double_click(most, ms, {100, 60}, {100 + far, 60 - far}));
    EXPECT_FALSE(is_double_click(most, ms + 1, {100, 60}, {100, 60}));
    EXPECT_FALSE(is_double_click(most, 100, {100, 60}, {101 + far, 60}));
    EXPECT_FALSE(is_double_click(most, 100, {100, 60}, {100, 59 - far}));
  }
  EXPECT_TRUE(is_repeated_press(3, {100, 60}, {100, 60}));
  EXPECT_FALSE(is_repeated_press(4, {100, 60}, {100, 60}));
  EXPECT_FALSE(is_repeated_press(0, {100, 60}, {100, 61}));
}

TEST(Part, is_rounded_to_device_pixels_and_cut_to_the_texture_without_being_stretched) {
  const auto moved = part_of({200, 200}, 1.5, 3.0F, 5.0F, 7.0F, 9.0F, 20.0F, 40.0F);
  ASSERT_TRUE(moved);
  EXPECT_EQ(moved->from, (Area{5, 8, 11, 14}));
  EXPECT_EQ(moved->to, (Area{35, 68, 11, 14}));
  const auto cut = part_of({100, 50}, 1.0, -4.0F, 45.0F, 10.0F, 10.0F, 30.0F, 30.0F);
  ASSERT_TRUE(cut);
  EXPECT_EQ(cut->from, (Area{0, 45, 6, 5}));
  EXPECT_EQ(cut->to, (Area{30, 75, 6, 5}));
  EXPECT_FALSE(part_of({100, 50}, 1.0, 100.0F, 0.0F, 5.0F, 5.0F, 0.0F, 0.0F));
  EXPECT_FALSE(part_of({100, 50}, 0.25, 0.0F, 0.0F, 1.0F, 40.0F, 0.0F, 0.0F));
}

TEST(Segments, that_look_different_are_around_the_top_and_at_the_cap) {
  constexpr Span kNone;
  const std::tuple<Column, Column, Span, Span> cases[] = {
      {{3, 5}, {3, 5}, kNone, kNone},  {{3, 5}, {6, 5}, {2, 5}, kNone},
      {{6, 7}, {3, 7}, {2, 5}, kNone}, {{0, -1}, {1, 0}, {0, 0}, {0, 0}},
      {{2, 9}, {2, 8}, kNone, {8, 9}}, {{2, 4}, {2, -1}, kNone, {4, 4}}};
  for (const auto& [before, now, lit, cap] : cases)
    EXPECT_EQ(changed_segments(before, now), (std::array{lit, cap}));
}

TEST(Renderer, of_opengl_without_a_graphics_card_is_known_by_its_name) {
  for (const char* name : {"llvmpipe (LLVM 15.0.6, 256 bits)", "softpipe", "Software Rasterizer",
                           "SWR (LLVM 11.0, 256 bits)", "zink (lavapipe)", "Mesa DRI swrast"})
    EXPECT_TRUE(is_software_rasterizer(name)) << name;
  for (const char* name :
       {"Mesa Intel(R) UHD Graphics 620", "AMD Radeon RX 6600 (radeonsi, LLVM 15)",
        "NVIDIA GeForce GTX 1060/PCIe/SSE2", "SVGA3D; build: RELEASE; LLVM;", ""})
    EXPECT_FALSE(is_software_rasterizer(name)) << name;
}

TEST(StraightAlpha, restores_the_colour_of_translucent_pixels) {
  std::array<std::uint32_t, 4> pixels{0x00000000U, 0xFF102030U, 0x80808080U, 0x24241200U};
  to_straight_alpha(pixels.data(), pixels.size());
  EXPECT_EQ(pixels,
            (std::array<std::uint32_t, 4>{0x00000000U, 0xFF102030U, 0x80FFFFFFU, 0x24FF8000U}));
}

}  // namespace
}  // namespace platform
