// DESIGN: the first character tells the formats apart: a preset of EasyEffects is JSON, everything
// else is lines. The file's name only proposes a name for the preset.
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "app/settings.h"
#include "app/utf8.h"
#include "curves/curve_files.h"
#include "fit.h"
#include "posix/files.h"
#include "shape.h"

namespace curves {
namespace {

constexpr std::size_t kMaxWhat = 100;  // characters of a file that the log repeats

std::string proposed_name(std::string name) {
  name.erase(0, name.rfind('/') + 1);
  if (const std::size_t dot = name.rfind('.'); dot != std::string::npos) name.erase(dot);
  for (const std::string_view kind : {" FixedBandEQ", " ParametricEQ", " GraphicEQ"}) {
    if (name.ends_with(kind)) name.erase(name.size() - kind.size());
  }
  name = utf8::one_line(name, kMaxPresetName);
  name.erase(0, std::min(name.find_first_not_of(' '), name.size()));
  name.erase(name.find_last_not_of(' ') + 1);
  return name;
}

std::string with_unit(double hz) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), hz < 999.5 ? "%.0f Hz" : "%.3g kHz",
                hz < 999.5 ? hz : hz / 1000.0);
  return text.data();
}

std::string joined(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names)
    list += (list.empty() ? "" : ", ") + utf8::one_line(name, kMaxWhat);
  return list;
}

// At least one digit after the point, at most two.
std::string number(float value) {
  std::array<char, 64> text{};
  const double hundredths = std::round(static_cast<double>(value) * 100.0) / 100.0 + 0.0;
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), hundredths,
                                          std::chars_format::fixed, 2);
  std::string result(text.data(), error == std::errc() ? end : text.data());
  if (result.ends_with('0')) result.pop_back();
  return result;
}

}  // namespace

Result import_text(std::string_view bytes, const std::string& file_name) {
  if (bytes.size() > kMaxBytes) return Refusal{Reason::kTooLarge, 0, ""};
  std::string text;
  if (!decode(bytes, &text)) return Refusal{Reason::kNoEqualizer, 0, "no text"};
  Shape shape;
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  const bool is_json = first != std::string::npos && text[first] == '{';
  if (std::optional<Refusal> refusal =
          is_json ? read_easyeffects(text, &shape) : read_apo(text, &shape))
    return *refusal;
  const Fit f = fit(shape);
  return Import{
      proposed_name(file_name), f.curve, f.exact, f.rms_db, f.worst_db, f.worst_hz, shape.left_out};
}

Result import_file(const std::string& path) {
  std::string bytes;
  switch (files::read_all(path, kMaxBytes, &bytes)) {
    case files::Read::kOk:
      return import_text(bytes, path);
    case files::Read::kTooLarge:
      return Refusal{Reason::kTooLarge, 0, ""};
    default:
      return Refusal{Reason::kUnreadable, 0, ""};
  }
}

std::string description(const Import& import) {
  std::array<char, 64> figures{};
  std::snprintf(figures.data(), figures.size(), "±%.1f dB rms, worst %.1f dB at ", import.rms_db,
                import.worst_db);
  std::string text = figures.data() + with_unit(import.worst_hz);
  if (import.exact) text = "its bands are ours";
  if (!import.left_out.empty()) text += "; left out: " + joined(import.left_out);
  return text;
}

std::string description(const Refusal& refusal) {
  std::string text;
  switch (refusal.reason) {
    case Reason::kUnreadable:
      text = "cannot be read";
      break;
    case Reason::kTooLarge:
      text = "larger than 1 MiB";
      break;
    case Reason::kNoEqualizer:
      text = "no equalizer file";
      break;
    case Reason::kUnsupported:
      text = "cannot be imported";
      break;
    case Reason::kMalformed:
      text = "not understood";
      break;
  }
  if (refusal.line > 0) text = "line " + std::to_string(refusal.line) + ": " + text;
  if (!refusal.what.empty()) text += ": " + utf8::one_line(refusal.what, kMaxWhat);
  return text;
}

std::string apo_text(const eq::Curve& curve) {
  std::string text = "Preamp: " + number(curve.preamp) + " dB\n";
  for (int i = 0; i < eq::kBands; ++i) {
    text += "Filter " + std::to_string(i + 1) + ": ON PK Fc " +
            std::to_string(static_cast<int>(eq::kFreq[i])) + " Hz Gain " + number(curve.gain[i]) +
            " dB Q 1.41\n";
  }
  return text;
}

}  // namespace curves
