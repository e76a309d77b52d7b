// DESIGN: anybody may have sealed the text, so nothing in it is trusted. One ordered table of keys
// serves writing and reading. Every number goes through one conversion that knows no locale, and
// one narrowing per target type that is defined for every double.
#include "settings_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

namespace settings {
namespace {

constexpr std::int32_t kMaxListed = 200;  // presets looked at
constexpr int kDigits = 6;                // significant digits, as a stream writes a double

using Lines = std::map<std::string_view, std::string_view>;

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
    // Stored as they are; the window platform makes sense of them.
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

// Writing --------------------------------------------------------------

void put_text(std::string* out, std::string_view key, std::string_view value) {
  out->append(key).append("=");
  std::transform(value.begin(), value.end(), std::back_inserter(*out),
                 [](char c) { return c == '\n' ? ' ' : c; });
  out->push_back('\n');
}

std::string decibels(float value) {
  std::array<char, 32> text{};  // "-1.23457e-38" is as long as it gets
  const auto result =
      std::to_chars(text.data(), text.data() + text.size(), static_cast<double>(value),
                    std::chars_format::general, kDigits);
  return {text.data(), result.ptr};
}

std::string curve_list(const eq::Curve& curve) {
  std::string text;
  for (const float gain : curve.gain)
    text += decibels(gain) + ",";
  return text + decibels(curve.preamp);
}

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

// Reading --------------------------------------------------------------

Lines split_lines(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) continue;
    lines.insert_or_assign(line.substr(0, equals), line.substr(equals + 1));
  }
  return lines;
}

std::optional<std::string_view> find(const Lines& lines, std::string_view key) {
  const auto line = lines.find(key);
  if (line == lines.end()) return std::nullopt;
  return line->second;
}

// The "C" locale, whatever the process has chosen. Never freed: threads may use it at exit.
locale_t plain_locale() {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  return plain;
}

// As strtod reads it: 0 when the text does not start with a number. NaN, which no field can hold,
// is 0 as well.
double to_double(std::string_view text) {
  // The conversion needs a terminator, which the view does not have.
  const double value = strtod_l(std::string(text).c_str(), nullptr, plain_locale());
  return std::isnan(value) ? 0.0 : value;
}

// Truncated toward zero; what 32 bits cannot hold becomes the nearest that they can.
std::int32_t to_int32(double value) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(
      std::clamp(value, static_cast<double>(Limits::min()), static_cast<double>(Limits::max())));
}

float to_gain(double value) {
  constexpr double kMost = eq::kMaxGainDb;
  return static_cast<float>(std::clamp(value, -kMost, kMost));
}

// Nothing when the line is missing or empty.
std::optional<double> find_number(const Lines& lines, std::string_view key) {
  const auto value = find(lines, key);
  if (!value || value->empty()) return std::nullopt;
  return to_double(*value);
}

// The next field of a comma-separated list, taken off its front.
std::string_view next_field(std::string_view* list) {
  const std::string_view field = list->substr(0, list->find(','));
  list->remove_prefix(std::min(field.size() + 1, list->size()));
  return field;
}

eq::Curve parse_curve(std::string_view list) {
  eq::Curve curve;
  for (float& gain : curve.gain)
    gain = to_gain(to_double(next_field(&list)));
  curve.preamp = to_gain(to_double(next_field(&list)));
  return curve;
}

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

// Reads the value of one field over what it holds. A missing line changes nothing.
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
