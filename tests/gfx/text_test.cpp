// Where text goes, how wide it is and where it is cut.

#include "canvas.h"
#include "test.h"

namespace {

using gfx::Align;
using gfx::Rect;

constexpr unsigned kWhite = 0xffffffff;

class text : public Test {
 protected:
  void SetUp() override { ASSERT_TRUE(gfx::init(nullptr)); }
  void TearDown() override { gfx::shutdown(); }
};
using measures = text;

float right(const Rect& r) {
  return r.x + r.w;
}

TEST_F(text, stays_in_one_line_where_it_belongs_and_is_cut_at_the_side_away_from_there) {
  const Canvas canvas(200, 80);
  const auto ink = [&](const Rect& r, const std::string& s, Align align, bool bold, bool vcenter) {
    gfx::clear(0);
    gfx::text(r, s, 16, kWhite, align, bold, vcenter);
    return canvas.ink();
  };
  const Rect r{10, 10, 180, 60};
  const Rect left = ink(r, "MM MM", Align::Left, false, false);
  const Rect center = ink(r, "MM MM", Align::Center, false, true);
  const Rect bold = ink(r, "MM MM", Align::Right, true, true);
  EXPECT_NEAR(left.x, 10, 3);
  EXPECT_NEAR(left.y, 10, 8);
  EXPECT_NEAR(center.x + center.w / 2, 100, 2);
  EXPECT_NEAR(center.y + center.h / 2, 40, 4);
  EXPECT_NEAR(right(bold), 190, 3);
  EXPECT_GT(bold.w, center.w);
  EXPECT_EQ(ink({10, 10, 30, 60}, "MM MM\nMM", Align::Left, false, false).h, left.h);

  // Only the last letter rises above the dots.
  const std::string dots = std::string(60, '.') + "M";
  const Rect start = ink({20, 0, 60, 40}, dots, Align::Left, false, true);
  const Rect end = ink({20, 0, 60, 40}, dots, Align::Right, false, true);
  EXPECT_GT(end.h, 2 * start.h);
  EXPECT_GE(start.x, 20);
  EXPECT_EQ(end.x, 20);
  EXPECT_LE(std::max(right(start), right(end)), 80);
}

TEST_F(text, has_the_letterforms_of_its_language) {
  const auto picture = [](const char* language) {
    const Canvas canvas(60, 30);
    gfx::set_language(language);
    gfx::text({0, 0, 60, 30}, "直骨", 22, kWhite, Align::Left, false, true);
    gfx::set_language("");
    std::vector<std::uint32_t> pixels;
    for (int i = 0; i < 60 * 30; ++i)
      pixels.push_back(canvas.at(i % 60, i / 60));
    return pixels;
  };
  EXPECT_NE(picture("ja"), picture("zh"));
  EXPECT_NE(picture("zh"), picture("zh_TW"));
}

TEST_F(text, aligns_paragraphs_of_both_directions_to_the_edge_that_is_named) {
  const Canvas canvas(200, 60);
  for (const std::string s : {"Velmora", "שלום עולם", "Velmora\nשלום עולם"}) {
    const auto ink = [&](Align align) {
      gfx::clear(0);
      gfx::text_wrapped({10, 0, 180, 60}, s, 14, kWhite, align);
      return canvas.ink();
    };
    EXPECT_NEAR(ink(Align::Left).x, 10, 2) << s;
    EXPECT_NEAR(right(ink(Align::Right)), 190, 2) << s;
    EXPECT_GT(ink(Align::Right).x, 100) << s;
  }
}

TEST_F(text, wraps_at_words_then_letters_and_returns_its_whole_height) {
  const Canvas canvas(100, 100);
  const float line = gfx::wrapped_height("Mm", 14, 1000);
  EXPECT_GT(line, 14);
  EXPECT_EQ(gfx::wrapped_height("Mm Mm", 14, gfx::text_width("Mm M", 14, false)), 2 * line);
  EXPECT_GE(gfx::wrapped_height("MMMMMMMM", 14, gfx::text_width("MM", 14, false)), 4 * line);
  // A dash never begins a line: the word before it comes along to the second of three.
  EXPECT_EQ(
      gfx::wrapped_height("iiiiiiii MMM — MMM", 14, gfx::text_width("iiiiiiii MMM", 14, false)),
      3 * line);
  const std::string words = "one two three four five six seven";
  EXPECT_EQ(gfx::text_wrapped({10, 10, 50, 30}, words, 14, kWhite, Align::Left),
            gfx::wrapped_height(words, 14, 50));
  const Rect ink = canvas.ink();
  EXPECT_GE(ink.x, 10);
  EXPECT_LE(right(ink), 60);
  EXPECT_LE(ink.y + ink.h, 40);
}

TEST_F(measures, are_the_same_while_drawing_and_nothing_without_text_size_or_init) {
  const auto expect_nothing = [](const std::string& s, float size) {
    EXPECT_EQ(gfx::text_wrapped({0, 0, 9, 9}, s, size, kWhite, Align::Left), 0);
    EXPECT_EQ(gfx::wrapped_height(s, size, 50), 0);
    EXPECT_EQ(gfx::text_width(s, size, true), 0);
    EXPECT_EQ(gfx::fit_chars(s, size, 50), 0);
  };
  const std::string s = "Velmora 31 Hz";
  const float width = gfx::text_width(s, 13, false);
  const Canvas canvas(10, 10);
  EXPECT_EQ(gfx::text_width(s, 13, false), width);
  expect_nothing("", 12);
  for (const float size : {0.0F, -3.0F, std::nanf(""), 1e30F})
    expect_nothing(s, size);
  EXPECT_TRUE(canvas.blank());
  gfx::set_context(nullptr);
  gfx::shutdown();
  expect_nothing(s, 12);
}

TEST_F(measures, fit_the_longest_prefix_of_whole_characters) {
  const std::string s = "aé日𝄞b";
  std::string prefix;
  for (const std::string next : {"a", "é", "日", "𝄞", "b"}) {
    const float wider = gfx::text_width(prefix + next, 14, false);
    EXPECT_EQ(gfx::fit_chars(s, 14, wider - 0.5F), static_cast<int>(prefix.size()));
    prefix += next;
    EXPECT_EQ(gfx::fit_chars(s, 14, wider), static_cast<int>(prefix.size()));
  }
  EXPECT_EQ(gfx::fit_chars(s, 14, -1), 0);
  EXPECT_EQ(gfx::fit_chars("\x80\x80\x80", 14, 0), 0);  // bytes that are no text end too
}

}  // namespace
