// Every text of every language can be shown with the fonts of this machine.
#include <gtest/gtest.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> languages() {
  std::vector<fs::path> all;
  for (const auto& entry : fs::directory_iterator(VELMORA_LANGUAGES)) {
    if (entry.path().extension() == ".po") all.push_back(entry.path());
  }
  std::sort(all.begin(), all.end());
  return all;
}

// What stands between the quotes of a line. Of the escapes, only the line break and the quote
// matter.
std::string text_between_quotes(const std::string& line) {
  const std::size_t first = line.find('"');
  const std::size_t last = line.rfind('"');
  std::string out;
  for (std::size_t i = first + 1; i < last; ++i) {
    if (line[i] != '\\') {
      out += line[i];
    } else if (++i < last) {
      out += line[i] == 'n' ? '\n' : line[i];
    }
  }
  return out;
}

// The translations, and the language's own header, which is plain English.
std::vector<std::string> translations(const fs::path& po) {
  std::vector<std::string> all;
  std::ifstream in(po);
  bool inside = false;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("msgstr ")) all.emplace_back();
    inside = line.starts_with("msgstr ") || (inside && line.starts_with('"'));
    if (inside) all.back() += text_between_quotes(line);
  }
  return all;
}

void expect_glyphs(PangoLayout* layout, const std::vector<std::string>& texts, int weight) {
  PangoFontDescription* font = pango_font_description_from_string("Sans 14px");
  pango_font_description_set_weight(font, static_cast<PangoWeight>(weight));
  pango_layout_set_font_description(layout, font);
  pango_font_description_free(font);
  for (const std::string& s : texts) {
    pango_layout_set_text(layout, s.c_str(), -1);
    EXPECT_EQ(pango_layout_get_unknown_glyphs_count(layout), 0) << s;
  }
}

TEST(glyphs, exist_for_every_text_of_every_language) {
  PangoContext* context = pango_font_map_create_context(pango_cairo_font_map_get_default());
  PangoLayout* layout = pango_layout_new(context);
  const std::vector<fs::path> all = languages();
  EXPECT_GT(all.size(), 40U);
  for (const fs::path& po : all) {
    SCOPED_TRACE(po.stem());
    const std::vector<std::string> texts = translations(po);
    EXPECT_GT(texts.size(), 50U);
    for (const int weight : {400, 600})
      expect_glyphs(layout, texts, weight);
  }
  g_object_unref(layout);
  g_object_unref(context);
}

}  // namespace
