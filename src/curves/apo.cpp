// DESIGN: one command a line, read from left to right without looking back. Lines without a command
// are comments and skipped; a known command is either understood completely or the file is refused.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <numbers>
#include <string>

#include "shape.h"

namespace curves {
namespace {

constexpr double kPlainShelfQ = 2.0 / 3.0;
constexpr double kPlainPassQ = std::numbers::sqrt2 / 2.0;
constexpr double kSteepestDbPerOctave = 12.0;  // slope 1
constexpr double kMostGraphHz = 1e6;

// Commands that change the meaning of later lines, or do more than an equalizer curve can.
constexpr std::array<std::string_view, 7> kForeign = {"channel", "device", "include",    "copy",
                                                      "if",      "stage",  "convolution"};

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

std::string lower(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

// Reads words and numbers from the front of a line; blanks between them are optional.
class Scanner {
 public:
  explicit Scanner(std::string_view line) : rest_(line) {}

  bool at_end() {
    skip_blanks();
    return rest_.empty();
  }

  // The letters up to the next other character, in lower case.
  std::string word() {
    skip_blanks();
    const auto* const end = std::find_if_not(rest_.begin(), rest_.end(), is_letter);
    return lower(take(static_cast<std::size_t>(end - rest_.begin())));
  }

  // Skips `expected` (lower case) if it comes next.
  bool word_is(std::string_view expected) {
    Scanner ahead = *this;
    if (ahead.word() != expected) return false;
    *this = ahead;
    return true;
  }

  bool mark_is(char expected) {
    skip_blanks();
    if (rest_.empty() || rest_.front() != expected) return false;
    take(1);
    return true;
  }

  // Reads a number if one comes next; NaN if the digits are not a valid number.
  bool number(double* value) {
    skip_blanks();
    std::size_t size = rest_.find_first_not_of("0123456789+-.,eE");
    if (size == std::string_view::npos) size = rest_.size();
    if (size == 0 || is_letter(rest_.front())) return false;
    *value = to_number(take(size));
    return true;
  }

 private:
  void skip_blanks() {
    constexpr std::string_view kNoBreakSpace = "\u00A0";
    for (;;) {
      if (!rest_.empty() && (rest_.front() == ' ' || rest_.front() == '\t')) {
        take(1);
      } else if (rest_.starts_with(kNoBreakSpace)) {
        take(kNoBreakSpace.size());
      } else {
        return;
      }
    }
  }

  std::string_view take(std::size_t size) {
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
  }

  // A comma groups thousands. Elsewhere it is ambiguous, so the number is invalid.
  static double to_number(std::string_view text) {
    if (text.front() == '+') text.remove_prefix(1);
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] != ',') {
        plain += text[i];
        continue;
      }
      const auto digit_at = [&](std::size_t at) { return at < text.size() && is_digit(text[at]); };
      const bool groups = i > 0 && is_digit(text[i - 1]) && digit_at(i + 1) && digit_at(i + 2) &&
                          digit_at(i + 3) && !digit_at(i + 4) &&
                          plain.find('.') == std::string::npos;
      if (!groups) return NAN;
    }
    double value = NAN;
    const char* const end = plain.data() + plain.size();
    const auto [parsed, error] = std::from_chars(plain.data(), end, value);
    return error == std::errc() && parsed == end ? value : NAN;
  }

  std::string_view rest_;
};

Refusal unsupported(const std::string& what) {
  return {Reason::kUnsupported, 0, what};
}

Refusal malformed(const std::string& what) {
  return {Reason::kMalformed, 0, what};
}

struct Type {
  std::string_view name;
  Kind kind;
  double plain_q;  // if the line has none; 0: it must have one
};

constexpr std::array kTypes = {
    Type{"pk", Kind::kPeak, 0.0},
    Type{"peq", Kind::kPeak, 0.0},
    Type{"modal", Kind::kPeak, 0.0},
    Type{"lp", Kind::kLowPass, kPlainPassQ},
    Type{"lpq", Kind::kLowPass, kPlainPassQ},
    Type{"hp", Kind::kHighPass, kPlainPassQ},
    Type{"hpq", Kind::kHighPass, kPlainPassQ},
    Type{"bp", Kind::kBandPass, kPlainPassQ},
    Type{"ls", Kind::kLowShelf, kPlainShelfQ},
    Type{"lsc", Kind::kLowShelf, kPlainShelfQ},
    Type{"hs", Kind::kHighShelf, kPlainShelfQ},
    Type{"hsc", Kind::kHighShelf, kPlainShelfQ},
};

bool is_shelf(Kind kind) {
  return kind == Kind::kLowShelf || kind == Kind::kHighShelf;
}

// The values of a filter as given on its line; NaN if missing.
struct Values {
  double slope_db = NAN;  // per octave
  double hz = NAN;
  double gain_db = NAN;
  double q = NAN;
  double octaves = NAN;
};

