// DESIGN: a list is rebuilt whenever it opens, from the current state. Each row has its own action.
#include "lists.h"

#include "i18n/i18n.h"
#include "popup.h"
#include "presets.h"
#include "state.h"
#include "text.h"

namespace ui {

namespace {

PopupRow heading(const char* key) {
  PopupRow row;
  row.text = i18n::T(key);
  return row;
}

void choose_device(const std::string& name) {
  state().settings->output = name;
  // Even if the settings have this device already: this run may have started with another one
  // (--device).
  audio::set_output(name);
}

void choose_language(const std::string& code) {
  state().settings->language = code;
}

// The list stays open, where it was under the pointer.
void erase_preset(const std::string& name) {
  const int first = state().list.first;
  delete_user(name);
  open_presets();
  state().look.popup.first = first;
}

}  // namespace

void open_presets() {
  const Settings& s = *state().settings;
  std::vector<PopupRow> rows;
  rows.push_back(heading("presets_builtin"));
  for (const eq::PresetDef& preset : eq::kPresets)
    rows.push_back({i18n::T(preset.key), preset.key, s.preset == std::string("b:") + preset.key,
                    choose_builtin, nullptr, false});
  rows.push_back(heading("presets_user"));
  for (const UserPreset& preset : s.user_presets)
    rows.push_back({one_line(preset.name), preset.name, s.preset == "u:" + preset.name, choose_user,
                    erase_preset});
  open_popup(kHitPresets, std::move(rows));
}

void open_devices() {
  ChosenDevice& chosen = state().look.chosen;
  const std::vector<audio::Device> devices = audio::devices();
  find_chosen(state().settings->output, devices, &chosen);
  const auto row = [&](const std::string& label, const std::string& name) {
    return PopupRow{label, name, name == chosen.name, choose_device, nullptr, false};
  };
  std::vector<PopupRow> rows;
  rows.push_back(row(i18n::T("device_follow"), ""));
  for (const audio::Device& device : devices)
    rows.push_back(row(one_line(device.label), device.name));
  // A chosen device that is unplugged stays chosen.
  if (!chosen.present) {
    rows.push_back(row(chosen.label, chosen.name));
    rows.back().faint = true;
  }
  open_popup(kHitDevice, std::move(rows));
}

void open_languages() {
  const std::string& language = state().settings->language;
  std::vector<PopupRow> rows;
  rows.push_back(
      {i18n::T("language_auto"), "auto", language == "auto", choose_language, nullptr, false});
  for (const i18n::Language& l : i18n::languages())
    rows.push_back({l.name, l.code, language == l.code, choose_language, nullptr, false});
  open_popup(kHitLanguage, std::move(rows));
}

}  // namespace ui
