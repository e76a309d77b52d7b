// What can be asked of the program by name: a table, and the meaning of a call. Pure: a state and
// what was asked in, a command or a refusal out. Thread: any.
#pragma once

#include <glib.h>

#include <optional>
#include <span>
#include <string>

#include "desktop/desktop.h"

namespace desktop {

struct Action {
  const char* name;
  const char* parameter;     // its type, "" for none
  const char* state;         // its type, "" for none
  std::optional<Verb> verb;  // none: it is only there for its state
};
std::span<const Action> actions();

// What a call asks for; no command where it is refused, and then why.
struct Meaning {
  std::optional<Command> command;
  std::string refusal;
};

//   parameter  null where the caller gave none
Meaning activation_of(const State& state, const std::string& name, GVariant* parameter);
// Setting an action's state to a value.
Meaning change_of(const State& state, const std::string& name, GVariant* value);

// The preset that a text means, by identifier, key, or name: an identifier, or "" for none. A key
// may lack its "preset_".
std::string preset_meant(const State& state, const std::string& text);

// An action's state, floating; null where it has none.
GVariant* state_of(const Action& action, const State& state);

}  // namespace desktop
