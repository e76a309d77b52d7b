#include "tray_entries.h"

namespace desktop::menu {

namespace {

// Numbers of entries; those of the presets follow.
enum Id : int {
  kPower = kRoot + 1,
  kPresets,
  kDevicePresets,
  kCompact,
  kSettings,
  kHide,
  kQuit,
  kRule,
  kOwnRule = 19
};
constexpr int kFirstPreset = 20;

Command command_of(Verb verb, const std::string& preset = "") {
  return {verb, preset, "", {}};
}

// In a label an underscore marks the next letter as the entry's key.
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text)
    result.append(c == '_' ? 2 : 1, c);
  return result;
}

void add_presets(std::vector<Entry>* entries, const State& state) {
  const bool some_own = !state.presets.empty() && state.presets.back().id.starts_with("u:");
  int id = kFirstPreset;
  for (const Preset& preset : state.presets) {
    const bool first_own =
        preset.id.starts_with("u:") && !entries->back().command.preset.starts_with("u:");
    if (some_own && first_own)
      entries->push_back({kOwnRule, kPresets, Kind::kRule, "", false, true, {}});
    entries->push_back({id++, kPresets, Kind::kRadio, escaped(preset.name),
                        preset.id == state.preset, true, command_of(Verb::kPreset, preset.id)});
  }
}

}  // namespace

std::vector<Entry> entries_of(const State& state) {
  const Texts& texts = state.texts;
  int rule = kRule;
  const auto rule_entry = [&] { return Entry{rule++, kRoot, Kind::kRule, "", false, true, {}}; };
  const auto plain = [](int id, const std::string& label, Verb verb) {
    return Entry{id, kRoot, Kind::kPlain, escaped(label), false, true, command_of(verb)};
  };
  std::vector<Entry> entries;
  entries.push_back({kRoot, -1, Kind::kSubmenu, "", false, true, {}});
  entries.push_back(
      {kPower, kRoot, Kind::kCheck, escaped(texts.on), state.on, true, command_of(Verb::kToggle)});
  entries.push_back(rule_entry());
  entries.push_back({kPresets, kRoot, Kind::kSubmenu, escaped(texts.presets), false, true, {}});
  add_presets(&entries, state);
  entries.push_back({kDevicePresets, kRoot, Kind::kCheck, escaped(texts.device_presets),
                     state.device_presets, true,
                     command_of(state.device_presets ? Verb::kOnePreset : Verb::kDevicePresets)});
  entries.push_back(rule_entry());
  entries.push_back({kCompact, kRoot, Kind::kCheck, escaped(texts.compact), state.compact, true,
                     command_of(state.compact ? Verb::kFull : Verb::kCompact)});
  entries.push_back(plain(kSettings, texts.settings, Verb::kSettings));
  entries.push_back(rule_entry());
  entries.push_back(plain(kHide, texts.hide, Verb::kHide));
  entries.back().visible = !state.hidden;
  entries.push_back(plain(kQuit, texts.quit, Verb::kQuit));
  return entries;
}

}  // namespace desktop::menu
