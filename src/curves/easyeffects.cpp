// DESIGN: the document is read from the top, and the type of every value is checked before use, so
// that any JSON is either a preset or refused. The parser keeps no line numbers; the line of a
// refused value is found by searching the text for its keys, one after the other.
#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>

#include "shape.h"

namespace curves {
namespace {

using nlohmann::json;

constexpr std::string_view kEqualizer = "equalizer";

// Null if `object` is not an object or has no such member.
const json* member(const json* object, const std::string& key) {
  if (object == nullptr || !object->is_object()) return nullptr;
  const auto found = object->find(key);
  return found != object->end() ? &*found : nullptr;
}

// `missing` if there is none; NaN if it is not a number.
double number(const json& object, const std::string& key, double missing) {
  const json* const value = member(&object, key);
  if (value == nullptr) return missing;
  return value->is_number() ? value->get<double>() : NAN;
}

bool is_true(const json& object, const std::string& key) {
  const json* const value = member(&object, key);
  return value != nullptr && value->is_boolean() && value->get<bool>();
}

std::string text_of(const json& object, const std::string& key) {
  const json* const value = member(&object, key);
  return value != nullptr && value->is_string() ? value->get<std::string>() : "";
}

// "equalizer", with a number if there are several.
bool is_equalizer(std::string_view plugin) {
  return plugin.substr(0, plugin.find('#')) == kEqualizer;
}

int line_of(std::string_view text, std::initializer_list<std::string_view> keys) {
  std::size_t at = 0;
  for (const std::string_view key : keys) {
    const std::size_t found = text.find('"' + std::string(key) + '"', at);
    if (found == std::string_view::npos) break;
    at = found;
  }
  return 1 + static_cast<int>(std::count(text.begin(), text.begin() + static_cast<long>(at), '\n'));
}

struct Type {
  std::string_view name;
  Kind kind;
};
constexpr Type kTypes[] = {{"Bell", Kind::kPeak},
                           {"Lo-shelf", Kind::kLowShelf},
                           {"Hi-shelf", Kind::kHighShelf},
                           {"Lo-pass", Kind::kLowPass},
                           {"Hi-pass", Kind::kHighPass}};

// In other modes than this one a bell is a little broader or narrower than the formulas.
bool is_cookbook_mode(const std::string& mode) {
  return mode.empty() || mode.starts_with("APO");
}

std::optional<Refusal> read_band(const json& band, const std::string& name, Shape* shape) {
  const auto refused = [](Reason reason, const std::string& what) {
    return Refusal{reason, 0, what};
  };
  const std::string type_name = text_of(band, "type");
  if (type_name == "Off" || is_true(band, "mute")) return std::nullopt;
  const auto* const type = std::find_if(std::begin(kTypes), std::end(kTypes),
                                        [&](const Type& t) { return t.name == type_name; });
  if (type == std::end(kTypes)) return refused(Reason::kUnsupported, name + " type " + type_name);
  const std::string slope = text_of(band, "slope");
  if (!slope.empty() && slope != "x1")
    return refused(Reason::kUnsupported, name + " slope " + slope);
  if (shape->filters.size() >= kMaxFilters)
    return refused(Reason::kUnsupported, "too many filters");

  const Filter f{type->kind, number(band, "frequency", NAN), number(band, "gain", 0.0),
                 number(band, "q", NAN)};
  if (!sane_hz(f.hz)) return refused(Reason::kMalformed, name + " frequency");
  if (!sane_gain(f.gain_db)) return refused(Reason::kMalformed, name + " gain");
  if (!sane_q(f.q)) return refused(Reason::kMalformed, name + " q");
  shape->filters.push_back(f);

  const std::string note = "the exact form of mode " + text_of(band, "mode");
  if (!is_cookbook_mode(text_of(band, "mode")) &&
      std::find(shape->left_out.begin(), shape->left_out.end(), note) == shape->left_out.end())
    shape->left_out.push_back(note);
  return std::nullopt;
}

// The bands of one side. A solo band silences the others.
std::optional<Refusal> read_side(std::string_view text, const std::string& plugin,
                                 const json& equalizer, const std::string& side, Shape* shape) {
  const json* const bands = member(&equalizer, side);
  const double count = number(equalizer, "num-bands", 0.0);
  if (bands == nullptr || !bands->is_object() || !(count >= 0.0 && count <= kMaxFilters))
    return Refusal{Reason::kMalformed, line_of(text, {plugin, side}), side};
  const bool solo = std::any_of(bands->begin(), bands->end(),
                                [](const json& band) { return is_true(band, "solo"); });
  for (int i = 0; i < static_cast<int>(count); ++i) {
    const std::string key = "band" + std::to_string(i);
    const json* const band = member(bands, key);
    if (band == nullptr || (solo && !is_true(*band, "solo"))) continue;
    if (std::optional<Refusal> refusal = read_band(*band, key, shape)) {
      refusal->line = line_of(text, {plugin, side, key});
      return refusal;
    }
  }
  return std::nullopt;
}

bool same_filters(const std::vector<Filter>& a, const std::vector<Filter>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const Filter& x, const Filter& y) {
    return x.kind == y.kind && x.hz == y.hz && x.gain_db == y.gain_db && x.q == y.q;
  });
}

