// DESIGN: the texts follow from what the engine reports, never from what it was asked to do. They
// name the first thing that is wrong, or if all is well the device.
#include "status_view.h"

#include <algorithm>

#include "app/utf8.h"
#include "i18n/i18n.h"
#include "state.h"
#include "text.h"
#include "ui/theme.h"

namespace ui {

namespace {

constexpr const char* kDot = "  ·  ";
constexpr const char* kDash = " — ";
constexpr const char* kEllipsis = "…";
constexpr const char* kNoBreakSpace = "\u00A0";
constexpr const char* kNoBreak = "\u2060";
constexpr int kLongestName = 28;  // characters of a server's name that are shown

// The server's name of a device without the driver's prefix. Devices differ at its end.
std::string short_name(const std::string& name) {
  const std::size_t dot = name.find('.');
  const std::string prefix = name.substr(0, dot);
  const bool driver = prefix.ends_with("_output") || prefix.ends_with("_sink");
  std::string rest = one_line(dot != std::string::npos && driver ? name.substr(dot + 1) : name);
  if (utf8::count(rest) <= kLongestName) return rest;
  std::size_t at = 0;
  bool valid = true;
  for (int left = utf8::count(rest); left >= kLongestName; --left)
    utf8::next(rest, &at, &valid);
  return kEllipsis + rest.substr(at);
}

// A state that must be shown in every view; null for none.
const char* note_key(const audio::Status& s, bool wanted) {
  if (s.state == audio::kConnecting) return "status_connecting";
  if (s.state == audio::kNoServer) return "status_no_server";
  if (s.state == audio::kPassive) return "status_other_instance";
  if (wanted && s.select_output) return "status_select_output";
  if (s.setup_needed) return "status_setup_needed";
  if (s.permission_needed) return "status_permission_needed";
  return nullptr;
}

void replace_all(std::string* text, std::string_view what, const std::string& with) {
  for (std::size_t at = 0; (at = text->find(what, at)) != std::string::npos; at += with.size())
    text->replace(at, what.size(), with);
}

// A line for a note, which is wrapped: no line of it begins with a dot (paragraphs see to dashes by
// themselves), or ends with what stands for the beginning of a name.
std::string wrappable(std::string text) {
  replace_all(&text, kDot, std::string(kNoBreakSpace) + kNoBreakSpace + (kDot + 2));
  replace_all(&text, kEllipsis, kEllipsis + std::string(kNoBreak));
  return text;
}

std::string with_target(const std::string& text, const audio::Status& s) {
  return s.target_label.empty() ? text : text + kDot + isolated(one_line(s.target_label));
}

}  // namespace

void find_chosen(const std::string& name, const std::vector<audio::Device>& devices,
                 ChosenDevice* chosen) {
  if (chosen->name != name) *chosen = {name, short_name(name)};
  const auto found = std::find_if(devices.begin(), devices.end(),
                                  [&](const audio::Device& d) { return d.name == name; });
  chosen->present = name.empty() || found != devices.end();
  if (found != devices.end()) chosen->label = one_line(found->label);
}

bool is_applied(const audio::Status& status) {
  return status.state == audio::kRunning && status.active;
}

StatusView status_view(const audio::Status& status, const ChosenDevice& chosen, bool wanted,
                       bool bypassed, bool no_line) {
  StatusView view;
  if (const char* key = note_key(status, wanted)) {
    const bool running = status.state == audio::kRunning;
    const bool waiting = running || status.state == audio::kConnecting;
    view.line = view.note = i18n::T(key);
    view.tone = waiting ? Tone::Warning : Tone::Danger;
    view.pressable = running && (status.setup_needed || status.permission_needed);
    return view;
  }
  view.tone = Tone::Warning;
  if (status.target.empty()) {
    view.line = i18n::T("err_no_device");
  } else if (wanted && !is_applied(status)) {
    view.line = with_target(i18n::T("status_bypass"), status);
    if (!bypassed) return view;
  } else if (!chosen.present) {
    view.line =
        with_target(i18n::T("err_no_device") + std::string(kDash) + isolated(chosen.label), status);
  } else {
    view.line = with_target(i18n::T(wanted ? "status_active" : "status_bypass"), status);
    view.tone = wanted ? Tone::Good : Tone::Off;
    return view;
  }
  if (no_line) view.note = directed(wrappable(view.line));
  return view;
}

StatusView status_view() {
  const Look& look = state().look;
  const Settings& s = *state().settings;
  return status_view(look.status, look.chosen, s.active, look.bypassed, s.compact || s.collapsed);
}

unsigned tone_colour(Tone tone) {
  const theme::Colors& c = *theme::colors();
  // As much of the text's colour as is needed for a contrast of 3 : 1 to the window's lower end.
  const auto darker = [&c](unsigned colour, float on_light, float on_dark) {
    return theme::mix(colour, c.text, theme::dark() ? on_dark : on_light);
  };
  switch (tone) {
    case Tone::Good:
      return darker(c.on, 0.25F, 0.0F);
    case Tone::Warning:
      return darker(c.warning, 0.25F, 0.0F);
    case Tone::Danger:
      return c.danger;
    case Tone::Off:
      break;
  }
  return darker(c.off, 0.35F, 0.15F);
}

}  // namespace ui
