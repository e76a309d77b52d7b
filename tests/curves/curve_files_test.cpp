// What is read, what is refused and where, and the way out again. How good a fit is, fit_test.py
// says.
#include "curves/curve_files.h"
#include "test.h"

namespace {

using curves::Import;
using curves::Reason;
using curves::Refusal;

Import imported(const std::string& text, const std::string& name = "") {
  const curves::Result result = curves::import_text(text, name);
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    ADD_FAILURE() << curves::description(*refusal) << "\n" << text;
    return {};
  }
  return std::get<Import>(result);
}

void expect_refused(const std::string& text, Reason reason, int line) {
  const curves::Result result = curves::import_text(text, "");
  const auto* const refusal = std::get_if<Refusal>(&result);
  ASSERT_NE(refusal, nullptr) << text;
  EXPECT_EQ(refusal->reason, reason) << text;
  EXPECT_EQ(refusal->line, line) << text;
}

// The parts of a text between bars.
std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, '|');)
    parts.push_back(part);
  return parts;
}

std::string utf16(const std::string& ascii, bool big) {
  std::string bytes = big ? "\xFE\xFF" : "\xFF\xFE";
  for (const char c : ascii)
    bytes += big ? std::string{'\0', c} : std::string{c, '\0'};
  return bytes;
}

// A preset whose equalizer has these further members, one a line from the third line on.
std::string easyeffects(const std::string& members, const std::string& plugin = "equalizer#0") {
  return "{\"output\":{\"plugins_order\":[\"limiter#0\",\"" + plugin +
         "\",\"gone\"],\n\"limiter#0\":{},\"" + plugin +
         "\":{\n\"input-gain\":-2.0,\"num-bands\":2,\n" + members + "}}}";
}

std::string bell(int band, const std::string& more, double gain_db = 3.5) {
  return "\"band" + std::to_string(band) +
         "\":{\"type\":\"Bell\",\"mode\":\"APO (DR)\",\"gain\":" + std::to_string(gain_db) +
         ",\"frequency\":1000,\"q\":1.41" + more + "}";
}

TEST(Reading, every_spelling_and_encoding_of_a_file_gives_its_curve) {
  const std::string filter = "Filter 1: ON PK Fc 1000 Hz Gain 6.4 dB Q 1.41\n";
  const std::string plain = "Preamp: -6.5 dB\n" + filter;
  for (const std::string& text : std::vector<std::string>{
           plain,
           "\xEF\xBB\xBF" + plain,
           utf16(plain, false),
           utf16(plain, true),
           "# f\xFCr den Kopfh\xF6rer\r\n" + plain,
           "preamp:-6.5\r\nFILTER : on peq fc +1,000.0hz GAIN +6.4DB q1.414",
           "Preamp: -4 dB\nPreamp: -2.5dB # and more\nFilter 7: OFF PK Fc 9 Hz\n" + filter,
           "Notes: none\n\nEqualiser: Generic\nFilter  2: ON  None\n Preamp :\t-6.5 dB\n" +
               std::string("Filter  1: ON  Modal\u00A0  Fc   1000 Hz  Gain   6.40 dB  Q  1.41 T60 "
                           "target 5 ms"),
           "Preamp: -6.5 dB\nFilter: ON PK Q 1.41 Gain 6.4 dB Fc 1e3 Hz",
       }) {
    const Import import = imported(text);
    EXPECT_TRUE(import.exact) << text;
    EXPECT_THAT(import.curve.gain, ElementsAre(0, 0, 0, 0, 0, 6.4F, 0, 0, 0, 0)) << text;
    EXPECT_EQ(import.curve.preamp, -6.5F) << text;
  }
}

TEST(Reading, what_a_line_leaves_open_is_what_the_format_says) {
  for (const auto& [open, said] : std::vector<std::pair<std::string, std::string>>{
           {"LS Fc 90 Hz Gain 5 dB", "LSC Fc 90 Hz Gain 5 dB Q 0.66667"},
           {"HSC 12 dB/oct Fc 3000 Hz Gain -5 dB", "HS Fc 3000 Hz Gain -5 dB Q 0.70711"},
           {"LS 6dB Fc 90 Hz Gain 6 dB", "LS Fc 90 Hz Gain 6 dB Q 0.49266"},
           {"PK Fc 80 Hz Gain 5 dB BW Oct 1", "PK Fc 80 Hz Gain 5 dB Q 1.41420"},
           {"HP Fc 40 Hz", "HPQ Fc 40 Hz Q 0.70711"},
           {"BP Fc 400 Hz", "BP Fc 400 Hz Q 0.70711"},
       }) {
    const Import a = imported("Filter: ON " + open);
    const Import b = imported("Filter: ON " + said);
    EXPECT_TRUE(eq::same(a.curve, b.curve)) << open;
    EXPECT_NEAR(a.rms_db, b.rms_db, 1e-3) << open;
  }
  const Import flat = imported("GraphicEQ: 1000 2.5;");
  EXPECT_THAT(flat.curve.gain, Each(0.0F));
  const Import sorted = imported("GraphicEQ: 20 0; 200 4; 2000 0");
  for (const char* same : {"GraphicEQ: 2000 0; 20 0; 200 4; 200 4;",
                           "GraphicEQ: 20 2; 200 3; 2000 -1\nGraphicEQ: 20 -2; 200 1; 2000 1"})
    EXPECT_TRUE(eq::same(imported(same).curve, sorted.curve)) << same;
}

