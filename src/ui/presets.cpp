// DESIGN: a preset is chosen by an identifier, "b:" and the key of a built-in one or "u:" and the
// name of one of the user's own. Whether the sliders have been moved since is never stored, but
// compared whenever the label is shown.
#include "presets.h"

#include <algorithm>

#include "i18n/i18n.h"
#include "state.h"
#include "text.h"

namespace ui {

namespace {

constexpr const char* kBuiltin = "b:";
constexpr const char* kUser = "u:";
constexpr std::size_t kPrefix = 2;
constexpr float kLeastName = 40.0F;  // least width of a name beside its mark

bool has_prefix(const std::string& id, const char* prefix) {
  return id.compare(0, kPrefix, prefix) == 0;
}

auto find_named(const std::vector<UserPreset>& presets, const std::string& name) {
  return std::find_if(presets.begin(), presets.end(),
                      [&](const UserPreset& p) { return p.name == name; });
}

void choose(const std::string& id) {
  // A command may choose a preset while the dialog for an imported curve is open.
  if (state().look.save.before) close_save();
  state().settings->preset = id;
  eq::Curve curve;
  if (selected_curve(&curve, nullptr)) start_glide(curve);
}

struct Label {
  std::string name;
  std::string mark;  // empty: as it was chosen
};

Label chosen_label() {
  const State& s = state();
  eq::Curve curve;
  std::string name;
  if (!selected_curve(&curve, &name)) return {i18n::T("preset_custom"), ""};
  if (s.look.glide.running || eq::same(s.settings->curve, curve)) return {one_line(name), ""};
  return {one_line(name), std::string(" (") + i18n::T("preset_modified") + ")"};
}

}  // namespace

int find_user(const std::string& name) {
  const std::vector<UserPreset>& presets = state().settings->user_presets;
  const auto found = find_named(presets, name);
  return found != presets.end() ? static_cast<int>(found - presets.begin()) : -1;
}

std::string chosen_user() {
  const std::string& id = state().settings->preset;
  const bool own = has_prefix(id, kUser) && find_user(id.substr(kPrefix)) >= 0;
  return own ? id.substr(kPrefix) : "";
}

bool curve_of(const std::string& id, const Settings& s, eq::Curve* out) {
  if (id.size() < kPrefix) return false;
  const std::string rest = id.substr(kPrefix);
  if (has_prefix(id, kBuiltin)) {
    const int i = eq::find_preset(rest);
    if (i >= 0) *out = eq::preset_curve(i);
    return i >= 0;
  }
  const auto own = find_named(s.user_presets, rest);
  if (!has_prefix(id, kUser) || own == s.user_presets.end()) return false;
  *out = own->curve;
  return true;
}

bool selected_curve(eq::Curve* out, std::string* name) {
  const Settings& s = *state().settings;
  eq::Curve curve;
  if (!curve_of(s.preset, s, &curve)) return false;
  const std::string rest = s.preset.substr(kPrefix);
  if (out != nullptr) *out = curve;
  if (name != nullptr) *name = has_prefix(s.preset, kBuiltin) ? i18n::T(rest.c_str()) : rest;
  return true;
}

std::string preset_label() {
  const Label label = chosen_label();
  return label.mark.empty() ? label.name : isolated(label.name) + label.mark;
}

std::string preset_label(float size, float max_width) {
  const Label label = chosen_label();
  const float room = max_width - gfx::text_width(label.mark, size, false);
  if (!label.mark.empty() && room < kLeastName)
    return shorten(directed(preset_label()), size, max_width);
  return directed(isolated(shorten(label.name, size, room)) + label.mark);
}

void choose_builtin(const std::string& key) {
  choose(kBuiltin + key);
}

void choose_user(const std::string& name) {
  choose(kUser + name);
}

void delete_user(const std::string& name) {
  const int i = find_user(name);
  if (i < 0) return;
  std::vector<UserPreset>& presets = state().settings->user_presets;
  presets.erase(presets.begin() + i);
}

bool can_store(const std::string& name) {
  return find_user(name) >= 0 || state().settings->user_presets.size() < kMaxUserPresets;
}

void store_user(const std::string& name) {
  Settings& s = *state().settings;
  stop_glide();
  const int i = find_user(name);
  if (i >= 0) {
    s.user_presets[static_cast<std::size_t>(i)].curve = s.curve;
  } else {
    s.user_presets.push_back({name, s.curve});
  }
  s.preset = kUser + name;
}

}  // namespace ui
