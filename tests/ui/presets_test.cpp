// Presets: how they are chosen, labelled, named, saved and deleted, and the list they are in.
#include <algorithm>

#include "window.h"

namespace {

constexpr int kOwn =
    1 + eq::kPresetCount + 1;  // the row of the first own preset, below two headings

class presets : public Window {
 protected:
  void open_menu() {
    press(layout().presets);
    paint();
    ASSERT_TRUE(ui::state().popup.open);
  }
  void open_dialog() {
    press(layout().save);
    paint();
    ASSERT_TRUE(ui::state().save.open);
  }
  void save_as(const std::string& name) {
    open_dialog();
    ui::on_text(name);
    ui::on_key(ui::Key::Enter);
  }
  const std::string& typed() const { return ui::state().save.name; }
};

TEST_F(presets, are_labelled_by_name_and_marked_when_changed) {
  EXPECT_EQ(ui::preset_label(), i18n::T("preset_flat"));
  s_.curve.gain[2] = 0.5F;
  EXPECT_EQ(ui::preset_label(),
            i18n::T("preset_flat") + std::string(" (") + i18n::T("preset_modified") + ")");
  s_.curve.gain[2] = 0.04F;
  EXPECT_EQ(ui::preset_label(), i18n::T("preset_flat"));
  s_.user_presets = {{"Küche", {{1}, 0}}};
  s_.preset = "u:Küche";
  EXPECT_EQ(ui::preset_label(), std::string("Küche (") + i18n::T("preset_modified") + ")");
  s_.curve.gain[0] = 1;
  EXPECT_EQ(ui::preset_label(), "Küche");
  ui::choose_builtin("preset_rock");
  EXPECT_EQ(ui::preset_label(), i18n::T("preset_rock"));  // on its way there
  for (const char* unknown : {"u:gone", "b:preset_none", "", "x", "Küche"}) {
    s_.preset = unknown;
    EXPECT_EQ(ui::preset_label(), i18n::T("preset_custom")) << unknown;
  }
}

TEST_F(presets, menu_lists_headings_built_in_and_own) {
  s_.user_presets = {{"B", {}}, {"A\n", {}}};
  open_menu();
  const std::vector<ui::PopupRow>& rows = ui::state().popup.rows;
  ASSERT_EQ(rows.size(), kOwn + 2U);
  EXPECT_EQ(rows[0].text, i18n::T("presets_builtin"));
  EXPECT_EQ(rows[1].text, i18n::T("preset_standard"));
  EXPECT_TRUE(rows[2].chosen);
  EXPECT_EQ(rows[kOwn - 1].text, i18n::T("presets_user"));
  EXPECT_EQ(rows[kOwn].text, "B");
  EXPECT_EQ(rows[kOwn + 1].text, "A ");
  press(row(0));  // a heading
  EXPECT_TRUE(ui::state().popup.open);
  press(row(row_with("A\n")));
  EXPECT_FALSE(ui::state().popup.open);
  EXPECT_EQ(s_.preset, "u:A\n");
}

TEST_F(presets, pointer_over_the_menu_hovers_rows_and_their_end) {
  s_.user_presets = {{"Mine", {}}};
  open_menu();
  const ui::Popup& p = ui::state().popup;
  EXPECT_EQ(ui::state().hover, ui::kHitPopup);
  ui::take_dirty();
  ui::on_mouse_move(row(3).x + 40, row(3).y);
  EXPECT_EQ(p.hover, 3);
  EXPECT_TRUE(ui::take_dirty());
  ui::on_mouse_move(row(3).x + 50, row(3).y + 27.9F);
  EXPECT_EQ(p.hover, 3);
  EXPECT_FALSE(ui::take_dirty());
  const gfx::Rect mine = row(row_with("Mine"));
  ui::on_mouse_move(mine.x + mine.w - 34.1F, mine.y + 5);
  EXPECT_FALSE(p.hover_delete);
  ui::take_dirty();
  ui::on_mouse_move(mine.x + mine.w - 33.9F, mine.y + 5);
  EXPECT_TRUE(p.hover_delete);
  EXPECT_TRUE(ui::take_dirty());
  ui::on_mouse_move(row(3).x + row(3).w - 5, row(3).y + 5);  // a built-in one stays
  EXPECT_FALSE(p.hover_delete);
  EXPECT_EQ(ui::cursor_at(row(3).x + 40, row(3).y), ui::kCursorHand);
  EXPECT_EQ(ui::cursor_at(20, 600), ui::kCursorArrow);
  ui::on_mouse_move(20, 600);
  EXPECT_EQ(p.hover, -1);
  EXPECT_EQ(ui::state().hover, ui::kHitPopup);
}

TEST_F(presets, end_of_an_own_row_deletes_it_and_keeps_the_list_open) {
  s_.user_presets = {{"One", {{1}, 0}}, {"Two", {{2}, 0}}};
  s_.preset = "u:Two";
  s_.curve.gain[0] = 2;
  open_menu();
  const gfx::Rect two = row(row_with("Two"));
  press(two.x + two.w - 10, two.y + 14);
  ASSERT_EQ(s_.user_presets.size(), 1U);
  EXPECT_EQ(s_.user_presets[0].name, "One");
  EXPECT_EQ(s_.curve.gain[0], 2);
  EXPECT_EQ(ui::preset_label(), i18n::T("preset_custom"));
  EXPECT_TRUE(ui::state().popup.open);
  frame(1200);
  EXPECT_EQ(settings::load().user_presets.size(), 1U);
  paint();
  press(20, 600);  // beside the list
  EXPECT_FALSE(ui::state().popup.open);
  EXPECT_EQ(s_.user_presets.size(), 1U);
}

TEST_F(presets, long_list_scrolls_within_its_ends) {
  for (int i = 0; i < 60; ++i)
    s_.user_presets.push_back({std::string("P").append(std::to_string(i)), {}});
  open_menu();
  const ui::Popup& p = ui::state().popup;
  EXPECT_EQ(p.first, 0);
  EXPECT_LT(p.visible, kOwn + 60);
  EXPECT_LE(p.rect.y + p.rect.h, 640);
  ui::on_wheel(5, 5, 3);  // wherever the pointer is
  EXPECT_EQ(p.first, 3);
  paint();
  ui::on_mouse_move(row(3).x + 40, row(3).y + 1);
  EXPECT_EQ(p.hover, 3);
  ui::on_wheel(5, 5, -10);
  EXPECT_EQ(p.first, 0);
  ui::on_wheel(5, 5, 1000);
  EXPECT_EQ(p.first, kOwn + 60 - p.visible);
  paint();
  press(row(kOwn + 59));
  EXPECT_EQ(s_.preset, "u:P59");
  EXPECT_EQ(s_.curve.gain[3], 0);  // the wheel turned nothing below the list
  open_menu();
  EXPECT_EQ(p.first, kOwn + 60 - p.visible) << "the chosen row is in sight";
}

TEST_F(presets, list_stays_within_a_window_that_shrinks) {
  for (int i = 0; i < 60; ++i)
    s_.user_presets.push_back({std::string("P").append(std::to_string(i)), {}});
  for (const bool devices : {false, true}) {
    paint(960, 900);
    if (devices) fakes::sound().devices.assign(20, {"sink", "Speakers"});
    press(devices ? layout().device : layout().presets);
    paint(960, 900);
    paint(960, 640);
    const gfx::Rect list = ui::state().popup.rect;
    EXPECT_GE(list.y, 0);
    EXPECT_LE(list.y + list.h, 640);
    ui::on_key(ui::Key::Escape);
  }
}

// ---- Saving

TEST_F(presets, dialog_proposes_the_first_free_number_or_the_chosen_own_one) {
  const auto numbered = [](int n) {
    return ui::with_argument(i18n::T("preset_default_name"), std::to_string(n));
  };
  open_dialog();
  EXPECT_EQ(typed(), numbered(1));
  EXPECT_TRUE(ui::state().save.selected);
  ui::on_key(ui::Key::Escape);
  EXPECT_FALSE(ui::state().save.open);
  s_.user_presets = {{numbered(1), {}}, {numbered(2), {}}, {numbered(4), {}}};
  open_dialog();
  EXPECT_EQ(typed(), numbered(3));
  press(ui::state().save.layout.cancel);
  s_.preset = "u:" + numbered(4);
  open_dialog();
  EXPECT_EQ(typed(), numbered(4));
  s_.curve.gain[6] = -3;
  press(ui::state().save.layout.save);
  EXPECT_EQ(s_.user_presets.size(), 3U);
  EXPECT_EQ(s_.user_presets[2].curve.gain[6], -3);
}

TEST_F(presets, names_are_stored_without_outer_blanks_and_line_breaks) {
  open_dialog();
  ui::state().save.name = "  two\twords  ";
  ui::on_key(ui::Key::Enter);
  ASSERT_EQ(s_.user_presets.size(), 1U);
  EXPECT_EQ(s_.user_presets[0].name, "two words");
  EXPECT_EQ(s_.preset, "u:two words");
  EXPECT_FALSE(ui::state().save.open);
  EXPECT_EQ(ui::trimmed_name("\r\n a\nb \t"), "a b");
  frame(1199);
  EXPECT_FALSE(saved());
  frame(1);
  EXPECT_EQ(settings::load().user_presets.at(0).name, "two words");
  save_as("   ");
  EXPECT_TRUE(ui::state().save.open);
  EXPECT_EQ(s_.user_presets.size(), 1U);
}

TEST_F(presets, saving_under_a_known_name_replaces_the_curve_in_place) {
  s_.user_presets = {{"A", {}}, {"B", {}}, {"C", {}}};
  s_.curve.gain[1] = 5;
  save_as("B");
  ASSERT_EQ(s_.user_presets.size(), 3U);
  EXPECT_EQ(s_.user_presets[1].name, "B");
  EXPECT_EQ(s_.user_presets[1].curve.gain[1], 5);
  save_as("b");
  EXPECT_EQ(s_.user_presets.size(), 4U);
}

TEST_F(presets, hundred_are_the_limit_for_new_names_only) {
  for (int i = 0; i < 99; ++i)
    s_.user_presets.push_back({std::string("P").append(std::to_string(i)), {}});
  save_as("last");
  EXPECT_EQ(s_.user_presets.size(), 100U);
  s_.curve.gain[0] = 4;
  save_as("one more");
  EXPECT_TRUE(ui::state().save.open);
  EXPECT_EQ(s_.user_presets.size(), 100U);
  EXPECT_EQ(s_.preset, "u:last");
  ui::on_key(ui::Key::Escape);
  save_as("P7");
  EXPECT_FALSE(ui::state().save.open);
  EXPECT_EQ(s_.user_presets[7].curve.gain[0], 4);
}

TEST_F(presets, typing_replaces_the_proposal_and_keeps_within_its_limits) {
  open_dialog();
  ui::on_text("ä");
  EXPECT_EQ(typed(), "ä");
  ui::on_text(std::string(30, 'x'));
  ui::on_text("yz");  // would be 33
  EXPECT_EQ(ui::count_chars(typed()), 31);
  ui::on_text("€");
  ui::on_text("z");
  const std::string full = "ä" + std::string(30, 'x') + "€";
  EXPECT_EQ(typed(), full);
  ui::on_key(ui::Key::Backspace);
  EXPECT_EQ(typed(), "ä" + std::string(30, 'x'));
  for (const char* refused :
       {"a\tb", "\x7F", "\n", "\xC3", "\xED\xA0\x80", "\xE0\x80\xAF", "a\xFF"}) {
    ui::on_text(refused);
    EXPECT_EQ(typed(), "ä" + std::string(30, 'x')) << refused;
  }
  ui::on_key(ui::Key::Escape);
  open_dialog();
  ui::on_key(ui::Key::Backspace);  // the whole name was selected
  EXPECT_EQ(typed(), "");
  ui::on_key(ui::Key::Backspace);
  EXPECT_EQ(typed(), "");
  ui::on_key(ui::Key::Escape);
  ui::on_text("nothing is open");
  EXPECT_FALSE(ui::state().save.open);
}

TEST_F(presets, dialog_is_all_that_can_be_hit) {
  const gfx::Rect under = layout().settings;
  const gfx::Rect slider = layout().slider[9];
  open_dialog();
  const ui::DialogLayout& d = ui::state().save.layout;
  EXPECT_EQ(code_at(d.name), ui::kHitSaveName);
  EXPECT_EQ(code_at(d.save), ui::kHitSaveOk);
  EXPECT_EQ(code_at(d.cancel), ui::kHitSaveCancel);
  EXPECT_EQ(code_at(d.card.x + 2, d.card.y + 2), ui::kHitPanel);
  press(d.card.x + 2, d.card.y + 2);
  EXPECT_TRUE(ui::state().save.open);
  ui::on_wheel(slider.x + 20, 400, -1);
  ui::on_double_click(slider.x + 20, 400);
  EXPECT_EQ(s_.curve.gain[9], 0);
  EXPECT_FALSE(ui::state().save.open) << "a press beside it closes the dialog";
  open_dialog();
  press(under);
  EXPECT_FALSE(ui::state().save.open);
  EXPECT_FALSE(ui::state().settings_open);
  EXPECT_TRUE(s_.user_presets.empty());
}

TEST_F(presets, caret_blinks_while_the_dialog_is_open) {
  fakes::desktop().now = 106'000;
  open_dialog();
  frame(0);
  EXPECT_TRUE(ui::state().caret_on);
  ui::take_dirty();
  frame(529);
  EXPECT_FALSE(ui::take_dirty());
  frame(1);
  EXPECT_FALSE(ui::state().caret_on);
  EXPECT_TRUE(ui::take_dirty());
  ui::on_text("x");
  EXPECT_TRUE(ui::state().caret_on);
}

}  // namespace
