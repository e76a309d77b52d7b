// Where text goes, how wide it is and where it is cut.
#include <gtest/gtest.h>

#include <cmath>

#include "canvas.h"

namespace {

using gfx::Align;
using gfx::Rect;

constexpr unsigned kWhite = 0xffffffff;
const std::string kHebrew = "שלום עולם";

class text : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(gfx::init(nullptr)); }
  void TearDown() override { gfx::shutdown(); }
};
using measures = text;

float right(const Rect& r) {
  return r.x + r.w;
}

TEST_F(text, that_is_too_wide_is_cut_at_the_side_away_from_its_alignment) {
  // Only the last letter rises above the dots.
  const std::string dots = std::string(60, '.') + "M";
  const Rect r{20, 0, 60, 40};
  const Canvas canvas(100, 40);
  gfx::text(r, dots, 20, kWhite, Align::Left, false, true);
  const float dot_height = canvas.ink().h;
  EXPECT_GE(canvas.ink().x, 20);
  EXPECT_LE(right(canvas.ink()), 80);
  gfx::clear(0);
  gfx::text(r, dots, 20, kWhite, Align::Right, false, true);
  EXPECT_GT(canvas.ink().h, 2 * dot_height);
  EXPECT_EQ(canvas.ink().x, 20);
  EXPECT_LE(right(canvas.ink()), 80);
}

TEST_F(text, stays_in_one_line_and_follows_alignment_and_weight) {
  const Rect r{10, 10, 180, 60};
  const Canvas canvas(200, 80);
  const auto ink = [&](Align align, bool bold, bool vcenter) {
    gfx::clear(0);
    gfx::text(r, "MM MM", 16, kWhite, align, bold, vcenter);
    return canvas.ink();
  };
  const Rect left = ink(Align::Left, false, false);
  const Rect center = ink(Align::Center, false, true);
  const Rect bold = ink(Align::Right, true, true);
  EXPECT_NEAR(left.x, 10, 3);
  EXPECT_NEAR(left.y, 10, 8);
  EXPECT_NEAR(center.x + center.w / 2, 100, 2);
  EXPECT_NEAR(center.y + center.h / 2, 40, 4);
  EXPECT_NEAR(right(bold), 190, 3);
  EXPECT_GT(bold.w, center.w);

  gfx::clear(0);
  gfx::text({10, 10, 30, 60}, "MM MM\nMM", 16, kWhite, Align::Left, false, false);
  EXPECT_EQ(canvas.ink().h, left.h);
}

TEST_F(text, aligns_paragraphs_of_both_directions_to_the_edge_that_is_named) {
  const Canvas canvas(200, 60);
  for (const std::string& s : {std::string("Velmora"), kHebrew, "Velmora\n" + kHebrew}) {
    const auto ink = [&](Align align) {
      gfx::clear(0);
      gfx::text_wrapped({10, 0, 180, 60}, s, 14, kWhite, align);
      return canvas.ink();
    };
    EXPECT_NEAR(ink(Align::Left).x, 10, 2) << s;
    EXPECT_LT(right(ink(Align::Left)), 100) << s;
    EXPECT_NEAR(right(ink(Align::Right)), 190, 2) << s;
    EXPECT_GT(ink(Align::Right).x, 100) << s;
    const Rect middle = ink(Align::Center);
    EXPECT_NEAR(middle.x + middle.w / 2, 100, 2) << s;
  }
}

TEST_F(text, wraps_at_words_then_letters_and_returns_its_whole_height) {
  const Canvas canvas(100, 100);
  const float line = gfx::wrapped_height("Mm", 14, 1000);
  EXPECT_GT(line, 14);
  EXPECT_EQ(gfx::wrapped_height("Mm Mm", 14, gfx::text_width("Mm M", 14, false)), 2 * line);
  EXPECT_GE(gfx::wrapped_height("MMMMMMMM", 14, gfx::text_width("MM", 14, false)), 4 * line);
  EXPECT_EQ(gfx::wrapped_height("Mm Mm", 14, -5), gfx::wrapped_height("Mm Mm", 14, 0));

  const Rect r{10, 10, 50, 30};
  const std::string words = "one two three four five six seven";
  EXPECT_EQ(gfx::text_wrapped(r, words, 14, kWhite, Align::Left),
            gfx::wrapped_height(words, 14, 50));
  const Rect ink = canvas.ink();
  EXPECT_GE(ink.x, 10);
  EXPECT_LE(right(ink), 60);
  EXPECT_LE(ink.y + ink.h, 40);
}

TEST_F(text, draws_nothing_when_empty_or_without_a_size) {
  const Canvas canvas(50, 50);
  const Rect r{0, 0, 50, 50};
  const std::pair<std::string, float> nothing[] = {
      {"", 12.0F}, {"x", 0.0F}, {"x", -3.0F}, {"x", std::nanf("")}, {"x", 1e30F}};
  for (const auto& [s, size] : nothing) {
    gfx::text(r, s, size, kWhite, Align::Left, false, false);
    EXPECT_EQ(gfx::text_wrapped(r, s, size, kWhite, Align::Left), 0);
    EXPECT_EQ(gfx::wrapped_height(s, size, 50), 0);
    EXPECT_EQ(gfx::text_width(s, size, true), 0);
    EXPECT_EQ(gfx::fit_chars(s, size, 50), 0);
  }
  EXPECT_TRUE(canvas.blank());
}

TEST_F(measures, are_the_same_inside_and_outside_of_drawing) {
  const std::string s = "Velmora 31 Hz";
  const float width = gfx::text_width(s, 13, false);
  EXPECT_GT(gfx::text_width(s, 13, true), width);
  EXPECT_NEAR(gfx::text_width(s, 26, false), 2 * width, 0.1F * width);
  const Canvas canvas(10, 10);
  EXPECT_EQ(gfx::text_width(s, 13, false), width);
}

TEST_F(measures, are_nothing_before_init_and_after_shutdown) {
  gfx::shutdown();
  EXPECT_EQ(gfx::text_width("x", 12, false), 0);
  EXPECT_EQ(gfx::wrapped_height("x", 12, 50), 0);
  EXPECT_EQ(gfx::fit_chars("x", 12, 50), 0);
  ASSERT_TRUE(gfx::init(nullptr));
  EXPECT_GT(gfx::text_width("x", 12, false), 0);
}

TEST_F(measures, fit_the_longest_prefix_of_whole_characters) {
  const std::string s = "aé日𝄞b";
  const int ends[] = {0, 1, 3, 6, 10, 11};
  for (std::size_t i = 0; i + 1 < std::size(ends); ++i) {
    const auto prefix = [&](std::size_t k) {
      return gfx::text_width(s.substr(0, static_cast<std::size_t>(ends[k])), 14, false);
    };
    ASSERT_LT(prefix(i), prefix(i + 1));
    EXPECT_EQ(gfx::fit_chars(s, 14, prefix(i)), ends[i]);
    EXPECT_EQ(gfx::fit_chars(s, 14, prefix(i + 1) - 0.5F), ends[i]);
  }
  EXPECT_EQ(gfx::fit_chars(s, 14, 1000), 11);
  EXPECT_EQ(gfx::fit_chars(s, 14, -1), 0);
  // Bytes that are no text end too.
  EXPECT_EQ(gfx::fit_chars("\x80\x80\x80", 14, 0), 0);
}

}  // namespace
