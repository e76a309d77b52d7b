// DESIGN: the order of the rules matters: --settings leaves the compact view, and --size then
// applies to the full one.
#include "command_line.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "dsp/eq_dsp.h"

namespace command_line {
namespace {

// The last three belong to another platform. They are accepted so that scripts run everywhere, and
// do nothing here.
constexpr std::array kKnown = {"--compact",   "--devices",  "--device",      "--no-takeover",
                               "--off",       "--size",     "--theme",       "--preset",
                               "--collapsed", "--settings", "--apo-install", "--apo-uninstall",
                               "--apo-status"};

constexpr std::array kWithValue = {"--device", "--size", "--theme", "--preset"};

bool known(const std::string& arg) {
  return std::any_of(kKnown.begin(), kKnown.end(),
                     [&arg](const char* name) { return arg == name; });
}

// Reads a decimal number greater than 0 at *text and moves *text behind it.
bool parse_length(const char** text, int* value) {
  char* end = nullptr;
  errno = 0;
  const long number = std::strtol(*text, &end, 10);
  if (end == *text || errno != 0 || number <= 0 || number > std::numeric_limits<int>::max())
    return false;
  *text = end;
  *value = static_cast<int>(number);
  return true;
}

// Returns false if the value is invalid, as do the next two.
bool apply_size(const std::string& value, Settings* s) {
  int width = 0;
  int height = 0;
  if (!parse_size(value, &width, &height)) return false;
  if (s->compact) {
    s->mini_x = s->mini_y = -1;
    s->mini_w = width;
    s->mini_h = height;
  } else {
    s->win_x = s->win_y = -1;
    s->win_w = width;
    s->win_h = height;
  }
  return true;
}

bool apply_theme(const std::string& theme, Settings* s) {
  if (theme != "dark" && theme != "light") return false;
  s->theme = theme;
  return true;
}

bool apply_preset(const std::string& name, Settings* s) {
  const std::string key = "preset_" + name;
  const int index = eq::find_preset(key);
  if (index < 0) return false;
  s->preset = "b:" + key;
  s->curve = eq::preset_curve(index);
  return true;
}

}  // namespace

bool has(const Args& args, const std::string& name) {
  return std::find(args.begin(), args.end(), name) != args.end();
}

std::string arg_value(const Args& args, const std::string& name) {
  const auto found = std::find(args.begin(), args.end(), name);
  if (found == args.end() || found + 1 == args.end()) return {};
  return *(found + 1);
}

std::string first_unknown_switch(const Args& args) {
  const auto unknown = std::find_if(args.begin(), args.end(), [](const std::string& arg) {
    return arg.starts_with("--") && !known(arg);
  });
  return unknown == args.end() ? "" : *unknown;
}

std::string file_argument(const Args& args) {
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (std::find(kWithValue.begin(), kWithValue.end(), args[i]) != kWithValue.end()) {
      ++i;
    } else if (!args[i].empty() && args[i][0] != '-') {
      return args[i];
    }
  }
  return {};
}

bool parse_size(const std::string& text, int* width, int* height) {
  const char* at = text.c_str();
  int w = 0;
  int h = 0;
  if (!parse_length(&at, &w) || *at++ != 'x' || !parse_length(&at, &h)) return false;
  *width = w;
  *height = h;
  return true;
}

Start apply_start_switches(const Args& args, Settings* s) {
  Start start;
  s->active = s->active_on_start && !has(args, "--off");
  if (has(args, "--compact")) s->compact = true;
  if (has(args, "--collapsed")) s->collapsed = true;
  if (has(args, "--settings")) {
    s->compact = false;
    start.open_settings = true;
  }
  const auto value_of = [&](const char* name, const auto& apply) {
    const std::string value = arg_value(args, name);
    const bool applied = has(args, name) && apply(value);
    if (has(args, name) && !applied) start.ignored.push_back(std::string(name) + " " + value);
    return applied;
  };
  value_of("--size", [s](const std::string& value) { return apply_size(value, s); });
  start.theme_chosen =
      value_of("--theme", [s](const std::string& value) { return apply_theme(value, s); });
  start.preset_chosen =
      value_of("--preset", [s](const std::string& value) { return apply_preset(value, s); });
  // The engine checks whether the device exists.
  value_of("--device", [&start](const std::string& value) {
    start.device = value;
    return !value.empty();
  });
  start.takeover = !has(args, "--no-takeover");
  start.file = file_argument(args);
  return start;
}

}  // namespace command_line
