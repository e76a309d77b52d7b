// The sliders: dragging, the wheel, double clicks, glides, and when what they did is written.
#include <cmath>

#include "window.h"

namespace {

class sliders : public Window {
 protected:
  static constexpr int kBand = 3;

  float x(int i = kBand) const { return layout().layer.at(ui::kHitSlider + i).x + 20; }
  static float knob(float gain_db) { return ui::gain_to_y(layout(), gain_db); }
  float& gain() { return s_.curve.gain[kBand]; }
};

TEST_F(sliders, follow_the_pointer_in_steps_of_half_a_decibel_and_are_written_once) {
  const float middle = knob(0);
  const float per_db = middle - knob(1);
  for (const float offset : {-11.0F, 11.0F}) {  // taken beside its centre, a knob does not jump
    ui::on_mouse_down(x(), middle + offset);
    EXPECT_EQ(ui::cursor_at(0, 0), ui::kCursorDrag);
    const int pushed_before = fakes::sound.curves;
    int changes = 0;
    for (int dy = 0; dy <= 60; ++dy) {
      const float last = gain();
      ui::on_mouse_move(x() + 300, middle + offset - static_cast<float>(dy));
      EXPECT_EQ(gain(), std::round(static_cast<float>(dy) / per_db * 2) / 2) << dy;
      changes += gain() != last ? 1 : 0;
      frame(150);
      EXPECT_FALSE(saved()) << dy;
    }
    EXPECT_EQ(fakes::sound.curves - pushed_before, changes);
    ui::on_mouse_move(x(), middle + offset);
    ui::on_mouse_up();
  }
  ui::on_mouse_down(x(), knob(-4));
  EXPECT_EQ(gain(), -4) << "taken elsewhere it comes to the pointer";
  for (const auto& [y, most] : {std::pair{-1000.0F, 12.0F}, {5000.0F, -12.0F}}) {
    ui::on_mouse_move(x(), y);
    EXPECT_EQ(gain(), most);
  }
  EXPECT_FALSE(saved_in_time()) << "while it is held";
  ui::on_mouse_up();
  ui::on_mouse_move(x(), middle);
  frame(1);
  EXPECT_EQ(settings::load().curve.gain[kBand], -12);
  EXPECT_FALSE(saved_in_time()) << "again";
}

TEST_F(sliders, turn_with_the_wheel_stop_at_the_ends_and_return_on_a_double_click) {
  gain() = 11;
  for (const auto& [steps, expected] : {std::pair{-1, 11.5F}, {-2, 12.0F}, {90, -12.0F}}) {
    ui::on_wheel(x(), 400, steps);
    EXPECT_EQ(gain(), expected);
  }
  press(x(), knob(-12));
  ui::on_double_click(x(), knob(-12));
  ui::on_mouse_move(x(), 380);
  EXPECT_EQ(gain(), 0) << "it is not held";
  EXPECT_EQ(fakes::sound.curve.gain[kBand], 0);
  EXPECT_TRUE(saved_in_time());
  // The second press on what the first one closed.
  s_.curve.gain[9] = 5;
  press(ui::kHitPresets);
  ASSERT_TRUE(list().open);
  press(x(9), knob(-11));
  ASSERT_FALSE(list().open);
  ui::on_double_click(x(9), knob(-11));
  EXPECT_EQ(s_.curve.gain[9], 5);
}

TEST_F(sliders, ignore_all_input_while_the_equalizer_is_off) {
  gain() = 4;
  press(ui::kHitPower);
  EXPECT_FALSE(s_.active || fakes::sound.active);
  const int pushed = fakes::sound.curves;
  press(x(), knob(-6));
  ui::on_wheel(x(), 400, -1);
  ui::on_double_click(x(), 400);
  for (const int code : {ui::kHitPresets, ui::kHitSave, ui::kHitFlat})
    EXPECT_EQ(code_at(at(code)), ui::kHitNone);
  EXPECT_EQ(gain(), 4);
  EXPECT_EQ(fakes::sound.curves, pushed);
  for (const int code : {ui::kHitMute, ui::kHitCompact, ui::kHitSettings})
    EXPECT_EQ(code_at(at(code)), code);
  press(ui::kHitPower);
  EXPECT_TRUE(s_.active && fakes::sound.active);
}

TEST_F(sliders, glide_to_a_preset_band_after_band_unless_one_is_taken) {
  const eq::Curve bass = eq::preset_curve(eq::find_preset("preset_bass"));
  s_.user_presets = {{"Loud", {{12, 6}, 0}}};
  ui::choose_builtin("preset_bass");
  EXPECT_TRUE(frame(56));
  EXPECT_LT(s_.curve.preamp, 0);
  EXPECT_GT(s_.curve.gain[0], 0);
  EXPECT_EQ(s_.curve.gain[1], 0);
  EXPECT_FLOAT_EQ(fakes::sound.curve.gain[0], s_.curve.gain[0]);
  EXPECT_TRUE(frame(799 - 56));
  EXPECT_FALSE(frame(1));
  EXPECT_TRUE(eq::same(s_.curve, bass) && eq::same(fakes::sound.curve, bass));
  EXPECT_TRUE(saved_in_time());
  ui::choose_user("Loud");
  for (int i = 0; i < 40; ++i) {
    frame(8);
    EXPECT_LE(s_.curve.gain[0], 12) << "it overshoots, but not beyond the ends";
  }
  const float reached = s_.curve.gain[2];
  ui::on_wheel(x(9), 400, -1);
  frame(1000);
  EXPECT_EQ(s_.curve.gain[9], 0.5F);
  EXPECT_EQ(s_.curve.gain[2], reached);
  // It is complete when the program ends.
  ui::choose_builtin("preset_bass");
  frame(300);
  ui::persist();
  EXPECT_EQ(settings::load().curve.gain[0], 7);
}

TEST_F(sliders, show_their_fill_around_the_value_and_the_curve_beside_the_labels) {
  const auto below_the_tracks = [this] {
    std::vector<std::uint32_t> row;
    for (int i = static_cast<int>(x(0)); i < 930; ++i)
      row.push_back(canvas_->at(i, static_cast<int>(layout().track_bottom) + 13));
    return row;
  };
  const std::vector<std::uint32_t> free = below_the_tracks();
  s_.curve = {{0, 0, 0, -12, -12, -12, -12, 0, -8}, 0};  // together far more than one
  paint();
  int filled = 0;
  for (int dy = 13; dy < 26; ++dy) {
    for (int dx = -3; dx <= 3; ++dx)
      filled += canvas_->at(static_cast<int>(x(8)) + dx, static_cast<int>(knob(-8)) - dy) ==
                theme::colors()->accent;
  }
  EXPECT_GT(filled, 5) << "behind the value";
  EXPECT_EQ(below_the_tracks(), free) << "where the labels begin";
}

}  // namespace
