// The program as the desktop sees it, over the session bus: a name, actions by which shortcuts,
// launchers and a second start reach the copy that runs, an icon in the tray where there is one,
// and whether there is a screen reader.
//
// Vocabulary: a *command* is what somebody outside the window asks for, already checked; the
// *state* is what they may know. A *preset* is named by its identifier, as in the settings. A
// *tray* is the part of a panel that shows the icons of programs.
//
// Lifecycle: connect at start-up; start once the window is there; take and publish once a frame;
// stop at the end. Threads: all functions from the main thread, and none but connect waits for the
// bus: a thread of its own speaks to it. Without a bus nothing is ever asked, and nothing else
// changes.
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
  kDevicePresets,  // an own preset for each output device
  kOnePreset,      // the same for all
  kCompact,
  kFull,
  kSettings,
  kImport,
  kQuit,
  // From the tray alone
  kRaiseOrHide,  // the icon was clicked: to the front, or away if it is there
  kHide,
  kShow,  // if it is hidden: the tray that could bring it back is gone
};

// What proves to the window manager that the user asked for the window; either may be empty.
struct Activation {
  std::string startup_id;  // X11's
  std::string token;       // Wayland's
};

struct Command {
  Verb verb = Verb::kRaise;
  std::string preset;  // kPreset: an identifier out of the state
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
  std::string preset;           // the chosen one's identifier; it may name none
  std::vector<Preset> presets;  // the built-in ones, then the user's own
  bool device_presets = false;  // each output device has its own
  bool compact = false;         // the view
  bool hidden = false;          // the window, as by kHide
  Texts texts;
  bool operator==(const State&) const = default;
};

// Connects to the session bus, and asks whether the system bus answers, too. One that does not
// within a second is left out for this run: the environment is changed so that no library waits for
// it either. Call it before other threads read the environment.
void connect();

// Takes the application's name on the bus; a name that another copy has is waited for. Shows the
// icon wherever there is a tray, now or later.
void start(const State& state);

// The next command in order of arrival. Returns false when there is none. At most 64 wait; further
// ones are refused to who asks.
bool take(Command* command);

// Whether a screen reader, or what else needs the accessibility bus, is there, or was during this
// run.
bool reader_wanted();

// The state as of this frame. Costs a comparison while nothing has changed.
void publish(const State& state);

// Whether the user has asked the desktop for less motion, as its portal says. Where the portal has
// no setting for that, toolkits without animations mean the same, whether it is the portal that
// says so or the caller by `toolkits_rest`. It may change from frame to frame.
bool reduced_motion(bool toolkits_rest);

// Leaves the bus. May be called twice, and without start. Returns within 300 ms, whatever the bus
// does.
void stop();

}  // namespace desktop
