// Sizes, places, borders and copied parts, on made-up displays.

#include "window_rules.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

namespace platform {

// For messages of failed comparisons.
static void PrintTo(const Size& s, std::ostream* out) {
  *out << s.w << "x" << s.h;
}
static void PrintTo(const Point& p, std::ostream* out) {
  *out << p.x << "," << p.y;
}
static void PrintTo(const Area& a, std::ostream* out) {
  *out << a.w << "x" << a.h << " at " << a.x << "," << a.y;
}

namespace {

constexpr Area kDesk{0, 30, 1920, 1050};
constexpr Size kFull{960, 640};
constexpr Size kFullMinimum{480, 320};

TEST(Ticks, go_on_where_the_counter_wraps_around) {
  WideTicks ticks;
  EXPECT_EQ(widen(ticks, 0xFFFFFFF0U), 0xFFFFFFF0U);
  EXPECT_EQ(widen(ticks, 0xFFFFFFF0U), 0xFFFFFFF0U);
  EXPECT_EQ(widen(ticks, 5), (std::uint64_t{1} << 32U) + 5);
  EXPECT_EQ(widen(ticks, 4), (std::uint64_t{2} << 32U) + 4);
}

TEST(ModeSize, a_saved_size_counts_from_the_smallest_sensible_one) {
  EXPECT_EQ(mode_size(false, false, {480, 320}, kDesk), kFullMinimum);
  EXPECT_EQ(mode_size(false, false, {479, 320}, kDesk), kFull);
  EXPECT_EQ(mode_size(false, true, {480, 170}, kDesk), (Size{480, 170}));
  EXPECT_EQ(mode_size(false, true, {480, 119}, kDesk), (Size{960, 340}));
  EXPECT_EQ(mode_size(true, false, {840, 264}, kDesk), (Size{840, 264}));
  EXPECT_EQ(mode_size(true, false, {419, 264}, kDesk), (Size{420, 132}));
  EXPECT_EQ(mode_size(true, false, {840, 131}, kDesk), (Size{420, 132}));
}

TEST(ModeSize, keeps_the_shape_and_fits_the_display) {
  EXPECT_EQ(mode_size(false, false, {1200, 640}, kDesk), kFull);
  EXPECT_EQ(mode_size(false, false, {960, 900}, kDesk), kFull);
  // 600 - 60 points of height are free.
  EXPECT_EQ(mode_size(false, false, {0, 0}, Area{0, 0, 1024, 600}), (Size{810, 540}));
  EXPECT_EQ(mode_size(false, false, {0, 0}, Area{0, 0, 500, 900}), kFullMinimum);
  EXPECT_EQ(mode_size(false, false, {1440, 960}, std::nullopt), (Size{1440, 960}));
  EXPECT_EQ(mode_size(true, false, {840, 264}, std::nullopt), (Size{420, 132}));
  EXPECT_EQ(mode_size(true, false, {840, 264}, Area{}), (Size{420, 132}));
  EXPECT_EQ(mode_size(false, false, {0, 0}, Area{0, 0, 10, 10}), (Size{1, 1}));
}

TEST(ModeMinimum, is_half_of_the_full_view) {
  EXPECT_EQ(mode_minimum(false, false), kFullMinimum);
  EXPECT_EQ(mode_minimum(false, true), (Size{480, 170}));
  EXPECT_EQ(mode_minimum(true, true), (Size{420, 132}));
}

TEST(Place, a_saved_position_counts_while_its_title_strip_is_on_a_display) {
  const std::vector<Area> displays{kDesk, {1920, 0, 1280, 1024}};
  const auto stays = [&](Point p) { return place_for(p, kFull, displays, kDesk) == p; };
  EXPECT_TRUE(stays({100, 100}));
  EXPECT_TRUE(stays({2500, 200}));
  EXPECT_TRUE(stays({-480, 20}));  // just inside: the left and upper edges belong to the display
  EXPECT_FALSE(stays({-481, 20}));
  EXPECT_FALSE(stays({100, 19}));
  EXPECT_TRUE(stays({3199 - 480, 100}));
  EXPECT_FALSE(stays({3200 - 480, 100}));  // and the right and lower ones do not
  EXPECT_TRUE(stays({100, 1069}));
  EXPECT_FALSE(stays({100, 1070}));
  EXPECT_FALSE(stays({std::numeric_limits<int>::max(), std::numeric_limits<int>::max()}));
}

TEST(Place, without_a_good_position_small_windows_go_to_the_corner_and_others_to_the_middle) {
  constexpr Size kCompact{420, 132};
  EXPECT_EQ(place_for({5000, 5000}, kCompact, {kDesk}, kDesk), (Point{1476, 924}));
  EXPECT_EQ(place_for({-1, 100}, kCompact, {kDesk}, kDesk), (Point{1476, 924}));
  EXPECT_EQ(place_for({100, -1}, kFull, {kDesk}, kDesk), (Point{480, 235}));
  EXPECT_EQ(place_for({-1, -1}, {600, 400}, {}, std::nullopt), (Point{660, 340}));
  EXPECT_EQ(place_for({-1, -1}, {599, 400}, {}, std::nullopt), (Point{1297, 656}));
}

TEST(Shape, the_side_that_moved_more_wins) {
  EXPECT_EQ(corrected_size({1060, 640}, kFull, kFull, kFullMinimum, {}), (Size{1060, 707}));
  EXPECT_EQ(corrected_size({960, 700}, kFull, kFull, kFullMinimum, {}), (Size{1050, 700}));
  // In proportion: 60 of 960 is less than 50 of 640.
  EXPECT_EQ(corrected_size({1020, 690}, kFull, kFull, kFullMinimum, {}), (Size{1035, 690}));
  EXPECT_EQ(corrected_size({1020, 680}, kFull, kFull, kFullMinimum, {}), (Size{1020, 680}));
}

TEST(Shape, keeps_between_the_smallest_size_and_the_display) {
  EXPECT_EQ(corrected_size({300, 640}, kFull, kFull, kFullMinimum, {}), kFullMinimum);
  EXPECT_EQ(corrected_size({1500, 640}, kFull, kFull, kFullMinimum, Size{1280, 770}),
            (Size{1155, 770}));
  EXPECT_EQ(corrected_size({1500, 640}, kFull, kFull, kFullMinimum, Size{0, 0}),
            (Size{1500, 1000}));
}

TEST(Border, corners_win_over_edges) {
  constexpr Size kWindow{420, 132};
  struct Case {
    Point p;
    Border border;
  };
  constexpr std::array kCases{
      Case{{9, 17}, Border::TopLeft},        Case{{17, 9}, Border::TopLeft},
      Case{{9, 18}, Border::Left},           Case{{18, 9}, Border::Top},
      Case{{10, 17}, Border::None},          Case{{402, 9}, Border::TopRight},
      Case{{401, 9}, Border::Top},           Case{{410, 17}, Border::TopRight},
      Case{{410, 18}, Border::Right},        Case{{409, 66}, Border::None},
      Case{{17, 122}, Border::BottomLeft},   Case{{9, 114}, Border::BottomLeft},
      Case{{18, 122}, Border::Bottom},       Case{{9, 113}, Border::Left},
      Case{{402, 122}, Border::BottomRight}, Case{{410, 114}, Border::BottomRight},
      Case{{401, 131}, Border::Bottom},      Case{{410, 113}, Border::Right},
      Case{{200, 121}, Border::None},        Case{{10, 10}, Border::None},
  };
  for (const Case& c : kCases)
    EXPECT_EQ(border_at(c.p, kWindow), c.border) << c.p.x << "," << c.p.y;
}

TEST(Border, has_the_pointer_of_its_direction) {
  EXPECT_EQ(resize_cursor(Border::TopLeft), resize_cursor(Border::BottomRight));
  EXPECT_EQ(resize_cursor(Border::TopRight), kResizeNesw);
  EXPECT_EQ(resize_cursor(Border::BottomLeft), kResizeNesw);
  EXPECT_EQ(resize_cursor(Border::Left), kResizeWe);
  EXPECT_EQ(resize_cursor(Border::Bottom), kResizeNs);
  EXPECT_EQ(resize_cursor(Border::None), -1);
}

TEST(DoubleClick, is_two_presses_close_in_time_and_place) {
  EXPECT_TRUE(is_double_click(500, {100, 60}, {132, 28}));
  EXPECT_FALSE(is_double_click(501, {100, 60}, {100, 60}));
  EXPECT_FALSE(is_double_click(100, {100, 60}, {133, 60}));
  EXPECT_FALSE(is_double_click(100, {100, 60}, {100, 27}));
}

TEST(Key, tells_everything_the_picture_depends_on) {
  EXPECT_EQ(key("bars", 2, 820.04F, 168.0F, true, 1.25), "bars-2-820.0x168.0-0-1-1.2500");
  EXPECT_EQ(key("glyph-\xC3\xA9", 0, 20.5F, 38.0F, false, 1.0),
            "glyph-\xC3\xA9-0-20.5x38.0-0-0-1.0000");
}

TEST(Part, is_rounded_to_device_pixels_and_moved_to_its_place) {
  const auto part = part_of({200, 200}, 1.5, 3.0F, 5.0F, 7.0F, 9.0F, 20.0F, 40.0F);
  ASSERT_TRUE(part);
  EXPECT_EQ(part->from, (Area{5, 8, 11, 14}));
  EXPECT_EQ(part->to, (Area{35, 68, 11, 14}));
}

TEST(Part, is_cut_to_the_texture_without_being_stretched) {
  const auto part = part_of({100, 50}, 1.0, -4.0F, 45.0F, 10.0F, 10.0F, 30.0F, 30.0F);
  ASSERT_TRUE(part);
  EXPECT_EQ(part->from, (Area{0, 45, 6, 5}));
  EXPECT_EQ(part->to, (Area{30, 75, 6, 5}));
  EXPECT_FALSE(part_of({100, 50}, 1.0, 100.0F, 0.0F, 5.0F, 5.0F, 0.0F, 0.0F));
  EXPECT_FALSE(part_of({100, 50}, 1.0, 0.0F, -5.0F, 5.0F, 5.0F, 0.0F, 0.0F));
  EXPECT_FALSE(part_of({100, 50}, 0.25, 0.0F, 0.0F, 1.0F, 40.0F, 0.0F, 0.0F));
}

TEST(StraightAlpha, restores_the_colour_of_translucent_pixels) {
  std::array<std::uint32_t, 4> pixels{0x00000000U, 0xFF102030U, 0x80808080U, 0x24241200U};
  to_straight_alpha(pixels.data(), pixels.size());
  EXPECT_EQ(pixels,
            (std::array<std::uint32_t, 4>{0x00000000U, 0xFF102030U, 0x80FFFFFFU, 0x24FF8000U}));
}

}  // namespace
}  // namespace platform
