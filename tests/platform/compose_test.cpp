// Frames: what is put together in parts is what is put together as a whole.

#include "../ui/fakes.h"
#include "gfx/gfx.h"
#include "platform/platform_private.h"
#include "test.h"
#include "ui/lists.h"
#include "ui/state.h"

namespace {

class Frames : public Test {
 protected:
  Frames() {
    setenv("SDL_VIDEODRIVER", "dummy", 1);
    setenv("SDL_RENDER_DRIVER", "software", 1);
    SDL_InitSubSystem(SDL_INIT_VIDEO);
    fakes::reset();
  }
  ~Frames() override {
    platform::clear_cache();
    platform::destroy_layers();
    platform::destroy_renderer();
    platform::destroy_window();
    ui::init(nullptr, false);
    gfx::shutdown();
    SDL_Quit();
  }

  void show(int w, int h) {
    s_.win_w = s_.mini_w = w;
    s_.win_h = s_.mini_h = h;
    ASSERT_TRUE(platform::create_window(&s_) && platform::create_renderer() && gfx::init(nullptr));
    ui::init(&s_, false);
    platform::apply_mode(s_.compact, false);
    SDL_ShowWindow(platform::window());
    ui::on_frame();
  }
  // Some columns rise or fall a little, some jump.
  void change_levels() {
    ui::State& s = ui::state();
    const auto level = [this] { return -70.0F + static_cast<float>(random_() % 75); };
    for (int n = static_cast<int>(random_() % 8); n > 0; --n) {
      const auto i = random_() % ui::kBars;
      s.bars.level[i] = level();
      s.bars.peak[i] = std::max(s.bars.level[i], level());
      s.meter[i % 2].level = level();
      s.meter[i % 2].peak = level();
    }
  }
  static std::vector<std::uint32_t> picture() {
    const SDL_Surface* surface = SDL_GetWindowSurface(platform::window());
    const auto* pixels = static_cast<const std::uint32_t*>(surface->pixels);
    const auto n =
        static_cast<std::size_t>(surface->h) * static_cast<std::size_t>(surface->pitch) / 4;
    return {pixels, pixels + n};
  }

  Settings s_;
  std::mt19937 random_{1};
};

TEST_F(Frames, in_parts_are_the_same_pixels_as_whole_ones) {
  for (const auto& [compact, w, h] :
       {std::tuple{false, 960, 640}, {false, 700, 466}, {true, 420, 132}, {true, 577, 181}}) {
    SCOPED_TRACE(w);
    s_.compact = compact;
    show(w, h);
    std::vector<std::uint32_t> last;
    for (int i = 0; i < 60; ++i) {
      if (i == 10) ui::state().look.feedback.pressed = ui::kHitMute;
      if (i == 15) {  // a name over the bars
        ui::state().look.feedback.tip = true;
        ui::state().touch.over = compact ? ui::kHitBack : ui::kHitChannel;
      }
      if (i == 25) s_.theme = "light";
      ui::follow_settings();
      if (i == 20) fakes::sound.status.state = audio::kNoServer;  // a note over the bars
      if (i == 40 && !compact) ui::open_presets();                // a list over the bars
      ui::state().look.status = fakes::sound.status;
      change_levels();
      if (ui::take_dirty()) platform::draw_layers();
      const double t = i * 0.05;
      platform::compose(t);
      const std::vector<std::uint32_t> in_parts = picture();
      EXPECT_TRUE(compact || in_parts != last) << "at least the title has changed";
      platform::invalidate_frame();
      platform::compose(t);
      last = picture();
      ASSERT_EQ(in_parts, last) << "frame " << i;
    }
    fakes::reset();
    platform::clear_cache();
    platform::destroy_layers();
    platform::destroy_renderer();
    platform::destroy_window();
    gfx::shutdown();
  }
}

}  // namespace
