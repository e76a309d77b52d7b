// How bars and meters rise, hold and fall.
#include "approved.h"
#include "dsp/analyzer.h"

namespace {

using analyzer::kFloorDb;
using approved::number;

// "bars TIMES DB S": so many steps with one loud bar among silent ones. "decay" and "meter" alike.
std::string act(const std::string& line) {
  static analyzer::Ballistics bars;
  static analyzer::PeakMeter meter;
  std::istringstream in(line);
  std::string what;
  std::string db;
  int times = 1;
  float seconds = 0;
  in >> what >> times >> db >> seconds;
  if (what == "restart") return bars = {}, meter = {}, "";
  if (what == "amplitude")
    return number(static_cast<double>(analyzer::to_db(std::stof(db)))) + "\n";
  std::vector<float> levels(analyzer::kBars, -140.0F);
  levels[12] = std::stof(db);
  std::string text;
  for (int i = 0; i < times; ++i) {
    if (what == "bars") bars.update(levels.data(), seconds);
    if (what == "decay") bars.decay(seconds);
    if (what == "meter") meter.update(levels[12], seconds);
    if (bars.peak[12] < bars.level[12] || meter.peak < meter.level)
      text = "a peak below its level\n";
    for (std::size_t b = 0; b < analyzer::kBars; ++b) {
      if (b != 12 && (bars.level[b] != kFloorDb || bars.peak[b] != kFloorDb))
        text = "another bar has moved\n";
    }
  }
  const bool is_meter = what == "meter";
  return text + number(static_cast<double>(is_meter ? meter.level : bars.level[12]), 2) +
         " dB, peak " + number(static_cast<double>(is_meter ? meter.peak : bars.peak[12]), 2) +
         "\n";
}

TEST(Levels, rise_hold_and_fall_as_they_did) {
  approved::expect("levels.txt", act);
}

}  // namespace
