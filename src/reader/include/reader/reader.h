// The window for users who cannot see it. Screen readers and other aids read it over AT-SPI, and
// their actions come back as commands.
//
// Vocabulary: an *element* is a part of the window that has a name: a slider, a row, a note. A
// *reader* is any program that listens.
//
// Lifecycle: start; then take and publish once a frame; stop at the end. Before start there is no
// cost. Threads: main thread only. No function waits for a reader or a bus: a separate thread
// serves them from a copy of the last published window. If the accessibility libraries are not
// installed, that is logged and there are no commands.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace reader {

enum class Role {
  kGroup,
  kButton,
  kToggle,  // a button that stays down
  kChoice,  // one of a group: the others go off
  kSwitch,
  kSlider,  // a gain, in steps of 0.5 dB
  kCombo,   // a button with a list; its text is the choice
  kList,
  kRow,
  kLabel,
  kLink,
  kEntry,  // of text; the caret is at the end
  kDialog,
  kAlert,   // a dialog that warns
  kNote,    // read out when it appears
  kStatus,  // read out when it changes
};

struct Element {
  int id = 0;      // identifies the element while it exists; not 0
  int parent = 0;  // the id of an earlier element, 0 for the window
  Role role = Role::kLabel;
  std::string name;  // in the user's language
  std::string text;  // its value: a gain as read, a choice, typed text
  // Place in the window, in units of Window::zoom.
  float x = 0.0F;
  float y = 0.0F;
  float w = 0.0F;
  float h = 0.0F;
  float value = 0.0F;  // of a slider, in dB
  float limit = 0.0F;  // the slider's range is -limit to +limit
  bool enabled = true;
  bool on = false;         // down, checked, chosen, open
  bool pressable = false;  // a press does something
  bool erasable = false;   // of a row
  bool focused = false;    // receives keys; one element at most, else the window does
  bool selected = false;   // all of an entry's text

  bool operator==(const Element&) const = default;
};

struct Window {
  std::string title;
  bool shown = false;
  bool active = false;  // has the keyboard
  int x = 0;            // position of its contents on the screen, if known
  int y = 0;
  int w = 0;
  int h = 0;
  float zoom = 1.0F;  // screen units per unit of the elements
  std::vector<Element> elements;

  bool operator==(const Window&) const = default;
};

// A key that went down or up while the window had the keyboard, in X11's terms.
struct Key {
  bool down = true;
  unsigned modifiers = 0;  // bit mask, before this event
  unsigned symbol = 0;
  std::uint16_t code = 0;  // the keyboard's code
  std::uint32_t time_ms = 0;
  std::string name;  // of the symbol
};

// A reader's decision about a key.
struct Answer {
  unsigned number = 0;  // from `offer`
  bool taken = false;   // it was meant for the reader
};

enum class Verb { kPress, kErase, kSet };

struct Command {
  int id = 0;
  std::string name;  // of the element, as the reader saw it
  Verb verb = Verb::kPress;
  float value = 0.0F;  // kSet
};

// Starts serving readers. Further calls do nothing.
void start();

// The next command in order of arrival; false when there is none.
bool take(Command* command);

// The window as of this frame. Costs a comparison while nothing has changed.
void publish(const Window& window);

// Whether a reader listens to keys. It may change from frame to frame.
bool hears_keys();

// Offers a key to the reader and returns the number that its answer will have. Returns 0, and
// offers nothing, if no reader listens or 64 keys are waiting.
unsigned offer(const Key& key);

// The next answer, in the order of the keys; false when there is none. From a reader that hangs it
// comes after seconds, or never.
bool take(Answer* answer);

// Stops serving readers. May be called without start. Returns within 300 ms, whatever they do.
void stop();

}  // namespace reader
