// DESIGN: the text is whatever somebody may have sealed, so nothing in it is trusted. Lines are
// collected as views into the text; every number goes through one conversion that knows no locale
// and one narrowing per target type that is defined for every double.
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

namespace settings {
namespace {

constexpr std::int32_t kMaxListed = 200;  // presets looked at
constexpr int kDigits = 6;                // significant digits, as a stream writes a double

using Lines = std::map<std::string_view, std::string_view>;

struct BoolField {
  const char* key;
  bool Settings::*field;
};
struct TextField {
  const char* key;
  std::string Settings::*field;
};
struct IntField {
  const char* key;
  std::int32_t Settings::*field;
};

constexpr std::array kBools = {BoolField{"active", &Settings::active},
                               BoolField{"active_on_start", &Settings::active_on_start},
                               BoolField{"compact", &Settings::compact},
                               BoolField{"compact_on_top", &Settings::compact_on_top},
                               BoolField{"collapsed", &Settings::collapsed}};
constexpr std::array kTexts = {
    TextField{"preset", &Settings::preset}, TextField{"output", &Settings::output},
    TextField{"last_default", &Settings::last_default}, TextField{"language", &Settings::language},
    TextField{"theme", &Settings::theme}};
// The geometry: stored as it is, the window platform makes sense of it.
constexpr std::array kInts = {
    IntField{"win_x", &Settings::win_x},   IntField{"win_y", &Settings::win_y},
    IntField{"win_w", &Settings::win_w},   IntField{"win_h", &Settings::win_h},
    IntField{"mini_x", &Settings::mini_x}, IntField{"mini_y", &Settings::mini_y},
    IntField{"mini_w", &Settings::mini_w}, IntField{"mini_h", &Settings::mini_h}};

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

void put_flag(std::string* out, std::string_view key, bool value) {
  put_text(out, key, value ? "1" : "0");
}

void put_number(std::string* out, std::string_view key, std::int32_t value) {
  put_text(out, key, std::to_string(value));
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

void put_user_presets(std::string* out, const std::vector<UserPreset>& presets) {
  put_text(out, "user_presets", std::to_string(presets.size()));
  std::int32_t index = 0;
  for (const UserPreset& preset : presets) {
    const std::string key = preset_key(index++);
    put_text(out, key + "_name", preset.name);
    put_text(out, key, curve_list(preset.curve));
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

// The "C" locale whatever the process has chosen; made once and kept, as threads may be using it at
// exit.
locale_t plain_locale() {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  return plain;
}

// What strtod makes of the text: 0 when it does not start with a number. NaN, which no field can
// hold, is 0 too.
double to_double(std::string_view text) {
  // The conversion needs a terminator, and must not look beyond the value for one.
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

// A number that is missing or left empty says nothing.
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

}  // namespace

std::string serialize(const Settings& s) {
  std::string out;
  for (int band = 0; band < eq::kBands; ++band) {
    put_text(&out, band_key(band), decibels(s.curve.gain[band]));
  }
  put_text(&out, "preset", s.preset);
  put_user_presets(&out, s.user_presets);
  put_text(&out, "preamp", decibels(s.curve.preamp));
  put_flag(&out, "active", s.active);
  put_flag(&out, "active_on_start", s.active_on_start);
  put_flag(&out, "compact", s.compact);
  put_flag(&out, "compact_on_top", s.compact_on_top);
  put_text(&out, "output", s.output);
  put_text(&out, "last_default", s.last_default);
  put_number(&out, "channel", s.channel);
  put_text(&out, "language", s.language);
  put_text(&out, "theme", s.theme);
  put_number(&out, "win_x", s.win_x);
  put_number(&out, "win_y", s.win_y);
  put_number(&out, "win_w", s.win_w);
  put_number(&out, "win_h", s.win_h);
  put_flag(&out, "collapsed", s.collapsed);
  put_number(&out, "mini_x", s.mini_x);
  put_number(&out, "mini_y", s.mini_y);
  put_number(&out, "mini_w", s.mini_w);
  put_number(&out, "mini_h", s.mini_h);
  return out;
}

void deserialize(const std::string& text, Settings* s) {
  const Lines lines = split_lines(text);
  for (int band = 0; band < eq::kBands; ++band) {
    if (const auto value = find_number(lines, band_key(band)))
      s->curve.gain[band] = to_gain(*value);
  }
  if (const auto value = find_number(lines, "preamp")) s->curve.preamp = to_gain(*value);
  for (const auto& [key, field] : kTexts) {
    if (const auto value = find(lines, key)) s->*field = *value;
  }
  for (const auto& [key, field] : kBools) {
    if (const auto value = find(lines, key)) s->*field = *value == "1";
  }
  if (const auto value = find_number(lines, "channel")) {
    const std::int32_t channel = to_int32(*value);
    if (channel >= 0 && channel <= 2) s->channel = channel;
  }
  for (const auto& [key, field] : kInts) {
    if (const auto value = find_number(lines, key)) s->*field = to_int32(*value);
  }
  const std::int32_t count = to_int32(find_number(lines, "user_presets").value_or(0.0));
  if (count > 0) s->user_presets = parse_user_presets(lines, count);
}

}  // namespace settings
