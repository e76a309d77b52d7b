// Equalizer files of other programs, read into one of our curves, and our curves written as one.
//
// Reads filter lists and graphs in the text format of Equalizer APO, which AutoEq and REW also
// write, and EasyEffects presets (JSON). A file is either understood completely or *refused*: half
// a correction is worse than none. If a file uses our bands, its gains are taken over; any other is
// *fitted*: we choose the gains that come closest to its response from 20 Hz to 20 kHz.
//
// Gains are in dB, frequencies in Hz. All functions are pure, except import_file, which reads the
// file. Thread: any; no state. Nothing throws, nothing is logged here.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "dsp/eq_dsp.h"

namespace curves {

inline constexpr std::size_t kMaxBytes = 1 << 20;  // of a file
inline constexpr int kMaxFilters = 512;            // of a file

struct Import {
  std::string name;    // proposed preset name, UTF-8, one line, within kMaxPresetName; may be empty
  eq::Curve curve;     // within eq::kMaxGainDb; nothing gets louder than full scale
  bool exact = false;  // the file's own bands, not a fit
  // The deviation of the curve from the file's response, apart from the level: root mean square
  // over log frequency, with a weight of 0.3 above 16 kHz, and the largest deviation.
  double rms_db = 0.0;
  double worst_db = 0.0;
  double worst_hz = 0.0;
  std::vector<std::string> left_out;  // other effects in the file, as it names them
};

enum class Reason {
  kUnreadable,   // missing, not a regular file, or no permission
  kTooLarge,     // more than kMaxBytes
  kNoEqualizer,  // another kind of file
  kUnsupported,  // `line` asks for more than an equalizer curve
  kMalformed,    // a value in `line` is missing or implausible
};

struct Refusal {
  Reason reason = Reason::kNoEqualizer;
  int line = 0;      // from 1 on; 0 for the whole file
  std::string what;  // English, for the log; one line, may be empty
};

using Result = std::variant<Import, Refusal>;

// Reads the content of a file. The preset's name is derived from `file_name`, a name or path.
Result import_text(std::string_view bytes, const std::string& file_name);

// The same for a file on disk. Never waits for a pipe's other end.
Result import_file(const std::string& path);

// For the log, without the file's name: "±0.6 dB rms, worst 1.9 dB at 8 kHz; left out: limiter#0",
// "line 3: Channel".
std::string description(const Import& import);
std::string description(const Refusal& refusal);

// The curve in the text format of Equalizer APO: preamp and ten filters, each line ended.
std::string apo_text(const eq::Curve& curve);

}  // namespace curves