std::optional<Refusal> read_equalizer(std::string_view text, const std::string& plugin,
                                      const json& equalizer, Shape* shape) {
  // The chain may contain several; this one is added to them.
  Shape left;
  if (auto refusal = read_side(text, plugin, equalizer, "left", &left)) return refusal;
  if (is_true(equalizer, "split-channels")) {
    Shape right;
    if (auto refusal = read_side(text, plugin, equalizer, "right", &right)) return refusal;
    if (!same_filters(left.filters, right.filters))
      return Refusal{Reason::kUnsupported, line_of(text, {plugin, "right"}),
                     "channels that differ"};
  }
  const double gain_db =
      number(equalizer, "input-gain", 0.0) + number(equalizer, "output-gain", 0.0);
  shape->preamp_db += gain_db;
  if (!sane_gain(shape->preamp_db))
    return Refusal{Reason::kMalformed, line_of(text, {plugin, "input-gain"}), "input-gain"};
  if (shape->filters.size() + left.filters.size() > kMaxFilters)
    return Refusal{Reason::kUnsupported, line_of(text, {plugin, "num-bands"}), "too many filters"};
  shape->filters.insert(shape->filters.end(), left.filters.begin(), left.filters.end());
  shape->left_out.insert(shape->left_out.end(), left.left_out.begin(), left.left_out.end());
  return std::nullopt;
}

// The names of the effects in the order of the chain, or all effects if the order is not given.
std::vector<std::string> chain(const json& output) {
  std::vector<std::string> names;
  const json* const order = member(&output, "plugins_order");
  if (order != nullptr && order->is_array()) {
    for (const json& name : *order) {
      if (name.is_string()) names.push_back(name.get<std::string>());
    }
    return names;
  }
  for (const auto& [name, value] : output.items()) {
    if (value.is_object()) names.push_back(name);
  }
  return names;
}

}  // namespace

std::optional<Refusal> read_easyeffects(std::string_view text, Shape* shape) {
  const json document = json::parse(text, nullptr, false);
  if (document.is_discarded()) return Refusal{Reason::kNoEqualizer, 0, "no valid JSON"};
  const json* const output = member(&document, "output");
  bool known = false;
  for (const std::string& plugin :
       output != nullptr ? chain(*output) : std::vector<std::string>()) {
    const json* const effect = member(output, plugin);
    if (effect == nullptr || is_true(*effect, "bypass")) continue;
    if (!is_equalizer(plugin)) {
      shape->left_out.push_back(plugin);
      continue;
    }
    known = true;
    if (auto refusal = read_equalizer(text, plugin, *effect, shape)) return refusal;
  }
  if (!known) return Refusal{Reason::kNoEqualizer, 0, "no equalizer among its effects"};
  return std::nullopt;
}

}  // namespace curves