// Reads them in any order. False at anything else.
bool read_values(Scanner* line, Values* v) {
  if (line->number(&v->slope_db)) {
    if (!line->word_is("db")) return false;
    if (line->mark_is('/')) line->word_is("oct");
  }
  while (!line->at_end()) {
    const std::string name = line->word();
    if (name == "fc") {
      if (!line->number(&v->hz)) return false;
      line->word_is("hz");
    } else if (name == "gain") {
      if (!line->number(&v->gain_db)) return false;
      line->word_is("db");
    } else if (name == "q") {
      if (!line->number(&v->q)) return false;
    } else if (name == "bw") {
      if (!line->word_is("oct") || !line->number(&v->octaves)) return false;
    } else {
      return name == "t";  // the decay time that a modal filter was made for
    }
  }
  return true;
}

double quality(const Type& type, const Values& v) {
  if (!std::isnan(v.q)) return v.q;
  if (!std::isnan(v.octaves)) return q_of_bandwidth(v.octaves, v.hz);
  if (!std::isnan(v.slope_db)) return q_of_slope(v.slope_db / kSteepestDbPerOctave, v.gain_db);
  return type.plain_q;
}

std::optional<Refusal> read_filter(Scanner line, Shape* shape) {
  const std::string state = line.word();
  if (state == "off") return std::nullopt;
  if (state != "on") return malformed("neither ON nor OFF");
  const std::string name = line.word();
  if (name == "none") return std::nullopt;
  const auto* const type =
      std::find_if(kTypes.begin(), kTypes.end(), [&](const Type& t) { return t.name == name; });
  if (type == kTypes.end()) return unsupported("filter type " + name);
  if (shape->filters.size() >= kMaxFilters) return unsupported("too many filters");

  Values v;
  if (!read_values(&line, &v)) return malformed("filter");
  const bool has_gain = type->kind == Kind::kPeak || is_shelf(type->kind);
  if (!has_gain) v.gain_db = 0.0;
  if (!std::isnan(v.slope_db) && !is_shelf(type->kind)) return malformed("slope");
  if (!sane_hz(v.hz)) return malformed("frequency");
  if (!sane_gain(v.gain_db)) return malformed("gain");
  const double q = quality(*type, v);
  if (!sane_q(q)) return malformed("Q");
  shape->filters.push_back({type->kind, v.hz, v.gain_db, q});
  return std::nullopt;
}

std::optional<Refusal> read_preamp(Scanner line, Shape* shape) {
  double gain_db = NAN;
  if (!line.number(&gain_db)) return malformed("preamp");
  line.word_is("db");
  if (!line.at_end() || !sane_gain(gain_db)) return malformed("preamp");
  shape->preamp_db += gain_db;
  return sane_gain(shape->preamp_db) ? std::nullopt : std::optional(malformed("preamp"));
}

std::optional<Refusal> read_graph(Scanner line, Shape* shape) {
  Graph graph;
  while (!line.at_end()) {
    Point p;
    if (!graph.empty() && !line.mark_is(';')) return malformed("point");
    if (line.at_end()) break;
    if (!line.number(&p.hz) || !line.number(&p.gain_db)) return malformed("point");
    if (!(p.hz > 0.0 && p.hz <= kMostGraphHz)) return malformed("frequency");
    if (!sane_gain(p.gain_db)) return malformed("gain");
    graph.push_back(p);
  }
  if (graph.empty()) return malformed("no points");
  std::stable_sort(graph.begin(), graph.end(),
                   [](const Point& a, const Point& b) { return a.hz < b.hz; });
  shape->graphs.push_back(std::move(graph));
  return std::nullopt;
}

// `known` becomes true at a command that belongs to an equalizer.
std::optional<Refusal> read_line(std::string_view text, Shape* shape, bool* known) {
  text = text.substr(0, text.find('#'));
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const Scanner values(text.substr(colon + 1));
  Scanner head(text.substr(0, colon));
  const std::string command = head.word();
  if (command == "filter") {
    double number = NAN;
    head.number(&number);
  }
  if (!head.at_end()) return std::nullopt;
  if (std::find(kForeign.begin(), kForeign.end(), command) != kForeign.end())
    return unsupported(command);
  const auto read = command == "filter"      ? read_filter
                    : command == "preamp"    ? read_preamp
                    : command == "graphiceq" ? read_graph
                                             : nullptr;
  if (read == nullptr) return std::nullopt;
  *known = true;
  return read(values, shape);
}

}  // namespace

std::optional<Refusal> read_apo(std::string_view text, Shape* shape) {
  bool known = false;
  for (int line = 1; !text.empty(); ++line) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view content = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (content.ends_with('\r')) content.remove_suffix(1);
    if (std::optional<Refusal> refusal = read_line(content, shape, &known)) {
      refusal->line = line;
      return refusal;
    }
  }
  if (!known) return Refusal{Reason::kNoEqualizer, 0, ""};
  return std::nullopt;
}

}  // namespace curves
