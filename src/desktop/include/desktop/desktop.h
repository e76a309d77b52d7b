// The program's presence on the session bus: a name and actions, by which shortcuts, launchers and
// a second start reach the running copy; an icon in the tray, if there is one; and whether a screen
// reader runs.
//
// Vocabulary: a *command* is a checked request from outside the window; the *state* is what callers
// may see. A *preset* is named by its identifier, as in the settings. A *tray* is the part of a
// panel that shows the icons of programs.
//
// Lifecycle: connect at start-up; start once the window is there; take and publish once a frame;
// stop at the end. Threads: all functions from the main thread, and none but connect waits for the
// bus: a thread of its own speaks to it. Without a bus there are no commands; nothing else changes.
#pragma once

#include <string>
#include <vector>

namespace desktop {

enum class Verb {
  kRaise,
  kToggle,
  kOn,
  kOff,
  kMute,
  kPreset,
  kDevicePresets,  // each output device has its own preset
  kOnePreset,      // one preset for all devices
  kCompact,
  kFull,
  kSettings,
  kImport,
  kQuit,
  // From the tray alone
  kRaiseOrHide,  // the icon was clicked: brings the window to the front, or hides it if it is there
  kHide,
  kShow,  // shows a hidden window, because the tray is gone
};

// Proof for the window manager that the user asked for the window; either may be empty.
struct Activation {
  std::string startup_id;  // X11's
  std::string token;       // Wayland's
};

struct Command {
  Verb verb = Verb::kRaise;
  std::string preset;  // kPreset: an identifier from the state
  std::string path;    // kImport: of an equalizer file
  Activation activation;
};

struct Preset {
  std::string id;
  std::string name;  // as the interface shows it
  std::string text;  // for other programs: as an equalizer file
  bool operator==(const Preset&) const = default;
};

// Texts of the tray's menu, in the language in use.
struct Texts {
  std::string on;
  std::string presets;
  std::string device_presets;
  std::string compact;
  std::string settings;
  std::string hide;
  std::string quit;
  bool rtl = false;  // they are written from right to left
  bool operator==(const Texts&) const = default;
};

struct State {
  bool on = false;              // the equalizer
  std::string preset;           // identifier of the chosen one; may name no preset
  std::vector<Preset> presets;  // the built-in ones, then the user's own
  bool device_presets = false;  // each output device has its own
  bool compact = false;         // the view
  bool hidden = false;          // the window, as by kHide
  Texts texts;
  bool operator==(const State&) const = default;
};

// Connects to the session bus, and asks whether the system bus answers, too. A bus that does not
// answer within a second is not used in this run, and the environment is changed so that no library
// waits for it either. Call it before the engine and the window start, which read the environment.
void connect();

// Takes the application's name on the bus, or waits in line while another copy has it. Shows the
// icon as soon as there is a tray.
void start(const State& state);

// The next command in order of arrival. Returns false when there is none. At most 64 are queued;
// callers are refused more.
bool take(Command* command);

// Whether a screen reader, or another user of the accessibility bus, has been seen in this run.
bool reader_wanted();

// The state as of this frame. Costs a comparison while nothing has changed.
void publish(const State& state);

// Whether the user has asked the desktop for less motion, according to its portal. If the portal
// has no such setting, animations switched off for toolkits count instead, as reported by the
// portal or else by the caller (`toolkits_rest`). May change from frame to frame.
bool reduced_motion(bool toolkits_rest);

// Leaves the bus. May be called twice, and without start. Returns within 300 ms, whatever the bus
// does.
void stop();

}  // namespace desktop
