// Texts of every language find room where the layout gives them no ellipsis, in all views at their
// reference sizes.
#include <cmath>

#include "window.h"

namespace {

using gfx::Rect;

class languages : public Window {
 protected:
  void TearDown() override { i18n::set_language("en"); }

  // Paints a view in every language and hands it to `check`.
  template <typename Check>
  void each(Check check) {
    for (const i18n::Language& l : i18n::languages()) {
      code_ = l.code;
      i18n::set_language(l.code);
      paint();
      check();
    }
  }
  void room(const char* key, float size, bool bold, float width) const {
    EXPECT_LE(gfx::text_width(i18n::T(key), size, bold), width) << code_ << " " << key;
  }
  void within(const Rect& outer, const Rect& inner, const char* what) const {
    EXPECT_TRUE(inner.x >= outer.x && inner.y >= outer.y &&
                inner.x + inner.w <= outer.x + outer.w && inner.y + inner.h <= outer.y + outer.h)
        << code_ << " " << what;
  }
  Rect view() const {
    int w = 0;
    int h = 0;
    ui::reference_size(&w, &h);
    return {0, 0, static_cast<float>(w), static_cast<float>(h)};
  }

  std::string code_;
};

TEST_F(languages, fit_the_full_view) {
  for (const bool collapsed : {false, true}) {
    s_.collapsed = collapsed;
    each([&] {
      const ui::Layout& l = layout();
      room("spectrum", 12, true, l.mute.x - 12 - l.spectrum.x - 14);
      for (const char* key : {"power_on", "power_off"})
        room(key, 10.5F, true, l.power.w - 44);
      if (collapsed) return;
      for (const char* key : {"hint_reset", "status_bypass"})
        room(key, 12, false, l.hint.w);
      room("preamp", 10.5F, false, 94);
      room("device", 10.5F, false, l.device.w - 50);
      room("device_follow", 14, false, l.device.w - 50);
      for (const char* key : {"status_active", "status_bypass", "status_connecting"})
        room(key, 12, false, l.status.w - 19);
      for (const eq::PresetDef& preset : eq::kPresets)
        room(preset.key, 14, false, l.presets.w - 50);
      room("preset_custom", 14, false, l.presets.w - 50);
    });
  }
}

TEST_F(languages, fit_the_compact_strip) {
  s_.compact = true;
  each([&] {
    for (const char* key : {"power_on", "power_off"})
      room(key, 8, false, 56);
  });
}

TEST_F(languages, fit_the_notes) {
  fakes::sound().status.setup_needed = true;
  frame(10);
  for (const bool compact : {false, true}) {
    s_.compact = compact;
    each([&] {
      const Rect& area = compact ? layout().bars : layout().spectrum;
      for (const char* key : {"status_connecting", "status_no_server", "status_other_instance",
                              "status_select_output", "status_setup_needed"}) {
        const float text = gfx::text_width(i18n::T(key), 14, false);
        const float width = std::min(text + 40, area.w - 40) - 32;
        EXPECT_LE(gfx::wrapped_height(i18n::T(key), 14, width) + 18, view().h)
            << code_ << " " << key;
      }
    });
  }
}

TEST_F(languages, fit_the_settings_panel) {
  ui::open_settings();
  for (const bool collapsed : {false, true}) {
    s_.collapsed = collapsed;
    each([&] {
      const ui::SettingsLayout& p = ui::state().panel;
      within(view(), p.panel, "panel");
      room("settings", 18, true, p.close.x - 12 - p.panel.x - 24);
      for (const char* key : {"autostart", "eq_on_start", "on_top"})
        room(key, 11, false, p.autostart.w - 56);
      room("language", 11, false, p.language.w - 198);
      room("language_auto", 13, false, 138);
      room("appearance", 11, false, p.appearance.w - p.dark.w - p.light.w - 14);
      for (const char* key : {"theme_dark", "theme_light"})
        room(key, 10, true, p.dark.w - 10);
      room("about_version", 12, false, p.about.w);

      const std::string parts = std::string(i18n::T("third_party")) + " " +
                                settings::seal_library() + " — CC0 / BSD-2-Clause";
      float height = 8 + 1 + 8;
      for (const std::string& text :
           {std::string(i18n::T("about_tagline")), std::string(i18n::T("about_disclaimer_title")),
            std::string(i18n::T("about_disclaimer")), parts}) {
        height += gfx::wrapped_height(text, 9.5F, p.about.w);
      }
      EXPECT_LE(height, p.homepage.y - 6 - p.about.y - 46) << code_ << " about";
    });
  }
}

TEST_F(languages, fit_the_save_dialog) {
  ui::open_save();
  each([&] {
    const ui::DialogLayout& d = ui::state().save.layout;
    within(d.card, d.save, "save");
    within(d.card, d.cancel, "cancel");
    room("save_preset", 17, true, d.name.w);
    room("preset_name", 12, false, d.name.w);
    for (const char* key : {"preset_overwrite", "preset_full"})
      EXPECT_LE(gfx::wrapped_height(i18n::T(key), 12, d.name.w),
                d.cancel.y - d.name.y - d.name.h - 8)
          << code_ << " " << key;
    const std::string proposal = ui::with_argument(i18n::T("preset_default_name"), "100");
    EXPECT_LE(ui::count_chars(proposal), ui::kMaxName) << code_;
  });
}

TEST_F(languages, fit_the_lists) {
  ui::open_presets();
  each([&] {
    const ui::Popup& p = ui::state().popup;
    within(view(), p.rect, "list");
    for (const char* key : {"presets_builtin", "presets_user"})
      room(key, 11, true, p.rect.w - 12 - 12);
    for (const eq::PresetDef& preset : eq::kPresets)
      room(preset.key, 13, false, p.rect.w - 74);
  });
}

TEST_F(languages, fit_the_note_about_a_crash) {
  ui::set_crash_report("what happened");
  for (const bool collapsed : {false, true}) {
    s_.collapsed = collapsed;
    each([&] {
      const ui::CrashNote& c = ui::state().crash;
      within(view(), c.card, "card");
      within(c.card, c.send, "crash_send");
      within(c.card, c.discard, "crash_discard");
      room("crash_title", 13, true, c.card.w - 78);
    });
  }
}

}  // namespace
