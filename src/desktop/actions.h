// The actions that can be called by name: a table, and the meaning of a call. Pure: state and call
// in, command or refusal out. Thread: any.
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
  std::optional<Verb> verb;  // none: only its state can be read
};
std::span<const Action> actions();

// The meaning of a call: a command, or the reason for refusing it.
struct Meaning {
  std::optional<Command> command;
  std::string refusal;
};

//   parameter  null if the caller gave none
Meaning activation_of(const State& state, const std::string& name, GVariant* parameter);
// The same for setting an action's state to a value.
Meaning change_of(const State& state, const std::string& name, GVariant* value);

// The identifier of a preset given by identifier, key or name; "" for none. A key may lack its
// "preset_".
std::string preset_meant(const State& state, const std::string& text);

// An action's state, floating; null where it has none.
GVariant* state_of(const Action& action, const State& state);

}  // namespace desktop
