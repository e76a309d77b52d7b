// DESIGN: every number goes through one conversion that is independent of the locale, and one
// narrowing per target type that is defined for every double.
#include "key_values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <limits>

namespace settings {
namespace {

constexpr int kDigits = 6;  // significant digits, as a stream writes a double

// The "C" locale, whatever the process uses. Never freed: threads may use it at exit.
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

// The next field of a comma-separated list, taken off its front.
std::string_view next_field(std::string_view* list) {
  const std::string_view field = list->substr(0, list->find(','));
  list->remove_prefix(std::min(field.size() + 1, list->size()));
  return field;
}

}  // namespace

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

std::int32_t to_int32(double value) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(
      std::clamp(value, static_cast<double>(Limits::min()), static_cast<double>(Limits::max())));
}

float to_gain(double value) {
  constexpr double kMost = eq::kMaxGainDb;
  return static_cast<float>(std::clamp(value, -kMost, kMost));
}

std::optional<double> find_number(const Lines& lines, std::string_view key) {
  const auto value = find(lines, key);
  if (!value || value->empty()) return std::nullopt;
  return to_double(*value);
}

eq::Curve parse_curve(std::string_view list) {
  eq::Curve curve;
  for (float& gain : curve.gain)
    gain = to_gain(to_double(next_field(&list)));
  curve.preamp = to_gain(to_double(next_field(&list)));
  return curve;
}

}  // namespace settings
