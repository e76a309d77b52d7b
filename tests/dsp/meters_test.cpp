// How bars and meters rise, hold and fall.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <limits>

#include "analyzer.h"

namespace {

using analyzer::kFloorDb;
using Bars = std::array<float, analyzer::kBars>;

constexpr float kFrame = 1.0F / 60.0F;
constexpr float kNotNumbers[] = {std::numeric_limits<float>::quiet_NaN(),
                                 std::numeric_limits<float>::infinity(),
                                 -std::numeric_limits<float>::infinity()};

Bars all(float db) {
  Bars bars;
  bars.fill(db);
  return bars;
}

bool rests(const analyzer::Ballistics& b) {
  const auto on_floor = [](float db) { return db == kFloorDb; };
  return std::all_of(std::begin(b.level), std::end(b.level), on_floor) &&
         std::all_of(std::begin(b.peak), std::end(b.peak), on_floor);
}

TEST(to_db, spans_full_scale_to_silence) {
  EXPECT_EQ(analyzer::to_db(1.0F), 0.0F);
  EXPECT_NEAR(analyzer::to_db(0.5F), -6.0206, 1e-4);
  EXPECT_NEAR(analyzer::to_db(2e-7F), -133.98, 0.01);
  for (const float x : {1e-7F, 0.0F, -1.0F, std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_EQ(analyzer::to_db(x), -140.0F) << x;
  }
}

TEST(ballistics, start_on_the_floor) {
  const analyzer::Ballistics b;
  EXPECT_TRUE(rests(b));
  EXPECT_EQ(b.hold[30], 0.0F);
}

TEST(ballistics, rise_by_a_share_of_the_gap_and_at_most_to_the_level) {
  analyzer::Ballistics b;
  b.update(all(-6.0F).data(), 0.01F);
  EXPECT_NEAR(b.level[7], -66.0 + 60.0 * 0.3, 1e-4);
  EXPECT_EQ(b.peak[7], b.level[7]);
  EXPECT_EQ(b.hold[7], 0.8F);
  b.update(all(-6.0F).data(), 1.0F);
  EXPECT_EQ(b.level[7], -6.0F);
}

TEST(ballistics, fall_steadily_while_the_peak_holds_and_then_falls_more_slowly) {
  analyzer::Ballistics b;
  b.update(all(0.0F).data(), 1.0F);
  b.decay(0.5F);
  EXPECT_NEAR(b.level[0], -18.0, 1e-4);
  EXPECT_EQ(b.peak[0], 0.0F);
  b.decay(0.25F);
  b.decay(0.25F);
  EXPECT_EQ(b.peak[0], 0.0F);
  b.decay(0.25F);
  EXPECT_NEAR(b.peak[0], -4.5, 1e-4);
  EXPECT_NEAR(b.level[0], -45.0, 1e-4);

  // Not below what is being played.
  b.update(all(-50.0F).data(), 1.0F);
  EXPECT_EQ(b.level[0], -50.0F);
}

TEST(ballistics, bars_move_on_their_own) {
  analyzer::Ballistics b;
  Bars bars = all(kFloorDb);
  bars[12] = -10.0F;
  b.update(bars.data(), 1.0F);
  EXPECT_EQ(b.level[12], -10.0F);
  EXPECT_EQ(b.level[11], kFloorDb);
  EXPECT_EQ(b.level[13], kFloorDb);
}

TEST(ballistics, decay_reaches_the_floor_and_stays) {
  analyzer::Ballistics b;
  b.update(all(3.0F).data(), 1.0F);
  for (int frame = 0; frame < 60 * 6; ++frame)
    b.decay(kFrame);
  EXPECT_TRUE(rests(b));
  for (int frame = 0; frame < 10; ++frame) {
    b.decay(kFrame);
    EXPECT_TRUE(rests(b));
  }
}

TEST(ballistics, levels_that_are_no_numbers_do_not_last) {
  for (const float broken : kNotNumbers) {
    analyzer::Ballistics b;
    b.update(all(broken).data(), kFrame);
    EXPECT_TRUE(rests(b)) << broken;
  }
}

TEST(peak_meter, rises_at_once_and_falls_steadily) {
  analyzer::PeakMeter meter;
  meter.update(-3.0F, kFrame);
  EXPECT_EQ(meter.level, -3.0F);
  meter.update(-140.0F, 0.5F);
  EXPECT_NEAR(meter.level, -18.0, 1e-4);
  meter.update(-20.0F, 0.5F);
  EXPECT_EQ(meter.level, -20.0F);
  meter.update(-140.0F, 10.0F);
  EXPECT_EQ(meter.level, kFloorDb);
}

TEST(peak_meter, keeps_the_peak_for_a_while_and_then_lowers_it_to_the_floor) {
  analyzer::PeakMeter meter;
  meter.update(0.0F, kFrame);
  float held = 0.0F;
  constexpr float kStep = 0.125F;
  while (meter.peak == 0.0F && held < 10.0F) {
    meter.update(kFloorDb, kStep);
    held += kStep;
  }
  // The step that ends the hold still holds.
  EXPECT_GT(held, 1.2F);
  EXPECT_LE(held, 1.2F + 2.0F * kStep);
  const float before = meter.peak;
  meter.update(kFloorDb, 1.0F);
  EXPECT_NEAR(meter.peak, before - 15.0F, 1e-4);
  for (int second = 0; second < 10; ++second)
    meter.update(kFloorDb, 1.0F);
  EXPECT_EQ(meter.peak, kFloorDb);
  EXPECT_EQ(meter.level, kFloorDb);
}

TEST(peak_meter, levels_that_are_no_numbers_do_not_last) {
  for (const float broken : kNotNumbers) {
    analyzer::PeakMeter meter;
    meter.update(broken, kFrame);
    EXPECT_EQ(meter.level, kFloorDb) << broken;
    EXPECT_EQ(meter.peak, kFloorDb) << broken;
  }
}

}  // namespace
