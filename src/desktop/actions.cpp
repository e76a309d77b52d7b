// DESIGN: the table defines the actions completely. Types are checked here, because the library's
// exporter accepts wrong ones and reports success to the caller.
#include "actions.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "bus.h"

namespace desktop {

namespace {

constexpr std::array kActions = {
    Action{"toggle", "", "", Verb::kToggle},
    Action{"on", "", "b", Verb::kOn},
    Action{"off", "", "", Verb::kOff},
    Action{"mute", "", "", Verb::kMute},
    Action{"preset", "s", "s", Verb::kPreset},
    Action{"preset-per-device", "", "b", Verb::kDevicePresets},
    Action{"compact", "", "", Verb::kCompact},
    Action{"full", "", "", Verb::kFull},
    Action{"settings", "", "", Verb::kSettings},
    Action{"quit", "", "", Verb::kQuit},
    Action{"preset-text", "", "a{ss}", std::nullopt},
};

// How a preset's identifier begins in the settings.
constexpr const char* kBuiltin = "b:preset_";
constexpr const char* kBuiltinShort = "b:";
constexpr const char* kUser = "u:";

const Action* find(const std::string& name) {
  const auto* const found = std::find_if(kActions.begin(), kActions.end(),
                                         [&](const Action& a) { return name == a.name; });
  return found != kActions.end() ? found : nullptr;
}

bool has_type(GVariant* value, const char* type) {
  if (value == nullptr) return *type == '\0';
  return std::strcmp(g_variant_get_type_string(value), type) == 0;
}

Meaning refused(const std::string& why) {
  return {std::nullopt, why};
}

Meaning unknown(const std::string& action) {
  return refused("There is no action \"" + action + "\"");
}

Meaning meaning_of(const State& state, const Action& action, GVariant* value) {
  if (!action.verb) return refused("Action \"" + std::string(action.name) + "\" can only be read");
  Command command;
  command.verb = *action.verb;
  if (action.verb == Verb::kDevicePresets && state.device_presets) command.verb = Verb::kOnePreset;
  if (action.verb == Verb::kPreset) {
    const char* text = g_variant_get_string(value, nullptr);
    command.preset = preset_meant(state, text);
    if (command.preset.empty()) return refused("There is no preset \"" + std::string(text) + "\"");
  }
  return {command, ""};
}

// The public name of a preset, which identifies it when it is passed back.
std::string preset_called(const State& state, const Preset& preset) {
  if (preset.id.starts_with(kBuiltin)) return preset.id.substr(std::strlen(kBuiltin));
  return preset_meant(state, preset.name) == preset.id ? preset.name : preset.id;
}

std::string chosen_called(const State& state) {
  const auto chosen = std::find_if(state.presets.begin(), state.presets.end(),
                                   [&](const Preset& p) { return p.id == state.preset; });
  return chosen != state.presets.end() ? preset_called(state, *chosen) : "";
}

// A name may contain bytes that the bus does not accept.
Owned<char> valid(const std::string& text) {
  return Owned<char>(g_utf8_make_valid(text.c_str(), -1));
}

GVariant* preset_texts(const State& state) {
  GVariantBuilder texts;
  g_variant_builder_init(&texts, G_VARIANT_TYPE("a{ss}"));
  for (const Preset& preset : state.presets)
    g_variant_builder_add(&texts, "{ss}", valid(preset_called(state, preset)).get(),
                          preset.text.c_str());
  return g_variant_builder_end(&texts);
}

}  // namespace

std::span<const Action> actions() {
  return kActions;
}

Meaning activation_of(const State& state, const std::string& name, GVariant* parameter) {
  const Action* action = find(name);
  if (action == nullptr) return unknown(name);
  if (has_type(parameter, action->parameter)) return meaning_of(state, *action, parameter);
  return refused(*action->parameter == '\0'
                     ? "Action \"" + name + "\" takes no parameter"
                     : "Action \"" + name + "\" takes one parameter of type " + action->parameter);
}

Meaning change_of(const State& state, const std::string& name, GVariant* value) {
  const Action* action = find(name);
  if (action == nullptr) return unknown(name);
  if (*action->state == '\0' || !has_type(value, action->state))
    return refused("The state of action \"" + name + "\" cannot be set to that");
  if (action->verb != Verb::kOn && action->verb != Verb::kDevicePresets)
    return meaning_of(state, *action, value);
  const bool on = g_variant_get_boolean(value) != FALSE;
  const Verb off = action->verb == Verb::kOn ? Verb::kOff : Verb::kOnePreset;
  return {Command{on ? *action->verb : off, {}, {}, {}}, ""};
}

std::string preset_meant(const State& state, const std::string& text) {
  const auto first = [&](auto matches) {
    return std::find_if(state.presets.begin(), state.presets.end(), matches);
  };
  // Own names before translated ones: the user cannot change the latter.
  for (const std::string& id : {text, kBuiltinShort + text, kBuiltin + text, kUser + text}) {
    const auto found = first([&](const Preset& p) { return p.id == id; });
    if (found != state.presets.end()) return found->id;
  }
  const auto found = first([&](const Preset& p) { return p.name == text; });
  return found != state.presets.end() ? found->id : "";
}

GVariant* state_of(const Action& action, const State& state) {
  if (*action.state == '\0') return nullptr;
  if (action.verb == Verb::kOn) return g_variant_new_boolean(state.on ? TRUE : FALSE);
  if (action.verb == Verb::kDevicePresets)
    return g_variant_new_boolean(state.device_presets ? TRUE : FALSE);
  if (action.verb == Verb::kPreset) return g_variant_new_string(valid(chosen_called(state)).get());
  return preset_texts(state);
}

}  // namespace desktop
