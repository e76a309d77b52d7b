// What a person does with mouse and keyboard, and what is heard and remembered of it.

#include <fstream>

#include "display_test.h"

namespace display_test {
namespace {

constexpr Spot kSave{819, 35};
// In the compact view.
constexpr Spot kMiniMute{327, 18};
constexpr Spot kMiniPower{32, 64};

class Input : public DisplayTest {
 protected:
  void choose_preset(const Window& window, int row) {
    click_and_see(window, kPresets, kBelowPresets);
    click_and_see(window, preset_row(row), kBelowPresets);
  }
};

eq::Curve flat_with(int band, float gain_db) {
  eq::Curve curve;
  curve.gain[band] = gain_db;
  return curve;
}

TEST_F(Input, a_dragged_slider_is_heard_and_remembered) {
  {
    auto program = start({"--preset", "flat"});
    const Window window(screen());
    EXPECT_TRUE(hears(eq::Curve{}));
    window.drag(knob(5, 0), knob(5, 6));
    EXPECT_TRUE(hears(flat_with(5, 6)));
    EXPECT_TRUE(eventually("the new gain is in the file without any further doing",
                           [&] { return eq::same(settings::load().curve, flat_with(5, 6)); }));
    window.wheel(knob(5, 6), -4);
    EXPECT_TRUE(hears(flat_with(5, 4)));
    EXPECT_EQ(program->stop(), kOk);  // long before the delay of saving is over
  }
  auto program = start();
  EXPECT_TRUE(hears(flat_with(5, 4)));
  const Window window(screen());
  window.double_click(knob(5, 4));
  EXPECT_TRUE(hears(eq::Curve{}));
}

TEST_F(Input, a_chosen_preset_is_heard_and_can_be_kept_under_a_name) {
  const eq::Curve rock = eq::preset_curve(eq::find_preset("preset_rock"));
  {
    auto program = start({"--preset", "flat"});
    const Window window(screen());
    choose_preset(window, 1 + eq::find_preset("preset_rock"));
    EXPECT_TRUE(hears(rock));
    click_and_see(window, kSave, kBelowPresets);
    window.type("Evening 2");
    window.key("Return");
    EXPECT_TRUE(eventually("the preset is in the file", [&](std::string& seen) {
      seen = settings::load().preset;
      return seen == "u:Evening 2";
    }));
  }
  auto program = start();
  const Window window(screen());
  choose_preset(window, 1 + eq::find_preset("preset_flat"));
  EXPECT_TRUE(hears(eq::Curve{}));
  choose_preset(window, eq::kPresetCount + 2);  // below both headings
  EXPECT_TRUE(hears(rock));
}

TEST_F(Input, a_file_that_is_named_or_dropped_is_heard_and_kept_where_it_is_saved) {
  const TempDir folder;
  const std::string file = folder.path() / "Phones FixedBandEQ.txt";
  std::ofstream(file) << "Preamp: -6 dB\nFilter 1: ON PK Fc 1000 Hz Gain 6 dB Q 1.41\n";
  eq::Curve phones = flat_with(5, 6);
  phones.preamp = -6;
  auto program = start({"--compact", "--preset", "flat", file});
  const Window window(screen());
  EXPECT_TRUE(hears(phones));
  EXPECT_TRUE(has_size(window, kFull));
  window.key("Escape");
  EXPECT_TRUE(hears(eq::Curve{}));
  screen().run({VELMORA_DROP_FILE, window.id(),
                "file://" + folder.path().string() + "/Phones%20FixedBandEQ.txt"});
  EXPECT_TRUE(hears(phones));
  window.key("Return");
  EXPECT_TRUE(eventually("the preset is in the file",
                         [&] { return settings::load().preset == "u:Phones"; }));
}

TEST_F(Input, the_compact_view_takes_the_equalizer_out_and_in_and_mutes_the_device) {
  const eq::Curve bass = eq::preset_curve(eq::find_preset("preset_bass"));
  auto program = start({"--compact", "--preset", "bass"});
  const Window window(screen());
  EXPECT_TRUE(hears(bass));
  window.click(kMiniPower);
  EXPECT_TRUE(hears(eq::Curve{}));
  EXPECT_TRUE(in_the_sound("speakers")) << "the own device is the default again";
  window.click(kMiniPower);
  EXPECT_TRUE(hears(bass));
  for (const bool muted : {true, false}) {
    window.click(kMiniMute);
    EXPECT_TRUE(eventually("the speakers are mute or heard",
                           [&] { return client().sink("speakers")->mute == muted; }));
  }
}

}  // namespace
}  // namespace display_test
