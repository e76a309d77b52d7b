// Everything that Velmora remembers between runs, and the file that holds it.
//
// One record lives for the whole run: start-up loads it, the interface edits it through a pointer,
// and it is saved after changes and at the end.
//
// On disk it is a small key=value text (settings_text.h), sealed before it is written
// (save_crypt.h), in "settings.dat" in the configuration directory. Thread: the main thread owns
// the record and calls load and save.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "dsp/eq_dsp.h"

inline constexpr int kMaxPresetName = 32;  // characters
inline constexpr std::size_t kMaxUserPresets = 100;

// A preset that the user saved.
struct UserPreset {
  std::string name;  // UTF-8, at most kMaxPresetName, unique within the list
  eq::Curve curve;

  bool operator==(const UserPreset&) const = default;
};

// The initial values are those of a first run.
struct Settings {
  eq::Curve curve = eq::standard_curve();    // gains and preamp in dB, within eq::kMaxGainDb
  std::string preset = "b:preset_standard";  // selected preset; "b:" + key names a built-in one
  std::vector<UserPreset> user_presets;      // at most kMaxUserPresets
  bool active = true;                        // equalizer switched on
  bool active_on_start = true;               // start-up sets `active` from it
  bool compact = false;                      // the compact view is shown
  bool compact_on_top = true;                // the compact window stays above others
  std::string output;                     // chosen output device; empty follows the system default
  std::string last_default;               // default device before the program took over
  std::int32_t channel = 0;               // 0 stereo, 1 left, 2 right
  std::string language = "auto";          // language code, or "auto" for the environment's
  std::string theme = "dark";             // "dark" or "light"
  std::int32_t win_x = -1, win_y = -1;    // full window; -1: the window system places it
  std::int32_t win_w = 0, win_h = 0;      // 0: default size
  bool collapsed = false;                 // the band sliders are folded away
  std::int32_t mini_x = -1, mini_y = -1;  // compact window, same meaning
  std::int32_t mini_w = 0, mini_h = 0;

  bool operator==(const Settings&) const = default;
};

namespace settings {

// Reads the file. Never fails: a missing or empty file gives the initial values. So does
//  - a damaged file, which is moved aside (".manipuliert" is appended to its name);
//  - a file that cannot be read, which stays where it is. Unless the user changes something, save
//    does not replace it in this run; if the user does, it is kept under a name of its own, which
//    the log gives.
Settings load();

// Replaces the file. After a crash, a power failure or on a full disk the old or the new content is
// there, never anything else. Returns false, after logging why, when the new file is not in place.
// Does not create the directory. While the saver runs, only takes a copy and returns true.
bool save(const Settings& s);

// Moves the saving to a thread, which always writes the newest record and tries again a minute
// after a failure. If no thread can be started, save keeps writing by itself.
//   prepare   is called first on that thread
void start_saver(void (*prepare)());

// Waits until the last record is written, or has failed once more, and ends the thread. No-op
// without one.
void stop_saver();

// Where the file is.
std::string file_path();

// The name of the linked library that seals the file, for the list of components.
const char* seal_library();

// Self-test: seals and opens a fixed text.
//   round_trip        receives whether the same bytes came back
//   tamper_detected   receives whether an altered byte was noticed
void seal_selftest(bool* round_trip, bool* tamper_detected);

}  // namespace settings
