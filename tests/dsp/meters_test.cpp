// How bars and meters rise, hold and fall.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "dsp/analyzer.h"

namespace {

using analyzer::kFloorDb;
using testing::Each;

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
