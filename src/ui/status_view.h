// The engine's state in the window: the status line, the dot before it, and the note over the bars.
#pragma once

#include <string>
#include <vector>

#include "audio/audio.h"

namespace ui {

// The output device that the settings name.
struct ChosenDevice {
  std::string name;     // empty: the system's default is followed
  std::string label;    // the last one known, else the shortened name
  bool present = true;  // in the device list

  bool operator==(const ChosenDevice&) const = default;
};

// Looks for `name` in the list. Keeps the last known label of a device that is gone.
void find_chosen(const std::string& name, const std::vector<audio::Device>& devices,
                 ChosenDevice* chosen);

// Whether all sound passes through the equalizer now. A status keeps what it last said of that when
// the server is gone.
bool is_applied(const audio::Status& status);

enum class Tone { Good, Off, Warning, Danger };

struct StatusView {
  std::string line;  // directed parts, not shortened
  Tone tone = Tone::Off;
  std::string note;        // shown over the bars; may be empty
  bool pressable = false;  // a press on the note helps
};

//   wanted    the settings say that the equalizer is on
//   bypassed  it is not applied although the engine has had the time for it
//   no_line   the view has no status line: its warnings are notes, too
StatusView status_view(const audio::Status& status, const ChosenDevice& chosen, bool wanted,
                       bool bypassed, bool no_line);

// For the interface as it is now.
StatusView status_view();

unsigned tone_colour(Tone tone);

}  // namespace ui
