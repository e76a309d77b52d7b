// Equalizer files of other programs, read into one of our curves, and our curves written as one.
//
// Read are filter lists and graphs in the text format of Equalizer APO, as AutoEq and REW write
// them too, and presets of EasyEffects (JSON). A file is either understood whole or *refused*
// whole: half a correction is none. A file whose bands are ours is taken as it is; the response of
// any other is *fitted*: the gains are chosen that come closest to it from 20 Hz to 20 kHz.
//
// Gains are in dB, frequencies in Hz. All functions are pure, but for import_file, which reads the
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
  std::string name;    // proposed for a preset, UTF-8, one line that is short enough; may be empty
  eq::Curve curve;     // bounded to +/-12 dB; as loud at most as the sound was without it
  bool exact = false;  // the file's own bands, not a fit
  // How far the curve is from the file's response, the level aside: the root of the mean square
  // over log frequency, in which what lies above 16 kHz counts for 0.3; and the largest distance.
  double rms_db = 0.0;
  double worst_db = 0.0;
  double worst_hz = 0.0;
  std::vector<std::string> left_out;  // what the file does besides, by the file's names
};

enum class Reason {
  kUnreadable,   // not there, no regular file, or not allowed
  kTooLarge,     // more than kMaxBytes
  kNoEqualizer,  // another kind of file
  kUnsupported,  // does something in `line` that no curve can
  kMalformed,    // a value in `line` is missing, or no number that can be meant
};

struct Refusal {
  Reason reason = Reason::kNoEqualizer;
  int line = 0;      // from 1 on; 0 where the whole file is meant
  std::string what;  // English, for the log; one line, may be empty
};

using Result = std::variant<Import, Refusal>;

// Reads the content of a file. `file_name` is its name or path, from which the preset's name is
// made.
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
