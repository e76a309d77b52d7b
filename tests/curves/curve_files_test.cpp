// What is read, what is refused and where, and the way out again. How good a fit is, fit_test.py
// says.
#include "curves/curve_files.h"

#include "approved.h"

namespace {

using approved::number;

std::string told(const curves::Result& result) {
  if (const auto* const refusal = std::get_if<curves::Refusal>(&result))
    return "refused, reason " + std::to_string(static_cast<int>(refusal->reason)) + ", " +
           curves::description(*refusal) + "\n";
  const auto& import = std::get<curves::Import>(result);
  std::string text = "\"" + import.name + "\" preamp " + number(import.curve.preamp, 2) + " gains";
  for (const float gain : import.curve.gain)
    text += " " + number(gain, 2);
  return text + "; " + curves::description(import) + "\n";
}

std::string utf16(const std::string& ascii, bool big) {
  std::string bytes = big ? "\xFE\xFF" : "\xFF\xFE";
  for (const char c : ascii)
    bytes += big ? std::string{'\0', c} : std::string{c, '\0'};
  return bytes;
}

// "repeat 3 x" is "xxx".
std::string content(approved::Action& a) {
  std::string text;
  std::getline(a >> std::ws, text);
  text = approved::unescaped(text);
  int times = 0;
  std::istringstream words(text);
  if (std::string first; !(words >> first >> times) || first != "repeat") return text;
  std::string part;
  std::string all;
  std::getline(words >> std::ws, part, '\0');
  for (; times > 0; --times)
    all += part;
  return all;
}

std::string act(approved::Action& a) {
  if (a.is("little") || a.is("big"))
    return told(curves::import_text(utf16(content(a), a.is("big")), "a.txt"));
  if (a.is("name")) return told(curves::import_text("Preamp: 0 dB", content(a)));
  if (a.is("file")) return told(curves::import_file(content(a)));
  if (a.is("read")) return told(curves::import_text(content(a), "a.txt"));
  if (!a.is("write")) return "";
  eq::Curve curve;
  a >> curve.preamp;
  for (float& gain : curve.gain)
    a >> gain;
  const std::string text = curves::apo_text(curve);
  return text + told(curves::import_text(text, ""));
}

TEST(CurveFiles, are_read_refused_and_written_as_they_were) {
  approved::expect("files.txt", act);
}

TEST(CurveFiles, that_never_end_are_not_waited_for) {
  const Directory dir;
  const std::string pipe = dir.path() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_THAT(told(curves::import_file(pipe)), StartsWith("refused, reason 0"));
}

}  // namespace
