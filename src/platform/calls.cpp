// DESIGN: calls over the session bus are carried out between two frames, on the main thread, by the
// functions that the mouse calls; once a frame the public state is published.

#include <algorithm>

#include "app/logger.h"
#include "app/settings.h"
#include "curves/curve_files.h"
#include "i18n/i18n.h"
#include "platform_private.h"
#include "ui/commands.h"

namespace {

using desktop::Command;
using desktop::Verb;

constexpr const char* kName = "Velmora";
// Clicking the icon in a panel may itself take the keyboard from the window.
constexpr std::uint64_t kStillInFrontMs = 400;

const Settings* g_settings = nullptr;  // not owned
std::uint64_t g_in_front_at = 0;       // when the window last had the keyboard

// The inputs of the published state.
struct Sources {
  std::string language;  // "" before the first time
  std::vector<UserPreset> own_presets;
};
Sources g_sources;
desktop::State g_state;

bool presets_are_current() {
  return i18n::effective_language() == g_sources.language &&
         g_settings->user_presets == g_sources.own_presets;
}

void refresh_presets() {
  g_sources = {i18n::effective_language(), g_settings->user_presets};
  g_state.presets.clear();
  for (ui::NamedPreset& preset : ui::presets()) {
    g_state.presets.push_back(
        {std::move(preset.id), std::move(preset.name), curves::apo_text(preset.curve)});
  }
  const auto with_name = [](std::string text) {
    const std::size_t place = text.find("%s");
    return place == std::string::npos ? text : text.replace(place, 2, kName);
  };
  g_state.texts = {i18n::T("power_on"),
                   i18n::T("preset"),
                   i18n::T("device_presets"),
                   i18n::T("compact"),
                   i18n::T("settings"),
                   with_name(i18n::T("menu_hide")),
                   with_name(i18n::T("menu_quit")),
                   i18n::rtl()};
}

const desktop::State& current_state() {
  g_state.on = g_settings->active;
  g_state.preset = g_settings->preset;
  g_state.device_presets = ui::has_device_presets();
  g_state.compact = g_settings->compact;
  g_state.hidden = platform::window_has(SDL_WINDOW_HIDDEN);
  if (!presets_are_current()) refresh_presets();
  return g_state;
}

// The window first: a hidden one reappears at its own place, not at the other view's.
void change_view(bool compact, const desktop::Activation& activation) {
  platform::raise_window(activation);
  ui::show_compact(compact);
}

void note_front() {
  if (platform::window_has(SDL_WINDOW_INPUT_FOCUS)) g_in_front_at = platform::ticks_ms();
}

bool in_front() {
  return !platform::window_has(SDL_WINDOW_HIDDEN | SDL_WINDOW_MINIMIZED) && g_in_front_at != 0 &&
         platform::ticks_ms() - g_in_front_at < kStillInFrontMs;
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
    case Verb::kDevicePresets:
    case Verb::kOnePreset:
      return ui::use_device_presets(command.verb == Verb::kDevicePresets);
    case Verb::kCompact:
    case Verb::kFull:
      return change_view(command.verb == Verb::kCompact, command.activation);
    case Verb::kSettings:
      platform::raise_window(command.activation);
      return ui::open_settings();
    case Verb::kImport:
      platform::raise_window(command.activation);
      return ui::import_file(command.path);
    case Verb::kQuit:
      logger::info("Asked over the session bus to end");
      return platform::quit();
    case Verb::kRaiseOrHide:
      return in_front() ? platform::hide_window() : platform::raise_window(command.activation);
    case Verb::kHide:
      return platform::hide_window();
    case Verb::kShow:
      if (platform::window_has(SDL_WINDOW_HIDDEN)) platform::raise_window({});
  }
}

}  // namespace

namespace platform {

void begin_calls(const Settings* settings) {
  g_settings = settings;
  desktop::start(current_state());
}

void answer_calls() {
  note_front();
  Command command;
  while (desktop::take(&command))
    carry_out(command);
  desktop::publish(current_state());
}

}  // namespace platform
