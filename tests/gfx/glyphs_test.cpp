// Every text of every language can be shown with the fonts of this machine.
#include <pango/pangocairo.h>

#include "i18n_additions.h"
#include "i18n_data.h"
#include "test.h"

namespace {

TEST(glyphs, exist_for_every_text_of_every_language) {
  PangoContext* context = pango_font_map_create_context(pango_cairo_font_map_get_default());
  PangoLayout* layout = pango_layout_new(context);
  const auto expect_glyphs = [layout](const char* code, const char* text) {
    pango_layout_set_text(layout, text, -1);
    EXPECT_EQ(pango_layout_get_unknown_glyphs_count(layout), 0) << code << " " << text;
  };
  for (const char* font : {"Sans 14px", "Sans Semi-Bold 14px"}) {
    PangoFontDescription* description = pango_font_description_from_string(font);
    pango_layout_set_font_description(layout, description);
    pango_font_description_free(description);
    for (const i18n_data::Lang& lang : i18n_data::LANGS) {
      expect_glyphs(lang.code, lang.name);
      for (int i = 0; i < i18n_data::KEY_COUNT; ++i)
        expect_glyphs(lang.code, lang.values[i]);
    }
    for (const i18n_additions::Lang& lang : i18n_additions::LANGS) {
      for (int i = 0; i < i18n_additions::KEY_COUNT; ++i)
        expect_glyphs(lang.code, lang.values[i]);
    }
  }
  g_object_unref(layout);
  g_object_unref(context);
}

}  // namespace
