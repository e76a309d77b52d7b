// What the presets are, when two curves count as the same, and what the drawn response shows.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <string>

#include "analyzer.h"
#include "eq_dsp.h"

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

eq::Curve one_band(int band, float gain_db) {
  eq::Curve curve;
  curve.gain[band] = gain_db;
  return curve;
}

TEST(eq_presets, every_preset_is_found_by_its_key_and_by_its_curve) {
  int count = 0;
  const eq::PresetDef* rows = eq::presets(&count);
  ASSERT_EQ(count, eq::kPresetCount);
  EXPECT_EQ(eq::presets(nullptr), rows);
  for (int i = 0; i < count; ++i) {
    EXPECT_EQ(eq::find_preset(rows[i].key), i);
    EXPECT_EQ(eq::match_preset(rows[i].curve), i) << rows[i].key;
    EXPECT_TRUE(eq::same(eq::preset_curve(i), rows[i].curve));
  }
  EXPECT_STREQ(rows[0].key, "preset_standard");
  EXPECT_STREQ(rows[10].key, "preset_loudness");
  EXPECT_EQ(eq::find_preset("preset_rock"), 5);
}

TEST(eq_presets, what_is_no_preset_gives_the_flat_curve_or_no_index) {
  for (const int index :
       {-1, eq::kPresetCount, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    EXPECT_EQ(eq::match_preset(eq::preset_curve(index)), 1) << index;
  }
  for (const char* key : {"", "Preset_rock", "preset_rock ", "rock"}) {
    EXPECT_EQ(eq::find_preset(key), -1) << key;
  }
  for (int i = 0; i < eq::kPresetCount; ++i) {
    eq::Curve moved = eq::preset_curve(i);
    moved.gain[4] += 0.1F;
    EXPECT_EQ(eq::match_preset(moved), -1);
  }
}

TEST(eq_presets, standard_curve_is_the_first_preset) {
  EXPECT_EQ(eq::match_preset(eq::standard_curve()), 0);
  EXPECT_EQ(eq::standard_curve().preamp, -2.0F);
}

TEST(eq_presets, boosts_come_with_a_negative_preamp) {
  for (const eq::PresetDef& preset : eq::kPresets) {
    float highest = 0.0F;
    for (const float gain : preset.curve.gain)
      highest = std::max(highest, gain);
    EXPECT_EQ(highest > 0.0F, preset.curve.preamp < 0.0F) << preset.key;
  }
}

TEST(eq_presets, only_the_ten_bands_have_labels) {
  EXPECT_STREQ(eq::band_label(0), "31");
  EXPECT_STREQ(eq::band_label(5), "1k");
  EXPECT_STREQ(eq::band_label(9), "16k");
  EXPECT_STREQ(eq::band_label(-1), "");
  EXPECT_STREQ(eq::band_label(10), "");
}

TEST(eq_same, tells_curves_apart_from_a_twentieth_of_a_decibel) {
  eq::Curve near;
  for (float& gain : near.gain)
    gain = -0.049F;
  near.preamp = 0.049F;
  EXPECT_TRUE(eq::same(eq::Curve{}, near));
  EXPECT_TRUE(eq::same(near, eq::Curve{}));

  for (int band = 0; band < eq::kBands; ++band) {
    EXPECT_FALSE(eq::same(eq::Curve{}, one_band(band, 0.05F))) << band;
    EXPECT_FALSE(eq::same(one_band(band, -0.05F), eq::Curve{})) << band;
    EXPECT_FALSE(eq::same(one_band(band, kNan), one_band(band, kNan))) << band;
  }
  eq::Curve louder;
  louder.preamp = 0.05F;
  EXPECT_FALSE(eq::same(eq::Curve{}, louder));
}

TEST(eq_response, shows_each_gain_at_its_centre_and_the_preamp_everywhere) {
  for (int band = 0; band < eq::kBands; ++band) {
    for (const float gain : {-12.0F, -0.5F, 6.0F, 12.0F}) {
      EXPECT_NEAR(eq::response_db(one_band(band, gain), 48000.0F, eq::kFreq[band]), gain, 0.01)
          << band;
    }
  }
  eq::Curve quieter;
  quieter.preamp = -3.0F;
  for (const float freq : analyzer::kBarFreq) {
    EXPECT_EQ(eq::response_db(eq::Curve{}, 48000.0F, freq), 0.0F);
    EXPECT_EQ(eq::response_db(quieter, 48000.0F, freq), -3.0F);
  }
}

// Where a bell's gain has fallen to half its decibels, half a bandwidth from its centre.
TEST(eq_response, bells_are_as_wide_as_their_q_says) {
  constexpr double kQ = 1.41;
  const double octaves = 2.0 / std::numbers::ln2 * std::asinh(1.0 / (2.0 * kQ));
  const auto edge = static_cast<float>(std::exp2(octaves / 2.0));
  for (const int band : {0, 2, 4}) {
    for (const float gain : {-12.0F, 6.0F}) {
      const eq::Curve curve = one_band(band, gain);
      EXPECT_NEAR(eq::response_db(curve, 48000.0F, eq::kFreq[band] * edge), gain / 2.0F, 0.02);
      EXPECT_NEAR(eq::response_db(curve, 48000.0F, eq::kFreq[band] / edge), gain / 2.0F, 0.02);
    }
  }
}

TEST(eq_response, leaves_out_a_band_too_close_to_the_nyquist_frequency) {
  EXPECT_EQ(eq::response_db(one_band(9, 6.0F), 32000.0F, 15000.0F), 0.0F);
  EXPECT_GT(eq::response_db(one_band(9, 6.0F), 48000.0F, 15000.0F), 4.0F);
  EXPECT_GT(eq::response_db(one_band(8, 6.0F), 32000.0F, 8000.0F), 5.9F);
}

TEST(eq_response, gains_that_are_no_numbers_do_not_spread) {
  for (const float freq : {20.0F, 1000.0F, 20000.0F}) {
    eq::Curve broken = eq::preset_curve(5);
    eq::Curve meant = broken;
    broken.gain[2] = kNan;
    meant.gain[2] = 0.0F;
    broken.gain[5] = kInfinity;
    meant.gain[5] = 12.0F;
    broken.gain[6] = -kInfinity;
    meant.gain[6] = -12.0F;
    broken.preamp = -kInfinity;
    meant.preamp = -12.0F;
    EXPECT_EQ(eq::response_db(broken, 48000.0F, freq), eq::response_db(meant, 48000.0F, freq));
  }
}

}  // namespace
