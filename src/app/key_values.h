// Writing and reading lines of key=value, the text form of the sealed files.
//
// Numbers look the same in every locale; a value out of range becomes the nearest valid one.
// Threads: any; no state.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "dsp/eq_dsp.h"

namespace settings {

// Appends a line. A line break in the value is written as a blank.
void put_text(std::string* out, std::string_view key, std::string_view value);

std::string decibels(float value);
// Ten gains and the preamp, separated by commas; missing ones are 0 dB.
std::string curve_list(const eq::Curve& curve);
eq::Curve parse_curve(std::string_view list);

// Of several lines with the same key the last one counts. Refers to the text.
using Lines = std::map<std::string_view, std::string_view>;
Lines split_lines(std::string_view text);
std::optional<std::string_view> find(const Lines& lines, std::string_view key);
// Nothing when the line is missing or empty.
std::optional<double> find_number(const Lines& lines, std::string_view key);

// Truncated toward zero, clamped to 32 bits.
std::int32_t to_int32(double value);
// Clamped to +/-eq::kMaxGainDb.
float to_gain(double value);

}  // namespace settings
