// How bars and meters rise, hold and fall.

#include "dsp/analyzer.h"
#include "test.h"

namespace {

using analyzer::kFloorDb;

TEST(ballistics, rise_smoothly_fall_steadily_and_hold_their_peaks) {
  analyzer::Ballistics b;
  std::vector<float> bars(analyzer::kBars, kFloorDb);
  bars[12] = 0.0F;
  b.update(bars.data(), 0.01F);
  EXPECT_NEAR(b.level[12], -66.0 + 66.0 * 0.3, 1e-4);
  b.update(bars.data(), 1.0F);
  EXPECT_EQ(b.level[12], 0.0F) << "never beyond what is played";
  EXPECT_EQ(b.level[11], kFloorDb);
  b.decay(0.5F);
  b.decay(0.5F);
  EXPECT_NEAR(b.level[12], -36.0, 1e-4);
  EXPECT_EQ(b.peak[12], 0.0F);
  b.decay(0.25F);
  EXPECT_NEAR(b.peak[12], -4.5, 1e-4);
  for (int second = 0; second < 6; ++second)
    b.decay(1.0F);
  EXPECT_THAT(b.level, Each(kFloorDb));
  EXPECT_THAT(b.peak, Each(kFloorDb));
}

TEST(peak_meter, rises_at_once_falls_steadily_and_keeps_the_peak_for_a_while) {
  analyzer::PeakMeter meter;
  meter.update(-3.0F, 0.01F);
  EXPECT_EQ(meter.level, -3.0F);
  for (int i = 0; i < 3; ++i)
    meter.update(-140.0F, 0.5F);
  EXPECT_NEAR(meter.level, -48.0, 1e-4);
  EXPECT_EQ(meter.peak, -3.0F);
  meter.update(-140.0F, 1.0F);
  EXPECT_NEAR(meter.peak, -18.0F, 1e-4);
  meter.update(-140.0F, 10.0F);
  EXPECT_EQ(meter.peak, kFloorDb);
}

TEST(peaks, are_never_below_the_level_and_hold_for_a_time_of_their_own) {
  analyzer::Ballistics b;
  analyzer::PeakMeter meter;
  std::vector<float> bars(analyzer::kBars, -10.0F);
  for (int i = 0; i < 400; ++i) {
    b.update(bars.data(), 0.01F);
    meter.update(-10.0F, 0.01F);
    ASSERT_GE(b.peak[0], b.level[0]) << i;
    ASSERT_GE(meter.peak, meter.level) << i;
  }
  // Seconds until the peak has begun to fall.
  const auto held = [](auto&& decay, const float& peak) {
    int steps = 0;
    for (const float before = peak; peak == before && steps < 1000; ++steps)
      decay(0.01F);
    return steps * 0.01;
  };
  EXPECT_NEAR(held([&](float dt) { b.decay(dt); }, b.peak[0]), 0.8, 0.03);
  EXPECT_NEAR(held([&](float dt) { meter.update(-140.0F, dt); }, meter.peak), 1.2, 0.03);
}

TEST(levels, that_are_no_numbers_do_not_last) {
  using Limits = std::numeric_limits<float>;
  for (const float broken : {Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity()}) {
    analyzer::Ballistics b;
    b.update(std::vector<float>(analyzer::kBars, broken).data(), 0.1F);
    EXPECT_THAT(b.level, Each(kFloorDb)) << broken;
    EXPECT_THAT(b.peak, Each(kFloorDb)) << broken;
    analyzer::PeakMeter meter;
    meter.update(broken, 0.1F);
    EXPECT_EQ(meter.level, kFloorDb) << broken;
    EXPECT_EQ(meter.peak, kFloorDb) << broken;
  }
  EXPECT_EQ(analyzer::to_db(0.0F), -140.0F);
  EXPECT_EQ(analyzer::to_db(Limits::quiet_NaN()), -140.0F);
}

}  // namespace
