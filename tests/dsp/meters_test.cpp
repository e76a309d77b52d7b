// How bars and meters rise, hold and fall.
#include "approved.h"
#include "dsp/analyzer.h"

namespace {

using analyzer::kFloorDb;
using approved::number;

// "bars TIMES DB S": so many steps with one loud bar among silent ones. "decay" and "meter" alike.
std::string act(approved::Action& a) {
  static analyzer::Ballistics bars;
  static analyzer::PeakMeter meter;
  if (a.is("restart")) return bars = {}, meter = {}, "";
  const int times = a.next();
  const std::string db = a.word();
  const auto seconds = a.next<float>();
  if (a.is("amplitude")) return number(static_cast<double>(analyzer::to_db(std::stof(db)))) + "\n";
  std::vector<float> levels(analyzer::kBars, -140.0F);
  levels[12] = std::stof(db);
  std::string text;
  for (int i = 0; i < times; ++i) {
    if (a.is("bars")) bars.update(levels.data(), seconds);
    if (a.is("decay")) bars.decay(seconds);
    if (a.is("meter")) meter.update(levels[12], seconds);
    if (bars.peak[12] < bars.level[12] || meter.peak < meter.level)
      text = "a peak below its level\n";
    for (std::size_t b = 0; b < analyzer::kBars; ++b) {
      if (b != 12 && (bars.level[b] != kFloorDb || bars.peak[b] != kFloorDb))
        text = "another bar has moved\n";
    }
  }
  const bool is_meter = a.is("meter");
  return text + number(static_cast<double>(is_meter ? meter.level : bars.level[12]), 2) +
         " dB, peak " + number(static_cast<double>(is_meter ? meter.peak : bars.peak[12]), 2) +
         "\n";
}

TEST(Levels, rise_hold_and_fall_as_they_did) {
  approved::expect("levels.txt", act);
}

}  // namespace
