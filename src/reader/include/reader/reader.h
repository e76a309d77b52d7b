// The window for those who cannot see it: screen readers and other aids read it over AT-SPI,
// and what they ask for comes back as commands.
//
// Vocabulary: an *element* is one thing on the window that has a name: a slider, a row, a note. A
// *reader* is whatever program listens.
//
// Lifecycle: nothing, and at no cost, until start; then take and publish once a frame, and stop at
// the end. Threads: all functions from the main thread, and none waits for a reader or a bus: a
// thread of its own speaks to them, from a copy of what was published last. Where the accessibility
// libraries are not installed, the log says so and nothing is ever asked.
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
  kCombo,   // a button with a list; its text is what is chosen
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
  int id = 0;      // of one element as long as it is there; not 0
  int parent = 0;  // the id of an element further up in the list, 0 for the window
  Role role = Role::kLabel;
  std::string name;  // in the user's language
  std::string text;  // what it holds: a gain as read, a choice, what was typed
  // Place in the window, in units of Window::zoom.
  float x = 0.0F;
  float y = 0.0F;
  float w = 0.0F;
  float h = 0.0F;
  float value = 0.0F;  // of a slider, in dB
  float limit = 0.0F;  // it goes from -limit to +limit
  bool enabled = true;
  bool on = false;         // down, checked, chosen, open
  bool pressable = false;  // a press does something
  bool erasable = false;   // of a row
  bool focused = false;    // keys go there; of one element at most, else to the window
  bool selected = false;   // all of an entry's text

  bool operator==(const Element&) const = default;
};

struct Window {
  std::string title;
  bool shown = false;
  bool active = false;  // has the keyboard
  int x = 0;            // of its contents on the screen, where that can be known
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
  unsigned modifiers = 0;  // a bit each, as they were before
  unsigned symbol = 0;
  std::uint16_t code = 0;  // the keyboard's number of it
  std::uint32_t time_ms = 0;
  std::string name;  // of the symbol
};

// What a reader has made of a key.
struct Answer {
  unsigned number = 0;  // as `offer` returned it
  bool taken = false;   // it was meant for the reader
};

enum class Verb { kPress, kErase, kSet };

struct Command {
  int id = 0;
  std::string name;  // of the element when the reader saw it
  Verb verb = Verb::kPress;
  float value = 0.0F;  // kSet
};

// Begins to speak to readers. Further calls do nothing.
void start();

// The next command in order of arrival; false when there is none.
bool take(Command* command);

// The window as of this frame. Costs a comparison while nothing has changed.
void publish(const Window& window);

// Whether a reader listens to keys. It may change from frame to frame.
bool hears_keys();

// Offers a key to the reader, and returns its number for the answer. Returns 0, and offers nothing,
// where no reader listens, or where 64 keys wait.
unsigned offer(const Key& key);

// The next answer, in the order of the keys; false when there is none. One that hangs answers after
// some seconds, or never.
bool take(Answer* answer);

// Takes leave of readers. May be called without start. Returns within 300 ms, whatever they do.
void stop();

}  // namespace reader
