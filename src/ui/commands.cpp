// DESIGN: thin on purpose. A command does the same as its element, by the element's own function if
// there is one.
#include "ui/commands.h"

#include "i18n/i18n.h"
#include "presets.h"
#include "state.h"
#include "text.h"

namespace ui {

void toggle_equalizer() {
  state().settings->active = !state().settings->active;
  state().look.drag = kHitNone;
}

void set_equalizer(bool on) {
  if (state().settings->active != on) toggle_equalizer();
}

void toggle_mute() {
  audio::set_mute(!state().look.status.muted);
}

void choose_preset(const std::string& id) {
  for (const NamedPreset& preset : presets()) {
    if (preset.id != id) continue;
    const std::string rest = id.substr(2);
    if (id.starts_with("b:")) {
      choose_builtin(rest);
    } else {
      choose_user(rest);
    }
  }
}

void show_compact(bool compact) {
  if (state().settings->compact != compact) set_compact(compact);
}

std::vector<NamedPreset> presets() {
  std::vector<NamedPreset> all;
  for (const eq::PresetDef& preset : eq::kPresets)
    all.push_back({std::string("b:") + preset.key, i18n::T(preset.key), preset.curve});
  for (const UserPreset& preset : state().settings->user_presets)
    all.push_back({"u:" + preset.name, one_line(preset.name), preset.curve});
  return all;
}

}  // namespace ui