TEST(Reading, the_preamp_keeps_everything_below_full_scale) {
  for (const auto& [text, preamp_db] : std::vector<std::pair<std::string, float>>{
           {"Filter: ON PK Fc 1000 Hz Gain 6 dB Q 1.41", -6.0F},
           {"Preamp: -2 dB\nFilter: ON PK Fc 1000 Hz Gain 6 dB Q 1.41", -6.0F},
           {"Preamp: -8 dB\nFilter: ON PK Fc 1000 Hz Gain 6 dB Q 1.41", -8.0F},
           {"Preamp: -30 dB\nFilter: ON PK Fc 1000 Hz Gain 6 dB Q 1.41", -12.0F},
           {"GraphicEQ: 20 -7; 20000 -7", -7.0F},
       })
    EXPECT_EQ(imported(text).curve.preamp, preamp_db) << text;
}

TEST(Reading, a_preset_of_easyeffects_is_its_equalizer) {
  const std::string left = "\"left\":{" + bell(0, "") + "},\"right\":{}";
  const std::string muted = "\"left\":{" + bell(0, "") + "," + bell(1, ",\"mute\":true") + "}";
  const std::string solo = "\"left\":{" + bell(0, ",\"solo\":true") + "," + bell(1, "") + "}";
  const std::string split =
      "\"split-channels\":true," + left.substr(0, left.size() - 2) + "{" + bell(0, "") + "}";
  for (const std::string& text :
       {easyeffects(left), easyeffects(left, "equalizer"), easyeffects(muted), easyeffects(solo),
        easyeffects(split), easyeffects("\"output-gain\":0," + left)}) {
    const Import import = imported(text);
    EXPECT_TRUE(import.exact) << text;
    EXPECT_EQ(import.curve.gain[5], 3.5F) << text;
    EXPECT_EQ(import.curve.preamp, -3.5F) << text;
    EXPECT_THAT(import.left_out, ElementsAre("limiter#0"));
  }
  EXPECT_EQ(imported(easyeffects("\"output-gain\":-2.5," + left)).curve.preamp, -4.5F);
  const Import other_mode =
      imported(easyeffects("\"left\":{" + bell(0, ",\"mode\":\"RLC (BT)\"") + "}"));
  EXPECT_EQ(curves::description(other_mode),
            "its bands are ours; left out: limiter#0, the exact form of mode RLC (BT)");

  expect_refused(easyeffects("\"left\":{\n" + bell(0, ",\"slope\":\"x2\"") + "}"),
                 Reason::kUnsupported, 5);
  expect_refused(
      easyeffects("\"left\":{" + bell(0, "") + ",\n" + bell(1, ",\"type\":\"Notch\"") + "}"),
      Reason::kUnsupported, 5);
  expect_refused(easyeffects("\"split-channels\":true,\"left\":{" + bell(0, "") +
                             "},\n\"right\":{" + bell(0, "", 1.0) + "}"),
                 Reason::kUnsupported, 5);
  expect_refused(easyeffects("\"left\":{" + bell(0, ",\"q\":\"1\"") + "}"), Reason::kMalformed, 4);
  expect_refused(easyeffects("\"left\":[]"), Reason::kMalformed, 4);
  expect_refused(easyeffects("\"bypass\":true," + left), Reason::kNoEqualizer, 0);
  expect_refused(easyeffects(left, "filter#0"), Reason::kNoEqualizer, 0);
  for (const char* const json :
       {"{", "{}", R"({"output":[]})", R"({"input":{"equalizer#0":{}}})",
        R"({"output":{"equalizer#0":1e999}})", R"({"output":{"equalizer#0":NaN}})"})
    expect_refused(json, Reason::kNoEqualizer, 0);
}

TEST(Refusing, names_the_line_and_the_reason) {
  const std::string ok = "Filter 1: ON PK Fc 1000 Hz Gain 6 dB Q 1.41\n";
  for (const char* const line : {"Channel: L", "DEVICE: Speakers", "include: more.txt", "Copy: L=R",
                                 "If: 1", "Stage: pre-mix", "Filter 2: ON NO Fc 50 Hz",
                                 "Filter: ON AP Fc 900 Hz Q 1", "Filter: ON XYZ Fc 900 Hz"})
    expect_refused(ok + "\n" + line, Reason::kUnsupported, 3);
  for (const std::string& filter :
       split("PK Fc 1000 Hz Gain 6 dB|PK Fc nan Hz Gain 6 dB Q 1|PK Fc 1000 Hz Gain inf dB Q 1|"
             "PK Fc 1000 Hz Gain 1e9 dB Q 1|PK Fc 24000 Hz Gain 1 dB Q 1|PK Fc -9 Hz Gain 1 dB Q 1|"
             "PK Fc 9 Hz Gain 1 dB Q 0|PK Fc 9 Hz Gain 1,5 dB Q 1|PK Fc 9 Hz Gain 1.2.3 dB Q 1|"
             "PK Fc 9 Hz Gain 3 dB Q 1 and more|PK Fc 9 Hz Gain 3 dB BW 60 1|"
             "PK 6dB Fc 9 Hz Gain 3 dB Q 1|LS 99dB Fc 90 Hz Gain 30 dB"))
    expect_refused(ok + "Filter: ON " + filter, Reason::kMalformed, 2);
  for (const std::string& line :
       split("Filter: maybe|Filter:|Preamp: none|Preamp: -3 dB or so|Preamp: 1e400|GraphicEQ:|"
             "GraphicEQ: 25|GraphicEQ: 25 3; x|GraphicEQ: 25 3 30 4|GraphicEQ: 0 3|"
             "GraphicEQ: 25 1e99"))
    expect_refused(ok + line, Reason::kMalformed, 2);

  std::string many;
  for (int i = 0; i < curves::kMaxFilters; ++i)
    many += "Filter: ON PK Fc 90 Hz Gain 0.01 dB Q 3\n";
  imported(many);
  expect_refused(many + ok, Reason::kUnsupported, curves::kMaxFilters + 1);
}

TEST(Refusing, what_is_no_equalizer_file_harms_nothing) {
  for (const std::string& text :
       {std::string(), std::string("Dear reader: this is a letter.\n"),
        std::string("\x7F"
                    "ELF: 1"),
        std::string("Preamp: -3\0 dB", 14),
        std::string("\xFF\xFE"
                    "P",
                    3),
        std::string("Preamp: -3 \x81"), std::string(curves::kMaxBytes, '['),
        '{' + std::string(curves::kMaxBytes - 1, '['),
        "{\"a\":" + std::string(curves::kMaxBytes / 4, '[') +
            std::string(curves::kMaxBytes / 4, ']') + "}"})
    expect_refused(text, Reason::kNoEqualizer, 0);
  expect_refused(std::string(curves::kMaxBytes + 1, ' '), Reason::kTooLarge, 0);

  const Directory dir;
  const std::string pipe = dir.path() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& path : {pipe, dir.path().string(), pipe + "-missing"}) {
    const curves::Result result = curves::import_file(path);
    EXPECT_EQ(std::get<Refusal>(result).reason, Reason::kUnreadable) << path;
  }
  const Refusal refusal{Reason::kUnsupported, 3, "filter\ttype"};
  EXPECT_EQ(curves::description(refusal), "line 3: cannot be imported: filter type");
}

TEST(Naming, proposes_the_files_name) {
  for (const auto& [path, name] : std::vector<std::pair<std::string, std::string>>{
           {"/home/x/HD 600 FixedBandEQ.txt", "HD 600"},
           {"K371 ParametricEQ.txt", "K371"},
           {"a.b/WH-1000XM4 GraphicEQ.txt", "WH-1000XM4"},
           {"Wohnzimmer v1.2.json", "Wohnzimmer v1.2"},
           {"/tmp/.txt", ""},
           {" \n\xFF.txt", "\uFFFD"},
           {std::string(40, 'n') + ".txt", std::string(32, 'n')},
       })
    EXPECT_EQ(imported("Preamp: 0 dB", path).name, name) << path;
}

TEST(Writing, what_is_written_is_read_as_it_was) {
  const eq::Curve curve{{6.9F, -12, 0.5F, -0.25F, -0.0F, 12, 3, 0, 1, -6.5F}, -12};
  const std::string text = curves::apo_text(curve);
  EXPECT_THAT(text, StartsWith("Preamp: -12.0 dB\nFilter 1: ON PK Fc 31 Hz Gain 6.9 dB Q 1.41\n"));
  EXPECT_THAT(text, HasSubstr("Gain -0.25 dB"));
  EXPECT_THAT(text, EndsWith("Filter 10: ON PK Fc 16000 Hz Gain -6.5 dB Q 1.41\n"));
  const Import back = imported(text);
  EXPECT_TRUE(back.exact);
  EXPECT_TRUE(eq::same(back.curve, curve));
}

TEST(Describing, tells_the_error) {
  const Import import = imported("Filter: ON PK Fc 8000 Hz Gain 6 dB Q 6");
  EXPECT_THAT(curves::description(import),
              MatchesRegex("±0\\.[4-6] dB rms, worst [1-4]\\.[0-9] dB at [78](\\.[0-9]+)? kHz"));
}

}  // namespace
