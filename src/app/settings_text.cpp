// DESIGN: anyone can seal a text, so nothing in it is trusted. One ordered table of keys serves
// writing and reading.
#include "settings_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

#include "key_values.h"

namespace settings {
namespace {

constexpr std::int32_t kMaxListed = 200;  // presets looked at

// A key and where its value lives. The type says how the value is written and read.
struct Field {
  const char* key;
  std::variant<bool Settings::*, std::string Settings::*, std::int32_t Settings::*,
               std::vector<UserPreset> Settings::*, float eq::Curve::*>
      at;
};

// In the order in which they are written, behind the ten bands.
constexpr Field kFields[] = {
    {"preset", &Settings::preset},
    {"user_presets", &Settings::user_presets},
    {"preamp", &eq::Curve::preamp},
    {"active", &Settings::active},
    {"active_on_start", &Settings::active_on_start},
    {"compact", &Settings::compact},
    {"compact_on_top", &Settings::compact_on_top},
    {"output", &Settings::output},
    {"last_default", &Settings::last_default},
    {"channel", &Settings::channel},
    {"language", &Settings::language},
    {"theme", &Settings::theme},
    // Stored without checks; the window platform handles bad values.
    {"win_x", &Settings::win_x},
    {"win_y", &Settings::win_y},
    {"win_w", &Settings::win_w},
    {"win_h", &Settings::win_h},
    {"collapsed", &Settings::collapsed},
    {"mini_x", &Settings::mini_x},
    {"mini_y", &Settings::mini_y},
    {"mini_w", &Settings::mini_w},
    {"mini_h", &Settings::mini_h},
};

std::string band_key(int band) {
  return "band" + std::to_string(band);
}

std::string preset_key(std::int32_t index) {
  return "up" + std::to_string(index);
}

// Writing -------------------------------------------------------------

// Writes the value of one field, which has the key `key`.
struct Writer {
  std::string* out;
  std::string_view key;
  const Settings& s;

  void operator()(bool Settings::*at) const { put_text(out, key, s.*at ? "1" : "0"); }
  void operator()(std::string Settings::*at) const { put_text(out, key, s.*at); }
  void operator()(std::int32_t Settings::*at) const { put_text(out, key, std::to_string(s.*at)); }
  void operator()(float eq::Curve::*at) const { put_text(out, key, decibels(s.curve.*at)); }
  void operator()(std::vector<UserPreset> Settings::*at) const { put_user_presets(s.*at); }

  void put_user_presets(const std::vector<UserPreset>& presets) const;
};

void Writer::put_user_presets(const std::vector<UserPreset>& presets) const {
  put_text(out, key, std::to_string(presets.size()));
  std::int32_t index = 0;
  for (const UserPreset& preset : presets) {
    const std::string preset_at = preset_key(index++);
    put_text(out, preset_at + "_name", preset.name);
    put_text(out, preset_at, curve_list(preset.curve));
  }
}

// Reading -------------------------------------------------------------

// Cuts before the first byte of the code point that would be one too many, so never inside one.
std::string_view cut_name(std::string_view name) {
  int points = 0;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const bool continuation = (static_cast<unsigned char>(name[i]) & 0xC0U) == 0x80U;
    if (!continuation && ++points > kMaxPresetName) return name.substr(0, i);
  }
  return name;
}

bool has_name(const std::vector<UserPreset>& presets, std::string_view name) {
  return std::any_of(presets.begin(), presets.end(),
                     [name](const UserPreset& preset) { return preset.name == name; });
}

std::vector<UserPreset> parse_user_presets(const Lines& lines, std::int32_t count) {
  std::vector<UserPreset> presets;
  for (std::int32_t i = 0; i < std::min(count, kMaxListed) && presets.size() < kMaxUserPresets;
       ++i) {
    const std::string key = preset_key(i);
    const auto list = find(lines, key);
    if (!list) continue;
    const std::string_view name = cut_name(find(lines, key + "_name").value_or(""));
    if (name.empty() || has_name(presets, name)) continue;
    presets.push_back({std::string(name), parse_curve(*list)});
  }
  return presets;
}

// Reads the value of one field. A missing line leaves it unchanged.
struct Reader {
  const Lines& lines;
  std::string_view key;
  Settings* s;

  void operator()(bool Settings::*at) const {
    if (const auto value = find(lines, key)) s->*at = *value == "1";
  }
  void operator()(std::string Settings::*at) const {
    if (const auto value = find(lines, key)) s->*at = *value;
  }
  void operator()(std::int32_t Settings::*at) const {
    const auto value = find_number(lines, key);
    if (!value) return;
    const std::int32_t number = to_int32(*value);
    const bool channel = at == &Settings::channel;
    if (!channel || (number >= 0 && number <= 2)) s->*at = number;
  }
  void operator()(float eq::Curve::*at) const {
    if (const auto value = find_number(lines, key)) s->curve.*at = to_gain(*value);
  }
  void operator()(std::vector<UserPreset> Settings::*at) const {
    const std::int32_t count = to_int32(find_number(lines, key).value_or(0.0));
    if (count > 0) s->*at = parse_user_presets(lines, count);
  }
};

}  // namespace

std::string serialize(const Settings& s) {
  std::string out;
  for (int band = 0; band < eq::kBands; ++band)
    put_text(&out, band_key(band), decibels(s.curve.gain[band]));
  for (const auto& [key, at] : kFields)
    std::visit(Writer{&out, key, s}, at);
  return out;
}

void deserialize(const std::string& text, Settings* s) {
  const Lines lines = split_lines(text);
  for (int band = 0; band < eq::kBands; ++band) {
    if (const auto value = find_number(lines, band_key(band)))
      s->curve.gain[band] = to_gain(*value);
  }
  for (const auto& [key, at] : kFields)
    std::visit(Reader{lines, key, s}, at);
}

}  // namespace settings
