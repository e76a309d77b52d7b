// The sliders: dragging, the wheel, double clicks, glides, and when what they did is written.
#include <cmath>

#include "window.h"

namespace {

class sliders : public Window {
 protected:
  static constexpr float kMiddle = 461;  // of the track at reference size
  static constexpr float kPerDb = 75 / 12.0F;
  static constexpr int kBand = 3;

  float x(int i = kBand) const { return layout().slider[i].x + 20; }
  static float knob(float gain_db) { return kMiddle - gain_db * kPerDb; }
  float& gain() { return s_.curve.gain[kBand]; }
  float heard() const { return fakes::sound.curve.gain[kBand]; }
};

TEST_F(sliders, follow_the_pointer_in_steps_of_half_a_decibel_and_are_written_once) {
  ui::on_mouse_down(x(), kMiddle);
  EXPECT_EQ(ui::cursor_at(0, 0), ui::kCursorDrag);
  const int pushed_before = fakes::sound.curves;
  int changes = 0;
  for (int dy = 1; dy <= 60; ++dy) {
    const float last = gain();
    ui::on_mouse_move(x() + 300, kMiddle - static_cast<float>(dy));
    EXPECT_EQ(gain(), std::round(static_cast<float>(dy) / kPerDb * 2) / 2) << dy;
    EXPECT_EQ(heard(), gain());
    changes += gain() != last ? 1 : 0;
    frame(150);
    EXPECT_FALSE(saved()) << dy;
  }
  EXPECT_EQ(fakes::sound.curves - pushed_before, changes);
  for (const auto& [y, most] : {std::pair{-1000.0F, 12.0F}, {5000.0F, -12.0F}}) {
    ui::on_mouse_move(x(), y);
    EXPECT_EQ(gain(), most);
  }
  ui::on_mouse_up();
  ui::on_mouse_move(x(), kMiddle);
  EXPECT_EQ(gain(), -12);
  EXPECT_TRUE(saved_in_time());
  EXPECT_EQ(settings::load().curve.gain[kBand], -12);
  EXPECT_FALSE(saved_in_time()) << "again";
}

TEST_F(sliders, do_not_jump_when_their_knob_is_taken_beside_its_centre) {
  for (const float offset : {-11.0F, 11.0F}) {
    ui::on_mouse_down(x(), kMiddle + offset);
    EXPECT_EQ(gain(), 0) << offset;
    ui::on_mouse_move(x(), knob(6) + offset);
    EXPECT_EQ(gain(), 6) << offset;
    ui::on_mouse_move(x(), kMiddle + offset);
    ui::on_mouse_up();
  }
  press(x(ui::kPreamp), knob(-4));
  EXPECT_EQ(s_.curve.preamp, -4);
}

TEST_F(sliders, turn_with_the_wheel_stop_at_the_ends_and_return_on_a_double_click) {
  gain() = 11;
  s_.curve.gain[kBand + 1] = 2;
  for (const auto& [steps, expected] :
       {std::pair{-1, 11.5F}, {-2, 12.0F}, {1, 11.5F}, {90, -12.0F}}) {
    ui::on_wheel(x(), 400, steps);
    EXPECT_EQ(gain(), expected);
    EXPECT_EQ(heard(), expected);
  }
  ui::on_wheel(x() + 35, 400, -1);  // between two columns
  EXPECT_EQ(gain(), -12);
  press(x(), knob(-12));
  ui::on_double_click(x(), knob(-12));
  EXPECT_EQ(heard(), 0);
  ui::on_mouse_move(x(), 380);
  EXPECT_EQ(gain(), 0) << "it is not held";
  EXPECT_EQ(s_.curve.gain[kBand + 1], 2);
  EXPECT_TRUE(saved_in_time());
}

TEST_F(sliders, ignore_all_input_while_the_equalizer_is_off) {
  gain() = 4;
  press(layout().power);
  EXPECT_FALSE(s_.active || fakes::sound.active);
  const int pushed = fakes::sound.curves;
  press(x(), knob(-6));
  ui::on_wheel(x(), 400, -1);
  ui::on_double_click(x(), 400);
  for (const gfx::Rect& r : {layout().presets, layout().save, layout().flat}) {
    EXPECT_EQ(code_at(r), ui::kHitNone);
    press(r);
  }
  EXPECT_EQ(gain(), 4);
  EXPECT_EQ(fakes::sound.curves, pushed);
  EXPECT_FALSE(list().open || ui::state().save.open || ui::state().glide.running);
  for (const gfx::Rect& r : {layout().mute, layout().compact, layout().settings})
    EXPECT_NE(code_at(r), ui::kHitNone);
  press(layout().power);
  EXPECT_TRUE(s_.active && fakes::sound.active);
}

// ---- Glides

class glide : public sliders {
 protected:
  void begin() {
    press(layout().presets);
    press(row(row_with("preset_bass")));  // 7 6 5 3 1 0 0 0 0 0, -4
    EXPECT_EQ(s_.preset, "b:preset_bass");
  }
};

TEST_F(glide, moves_band_after_band_within_the_ends_and_is_over_after_800_ms) {
  begin();
  for (int i = 0; i < 2; ++i)
    EXPECT_TRUE(frame(28));
  EXPECT_LT(s_.curve.preamp, 0);
  EXPECT_GT(s_.curve.gain[0], 0);
  EXPECT_EQ(s_.curve.gain[1], 0);
  EXPECT_FLOAT_EQ(fakes::sound.curve.gain[0], s_.curve.gain[0]);
  EXPECT_TRUE(frame(799 - 56));
  EXPECT_TRUE(ui::state().glide.running);
  EXPECT_FALSE(frame(1));
  EXPECT_TRUE(eq::same(s_.curve, eq::preset_curve(eq::find_preset("preset_bass"))));
  EXPECT_TRUE(eq::same(s_.curve, fakes::sound.curve));
  EXPECT_TRUE(saved_in_time());
  s_.user_presets = {{"Loud", {{12, 6}, 0}}};
  ui::choose_user("Loud");
  for (int i = 0; i < 100; ++i) {
    frame(8);
    EXPECT_LE(s_.curve.gain[0], 12);
  }
}

TEST_F(glide, stops_where_it_is_when_a_slider_is_taken_and_is_complete_when_the_program_ends) {
  begin();
  frame(300);
  const float reached = s_.curve.gain[0];
  ui::on_wheel(x(9), 400, -1);
  EXPECT_EQ(s_.curve.gain[9], 0.5F);
  frame(1000);
  EXPECT_EQ(s_.curve.gain[0], reached);
  press(layout().flat);
  EXPECT_EQ(s_.preset, "b:preset_flat");
  frame(300);
  ui::on_double_click(x(9), 400);
  EXPECT_FALSE(ui::state().glide.running);
  begin();
  frame(300);
  ui::persist();
  EXPECT_EQ(settings::load().curve.gain[0], 7);
}

}  // namespace
