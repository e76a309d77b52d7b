// Texts of every language find room where the layout gives them no ellipsis, in all views at their
// reference sizes.
#include "app/utf8.h"
#include "ui/lists.h"
#include "window.h"

namespace {

class languages : public Window {
 protected:
  using Texts = std::initializer_list<std::string>;

  // Paints the view, open and collapsed, in every language and hands it to `check`.
  template <typename Check>
  void each(Check check) {
    for (const i18n::Language& l : i18n::languages()) {
      i18n::set_language(l.code);
      for (const bool collapsed : {false, true}) {
        s_.collapsed = collapsed;
        paint();
        SCOPED_TRACE(l.code + (collapsed ? " collapsed" : ""));
        check();
      }
    }
  }
  static void room(float width, float size, bool bold, const Texts& keys) {
    for (const std::string& key : keys)
      EXPECT_LE(gfx::text_width(i18n::T(key.c_str()), size, bold), width) << key;
  }
  // How high texts are one below the other.
  static float height(float width, float size, const Texts& texts) {
    float sum = 0;
    for (const std::string& text : texts)
      sum += gfx::wrapped_height(text, size, width);
    return sum;
  }
};

TEST_F(languages, fit_the_views) {
  each([&] {
    const ui::Layout& l = layout();
    room(at(ui::kHitMute).x - 12 - l.spectrum.x - 14, 12, true, {"spectrum"});
    room(at(ui::kHitPower).w - 44, 10.5F, true, {"power_on", "power_off"});
    for (const eq::PresetDef& preset : eq::kPresets)
      room(at(ui::kHitPresets).w - 50, 14, false, {preset.key, "preset_custom"});
    if (s_.collapsed) return;
    room(l.hint.w, 12, false, {"hint_reset", "status_bypass"});
    room(94, 10.5F, false, {"preamp"});
    room(at(ui::kHitDevice).w - 50, 10.5F, false, {"device"});
    room(at(ui::kHitDevice).w - 50, 14, false, {"device_follow"});
    room(l.status.w - 19, 12, false, {"status_active", "status_bypass", "status_connecting"});
    room(56, 8, false, {"power_on", "power_off"});  // in the compact view
  });
}

TEST_F(languages, fit_the_settings_panel) {
  ui::open_settings();
  each([&] {
    const ui::SettingsLayout& p = ui::state().panel;
    EXPECT_TRUE(within(view(), p.panel));
    room(p.panel.w - at(ui::kHitPanelClose).w - 52, 18, true, {"settings"});
    room(at(ui::kHitAutostart).w - 56, 11, false, {"autostart", "eq_on_start", "on_top"});
    room(at(ui::kHitLanguage).w - 198, 11, false, {"language"});
    room(138, 13, false, {"language_auto"});
    EXPECT_EQ(p.about.x < p.appearance.x, i18n::rtl());
    EXPECT_EQ(p.language_button.x == at(ui::kHitLanguage).x, i18n::rtl());
    EXPECT_EQ(at(ui::kHitLight).x == p.appearance.x, i18n::rtl());
    room(p.appearance.w - at(ui::kHitDark).w - at(ui::kHitLight).w - 14, 11, false, {"appearance"});
    room(at(ui::kHitDark).w - 10, 10, true, {"theme_dark", "theme_light"});
    room(p.about.w, 12, false, {"about_version"});
    const std::string parts = std::string(settings::seal_library()) + " — CC0 / BSD-2-Clause";
    const Texts about = {i18n::T("about_tagline"), i18n::T("about_disclaimer_title"),
                         i18n::T("about_disclaimer"), i18n::T("third_party"), parts};
    EXPECT_LE(height(p.about.w, 9.5F, about) + 16, at(ui::kHitHomepage).y - 6 - p.about.y - 46);
  });
}

TEST_F(languages, fit_the_save_dialog_the_lists_and_the_note_about_a_crash) {
  ui::open_presets();
  each([&] {
    EXPECT_TRUE(within(view(), shown().rect));
    room(shown().rect.w - 24, 11, true, {"presets_builtin", "presets_user"});
    for (const eq::PresetDef& preset : eq::kPresets)
      room(shown().rect.w - 74, 13, false, {preset.key});
  });
  ui::open_settings();
  ui::open_languages();
  each([&] {
    EXPECT_FLOAT_EQ(shown().rect.w, ui::state().panel.language_button.w);
    ui::open_languages();  // the first name is in another language in the next round
  });
  ui::open_save();
  each([&] {
    const gfx::Rect card = ui::state().dialog.card;
    const gfx::Rect name = at(ui::kHitSaveName);
    const gfx::Rect cancel = at(ui::kHitSaveCancel);
    EXPECT_TRUE(within(card, at(ui::kHitSaveOk)) && within(card, cancel));
    room(name.w, 17, true, {"save_preset"});
    room(name.w, 12, false, {"preset_name"});
    for (const char* key : {"preset_overwrite", "preset_full"})
      EXPECT_LE(height(name.w, 12, {i18n::T(key)}), cancel.y - name.y - name.h - 8) << key;
    const std::string proposal = ui::with_argument(i18n::T("preset_default_name"), "100");
    EXPECT_LE(utf8::count(proposal), kMaxPresetName);
  });
  ui::set_crash_report("what happened");
  each([&] {
    const gfx::Rect card = ui::state().crash.card;
    EXPECT_TRUE(within(view(), card));
    for (const ui::Element& e : ui::top_layer().elements)
      EXPECT_TRUE(within(card, e.rect));
    room(card.w - 78, 13, true, {"crash_title"});
  });
}

}  // namespace
