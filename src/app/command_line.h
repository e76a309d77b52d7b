// The meaning of the switches: pure functions on the list of arguments.
//
// `args` are the arguments from the second one on. A switch is matched by its exact spelling; one
// that takes a value reads it from the next element. Nothing here knows the one-shot switches
// (--version, --help, -h, --selftest), which are answered before anything else is looked at.
// Threads: any; no state.
#pragma once

#include <string>
#include <vector>

#include "app/settings.h"

namespace command_line {

using Args = std::vector<std::string>;

bool has(const Args& args, const std::string& name);

// The element after the first one equal to `name`; empty if the switch is absent or has no value.
std::string arg_value(const Args& args, const std::string& name);

// The first argument that begins with "--" and is no known switch; empty when there is none.
std::string first_unknown_switch(const Args& args);

// The first argument that is neither a switch nor the value of one; empty when there is none.
std::string file_argument(const Args& args);

// Reads "<width>x<height>", both decimal, greater than 0 and within an int. Anything after the
// second number is ignored. Returns false, and changes nothing, when that fails.
bool parse_size(const std::string& text, int* width, int* height);

// The results of the switches that are not settings.
struct Start {
  bool open_settings = false;  // show the settings panel
  bool theme_chosen = false;   // the theme in the settings was set by a switch
  bool preset_chosen = false;  // and so were its preset and curve
  std::string device;          // output device of this run only; empty: the one in the settings
  std::vector<std::string> ignored;  // switches with an invalid value, as "--size 5"
  bool takeover = true;  // may change the default device and move other programs' streams
  std::string file;      // an equalizer file to import; empty: none
};

// Applies the switches to the loaded settings; the changes are saved like the user's own. Also
// decides whether the equalizer starts on: only active_on_start and --off count, not the stored
// state.
Start apply_start_switches(const Args& args, Settings* s);

}  // namespace command_line
