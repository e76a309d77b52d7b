// What the switches of the command line mean, apart from doing it: pure functions on the list of
// arguments.
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

// The element after the first one equal to `name`; empty when there is none, so an empty value
// means that the switch is absent or has no value.
std::string arg_value(const Args& args, const std::string& name);

// The first argument that begins with "--" and is no switch of ours; empty when there is none.
std::string first_unknown_switch(const Args& args);

// The first argument that is neither a switch nor the value of one; empty when there is none.
std::string file_argument(const Args& args);

// Reads "<width>x<height>", both decimal and greater than 0. Returns false, and changes nothing,
// otherwise; so does a number that an int cannot hold. What follows the second number is not looked
// at.
bool parse_size(const std::string& text, int* width, int* height);

// What the switches ask for that is not a setting.
struct Start {
  bool open_settings = false;  // show the settings panel
  bool theme_chosen = false;   // the theme in the settings was set by a switch
  std::string device;          // output device of this run only; empty: the one in the settings
  bool takeover = true;        // may change the default device and move other programs' streams
  std::string file;            // an equalizer file to import; empty: none
};

// Applies the switches to the loaded settings, where their effect stays like any change that the
// person makes. Whether the equalizer starts on is decided here too: the stored state never counts,
// only the wish for the start.
Start apply_start_switches(const Args& args, Settings* s);

}  // namespace command_line
