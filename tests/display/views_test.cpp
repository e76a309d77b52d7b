// The window's sizes, places and shapes.

#include <cstdlib>

#include "display_test.h"

namespace display_test {
namespace {

constexpr Spot kCollapsedCollapse{480, 324};
constexpr Spot kCompact{871, 35};
constexpr Spot kMiniBody{180, 70};
constexpr Extent kMini{420, 132};

using Views = DisplayTest;

TEST_F(Views, the_window_says_what_it_is_folds_and_keeps_its_shape) {
  auto program = start();
  const Window window(screen());  // of the class "velmora"
  EXPECT_EQ(window.title(), "Velmora");
  EXPECT_EQ(window.size(), kFull);
  EXPECT_TRUE(window.framed());
  EXPECT_EQ(program->count_in_log("Video: x11, Renderer software (software!)"), 1);
  EXPECT_EQ(program->count_in_log(kFirstFrame), 1);
  // Dark and light are told apart by the plain background.
  const Spot background{430, 10};
  const std::uint32_t dark = window.pixel(background);
  window.click(kCollapse);
  EXPECT_TRUE(has_size(window, {960, 340}));
  window.click(kCollapsedCollapse);
  EXPECT_TRUE(has_size(window, kFull));
  // As under a window manager that does not care for shapes.
  screen().run({"xprop", "-id", window.id(), "-remove", "WM_NORMAL_HINTS"});
  window.resize({1200, 640});
  EXPECT_TRUE(has_size(window, {1200, 800}));
  program->stop();
  program = start({"--theme", "light"});
  const Window again(screen());
  EXPECT_TRUE(eventually("the background is light",
                         [&] { return (again.pixel(background) & 0xff) > (dark & 0xff) + 0x60; }));
}

TEST_F(Views, compact_and_full_view_find_their_places_again) {
  const auto settles_near = [](const Window& window, Spot wanted) {
    Spot last{};
    EXPECT_TRUE(eventually("the window has moved", [&](std::string& seen) {
      const Spot now = window.position();
      seen = testing::PrintToString(now);
      const bool rests = now == last;
      last = now;
      return rests && std::abs(now.x - wanted.x) < 40 && std::abs(now.y - wanted.y) < 40;
    }));
    return last;
  };
  Spot full;
  Spot mini;
  {
    auto program = start();
    const Window window(screen());
    window.move({100, 60});
    full = settles_near(window, {100, 60});
    window.click(kCompact);
    EXPECT_TRUE(has_size(window, kMini));
    EXPECT_FALSE(window.framed());
    EXPECT_EQ(settles_near(window, {full.x + kFull.w - kMini.w, full.y}),
              (Spot{full.x + kFull.w - kMini.w, full.y}));
    window.move({300, 500});
    mini = settles_near(window, {300, 500});
    EXPECT_EQ(program->stop(), kOk);
  }
  auto program = start();
  const Window window(screen());
  EXPECT_TRUE(has_size(window, kMini));
  EXPECT_EQ(settles_near(window, mini), mini);
  window.double_click(kMiniBody);
  EXPECT_TRUE(has_size(window, kFull));
  EXPECT_TRUE(window.framed());
  EXPECT_EQ(settles_near(window, full), full);
}

TEST_F(Views, no_saved_place_or_size_loses_the_window) {
  for (const auto& [compact, x, y, size] :
       {std::tuple{false, 5000, 5000, 1}, {true, -3000, 100, -7}, {false, 10, -900, 100000}}) {
    Settings s;
    s.compact = compact;
    s.win_x = s.mini_x = x;
    s.win_y = s.mini_y = y;
    s.win_w = s.win_h = s.mini_w = s.mini_h = size;
    std::filesystem::create_directories(std::filesystem::path(settings::file_path()).parent_path());
    ASSERT_TRUE(settings::save(s));
    auto program = start();
    const Window window(screen());
    const Extent least = compact ? kMini : Extent{480, 320};
    EXPECT_TRUE(eventually("the whole window is on the screen",
                           [&](std::string& seen) {
                             const Spot at = window.position();
                             const Extent now = window.size();
                             seen =
                                 testing::PrintToString(now) + " at " + testing::PrintToString(at);
                             return at.x >= 0 && at.y >= 0 && at.x + now.w <= screen().size().w &&
                                    at.y + now.h <= screen().size().h && now.w >= least.w &&
                                    now.h >= least.h;
                           }))
        << (compact ? "compact, saved size " : "full, saved size ") << size;
  }
}

}  // namespace
}  // namespace display_test
