// Approved results: a text file in which each line "> ..." is an action, and the lines below it are
// what followed from it when somebody last read and approved them. CONTRIBUTING says how to renew.
#pragma once

#include "test.h"

namespace approved {

using Lines = std::vector<std::string>;

inline Lines lines_of(const std::string& text) {
  Lines lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}

// One decimal unless said otherwise: what differs less may come from another compiler or library.
inline std::string number(double x, int decimals = 1) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.*f", decimals, x + 1e-7);
  const std::string result = text.data();
  return result.find_first_not_of("-0.") == std::string::npos ? "0" : result;
}

// An action is a name and words, read one after another.
class Action : public std::istringstream {
 public:
  explicit Action(const std::string& line) : std::istringstream(line) { *this >> name_; }

  // Whether it is that one; one that nobody asks about fails.
  bool is(const std::string& name) {
    known_ = known_ || name == name_;
    return name == name_;
  }
  [[nodiscard]] bool known() const { return known_; }

  // The next word, as a number where that is asked for; empty or 0 where none is left.
  template <class Word = int>
  Word next() {
    Word word{};
    *this >> word;
    return word;
  }
  std::string word() { return next<std::string>(); }
  // All that is left. " / " stands for the end of a line.
  std::string rest() {
    std::string all;
    std::getline(*this >> std::ws, all);
    for (std::size_t at; (at = all.find(" / ")) != std::string::npos;)
      all.replace(at, 3, "\n");
    return all;
  }

 private:
  std::string name_;
  bool known_ = false;
};

// Of an action: "\n" and "\x7f" stand for the byte.
inline std::string unescaped(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool byte = text.compare(i, 2, "\\x") == 0;
    const bool end = text.compare(i, 2, "\\n") == 0;
    result += byte  ? static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16))
              : end ? '\n'
                    : text[i];
    i += byte ? 3 : end ? 1 : 0;
  }
  return result;
}

// What is no text, so that it can be looked at.
inline std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    std::array<char, 8> hex{};
    std::snprintf(hex.data(), hex.size(), "\\x%02x", static_cast<unsigned char>(c));
    result += static_cast<unsigned char>(c) < ' ' || c == '\x7f' ? hex.data() : std::string(1, c);
  }
  return result;
}

// What is no longer in a list of lines, and what is new in it, whatever their order.
inline std::string difference(Lines before, Lines now) {
  std::string text;
  const auto missing = [&text](const Lines& lines, Lines from, const char* sign) {
    for (const std::string& line : lines) {
      const auto found = std::ranges::find(from, line);
      if (found == from.end()) text += sign + line + "\n";
      if (found != from.end()) from.erase(found);
    }
  };
  missing(before, now, "- ");
  missing(now, before, "+ ");
  return text;
}

// The first lines of a text, and of all the others a number that changes with any of them.
// VELMORA_APPROVE=whole leaves out nothing, to see what is behind a number that has changed.
inline std::string beginning(const std::string& text, std::size_t most) {
  const char* const how = std::getenv("VELMORA_APPROVE");
  const Lines lines = lines_of(text);
  if (lines.size() <= most || (how != nullptr && how == "whole"s)) return text;
  std::string result;
  std::uint32_t hash = 2166136261U;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i < most) result += lines[i] + "\n";
    for (const char c : lines[i] + "\n")
      hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
  }
  return result + "... " + std::to_string(lines.size() - most) + " more, number " +
         std::to_string(hash) + "\n";
}

// Carries out the actions of a file and compares what follows from each. With VELMORA_APPROVE set
// the file is written instead.
inline void expect(const std::string& name, const std::function<std::string(Action&)>& follow) {
  const fs::path path = fs::path(APPROVED_DIR) / name;
  const std::string approved = read_file(path);
  std::string now;
  for (const std::string& line : lines_of(approved)) {
    if (line.starts_with("> ") || line.starts_with("# ")) now += line + "\n";
    if (!line.starts_with("> ")) continue;
    Action action(line.substr(2));
    try {
      now += follow(action);
    } catch (const std::exception& error) {
      now += "failed: "s + error.what() + "\n";
    }
    EXPECT_TRUE(action.known()) << line;
  }
  ASSERT_FALSE(now.empty()) << path;
  if (std::getenv("VELMORA_APPROVE") != nullptr) return write_file(path, now);
  const Lines old_lines = lines_of(approved);
  const Lines new_lines = lines_of(now);
  std::string action;
  for (std::size_t i = 0; i < std::max(old_lines.size(), new_lines.size()); ++i) {
    const std::string was = i < old_lines.size() ? old_lines[i] : "(the end)";
    const std::string is = i < new_lines.size() ? new_lines[i] : "(the end)";
    if (is.starts_with("> ")) action = is;
    ASSERT_EQ(was, is) << path << ":" << i + 1 << ", after " << action;
  }
}

}  // namespace approved
