// DESIGN: a preset is chosen by an identifier, "b:" and the key of a built-in one or "u:" and the
// name of one of the person's own. Whether the sliders still stand where the preset has them is
// never stored but compared whenever the label is shown.
#include <algorithm>
#include <iterator>

#include "app/utf8.h"
#include "i18n/i18n.h"
#include "platform/platform.h"
#include "ui_private.h"

namespace ui {

namespace {

constexpr const char* kBuiltin = "b:";
constexpr const char* kUser = "u:";
constexpr std::size_t kPrefix = 2;
constexpr std::size_t kMaxProposal = 159;  // bytes

bool has_prefix(const std::string& id, const char* prefix) {
  return id.compare(0, kPrefix, prefix) == 0;
}

void choose(const std::string& id) {
  state().settings->preset = id;
  eq::Curve curve;
  if (selected_curve(&curve, nullptr)) start_glide(curve);
  set_dirty();
  schedule_save();
}

std::string numbered_name(int n) {
  std::string name = with_argument(i18n::T("preset_default_name"), std::to_string(n));
  if (name.size() > kMaxProposal) {
    name.resize(kMaxProposal);
    while (!utf8::valid(name))
      name.pop_back();
  }
  return name;
}

std::string proposed_name() {
  const std::string& id = state().settings->preset;
  if (has_prefix(id, kUser) && find_user(id.substr(kPrefix)) >= 0) return id.substr(kPrefix);
  int n = 1;
  while (find_user(numbered_name(n)) >= 0)
    ++n;
  return numbered_name(n);
}

}  // namespace

void start_glide(const eq::Curve& to) {
  State& s = state();
  s.glide.running = true;
  s.glide.start_ms = platform::ticks_ms();
  s.glide.to = to;
  for (int i = 0; i < kGains; ++i)
    s.glide.from[i] = gain_at(s.settings->curve, i);
  set_dirty();
}

void stop_glide() {
  if (!state().glide.running) return;
  state().glide.running = false;
  schedule_save();  // the sliders stay where they are
}

int find_user(const std::string& name) {
  const std::vector<UserPreset>& presets = state().settings->user_presets;
  const auto found = std::find_if(presets.begin(), presets.end(),
                                  [&](const UserPreset& p) { return p.name == name; });
  return found != presets.end() ? static_cast<int>(found - presets.begin()) : -1;
}

bool selected_curve(eq::Curve* out, std::string* name) {
  const Settings& s = *state().settings;
  if (s.preset.size() < kPrefix) return false;
  const std::string rest = s.preset.substr(kPrefix);
  if (has_prefix(s.preset, kBuiltin)) {
    const int i = eq::find_preset(rest);
    if (i < 0) return false;
    if (out != nullptr) *out = eq::preset_curve(i);
    if (name != nullptr) *name = i18n::T(rest.c_str());
    return true;
  }
  const int i = has_prefix(s.preset, kUser) ? find_user(rest) : -1;
  if (i < 0) return false;
  if (out != nullptr) *out = s.user_presets[static_cast<std::size_t>(i)].curve;
  if (name != nullptr) *name = rest;
  return true;
}

std::string preset_label() {
  const State& s = state();
  eq::Curve curve;
  std::string name;
  if (!selected_curve(&curve, &name)) return i18n::T("preset_custom");
  name = one_line(name);
  if (s.glide.running || eq::same(s.settings->curve, curve)) return name;
  return isolated(name) + " (" + i18n::T("preset_modified") + ")";
}

void choose_builtin(const std::string& key) {
  choose(kBuiltin + key);
}

void choose_user(const std::string& name) {
  choose(kUser + name);
}

// The curve stays; where it was the deleted preset's it becomes a custom one.
void delete_user(const std::string& name) {
  const int i = find_user(name);
  if (i < 0) return;
  std::vector<UserPreset>& presets = state().settings->user_presets;
  presets.erase(presets.begin() + i);
  set_dirty();
  schedule_save();
}

void open_save() {
  SaveDialog& d = state().save;
  close_popup();
  d = {};
  d.open = true;
  d.selected = true;
  d.name = proposed_name();
  state().caret_on = true;
  set_dirty();
}

void close_save() {
  if (!state().save.open) return;
  state().save = {};
  set_dirty();
}

std::string trimmed_name(const std::string& name) {
  std::string result = name;
  std::replace_if(
      result.begin(), result.end(), [](char c) { return c == '\t' || c == '\n' || c == '\r'; },
      ' ');
  const std::size_t first = result.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return result.substr(first, result.find_last_not_of(' ') - first + 1);
}

void commit_save() {
  State& s = state();
  const std::string name = trimmed_name(s.save.name);
  if (name.empty()) return;
  std::vector<UserPreset>& presets = s.settings->user_presets;
  const int i = find_user(name);
  if (i < 0 && presets.size() >= kMaxPresets) return;
  stop_glide();
  if (i >= 0) {
    presets[static_cast<std::size_t>(i)].curve = s.settings->curve;
  } else {
    presets.push_back({name, s.settings->curve});
  }
  s.settings->preset = kUser + name;
  close_save();
  schedule_save();
}

}  // namespace ui
