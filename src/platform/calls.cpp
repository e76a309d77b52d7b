// DESIGN: what is asked over the session bus is carried out between two frames, on the main thread
// and as if the mouse had; and once a frame the bus is given what it may know.

#include <algorithm>

#include "app/logger.h"
#include "app/settings.h"
#include "platform_private.h"
#include "ui/commands.h"

namespace {

using desktop::Command;
using desktop::Verb;

const Settings* g_settings = nullptr;  // not owned

// What the published state was made of.
struct Sources {
  std::string language;
  std::vector<std::string> own_presets;
};
Sources g_sources;
desktop::State g_state;

bool names_are_current() {
  return g_settings->language == g_sources.language &&
         std::ranges::equal(g_settings->user_presets, g_sources.own_presets, {}, &UserPreset::name);
}

void refresh_names() {
  g_sources.language = g_settings->language;
  g_sources.own_presets.clear();
  for (const UserPreset& preset : g_settings->user_presets)
    g_sources.own_presets.push_back(preset.name);
  g_state.presets.clear();
  for (ui::NamedPreset& preset : ui::presets())
    g_state.presets.push_back({std::move(preset.id), std::move(preset.name)});
}

const desktop::State& current_state() {
  g_state.on = g_settings->active;
  g_state.preset = g_settings->preset;
  if (!names_are_current() || g_state.presets.empty()) refresh_names();
  return g_state;
}

void change_view(bool compact, const desktop::Activation& activation) {
  ui::show_compact(compact);
  platform::raise_window(activation);
}

void carry_out(const Command& command) {
  switch (command.verb) {
    case Verb::kRaise:
      return platform::raise_window(command.activation);
    case Verb::kToggle:
      return ui::toggle_equalizer();
    case Verb::kOn:
    case Verb::kOff:
      return ui::set_equalizer(command.verb == Verb::kOn);
    case Verb::kMute:
      return ui::toggle_mute();
    case Verb::kPreset:
      return ui::choose_preset(command.preset);
    case Verb::kCompact:
    case Verb::kFull:
      return change_view(command.verb == Verb::kCompact, command.activation);
    case Verb::kSettings:
      ui::open_settings();
      return platform::raise_window(command.activation);
    case Verb::kQuit:
      logger::info("Asked over the session bus to end");
      return platform::quit();
  }
}

}  // namespace

namespace platform {

void begin_calls(const Settings* settings) {
  g_settings = settings;
  desktop::start(current_state());
}

void answer_calls() {
  Command command;
  while (desktop::take(&command))
    carry_out(command);
  desktop::publish(current_state());
}

}  // namespace platform
