// Presets: how they are chosen, labelled, named, saved and deleted, and the list they are in.
#include <algorithm>
#include <fstream>

#include "app/device_presets.h"
#include "curves/curve_files.h"
#include "ui/commands.h"
#include "window.h"

namespace {

using namespace std::string_literals;

constexpr int kOwn = eq::kPresetCount + 2;  // the row of the first own preset, below two headings

class presets : public Window {
 protected:
  void save_as(const std::string& name) {
    press(ui::kHitSave);
    ui::on_text(name);
    ui::on_key(ui::Key::Enter);
  }
  void add(int n) {
    for (int i = 0; i < n; ++i)
      s_.user_presets.push_back({std::string("P").append(std::to_string(i)), {}});
  }
  static const ui::SaveDialog& dialog() { return ui::state().look.save; }
  std::vector<UserPreset>& own() { return s_.user_presets; }
};

TEST_F(presets, are_labelled_by_name_and_marked_when_changed) {
  const std::string mark = std::string(" (") + i18n::T("preset_modified") + ")";
  const std::string flat = i18n::T("preset_flat");
  own() = {{"Küche", {{0, 0, 1}, 0}}};
  for (const auto& [preset, gain, label] : {std::tuple{"b:preset_flat", 0.04F, flat},
                                            {"b:preset_flat", 0.5F, flat + mark},
                                            {"u:Küche", 0.0F, "Küche" + mark},
                                            {"u:Küche", 1.0F, "Küche"s},
                                            {"u:gone", 0.0F, i18n::T("preset_custom")},
                                            {"x", 0.0F, i18n::T("preset_custom")}}) {
    s_.preset = preset;
    s_.curve.gain[2] = gain;
    EXPECT_EQ(ui::preset_label(), label) << preset << " " << gain;
  }
  own() = {{"a name of some length", {{0, 0, 1}, 0}}};
  s_.preset = "u:" + own()[0].name;
  s_.curve.gain[2] = 0;
  const std::string shown = ui::preset_label(14, 150);
  EXPECT_TRUE(shown.starts_with("a n") && shown.ends_with("…" + mark)) << shown;
  EXPECT_LE(gfx::text_width(shown, 14, false), 150.0F);
  s_.compact = true;
  own()[0].name = std::string(kMaxPresetName, 'W');
  s_.preset = "u:" + own()[0].name;
  const auto title = [this](float gain) {
    s_.curve.gain[2] = gain;
    paint();
    std::vector<std::uint32_t> pixels;
    for (int x = 36; x < 300; ++x)
      pixels.push_back(canvas_->at(x, 17));
    return pixels;
  };
  EXPECT_NE(title(0), title(1)) << "the mark of a long name is not seen in the strip";
  ui::choose_builtin("preset_rock");
  EXPECT_EQ(ui::preset_label(), i18n::T("preset_rock"));  // on its way there
}

TEST_F(presets, are_chosen_from_the_menu_and_own_ones_deleted_at_the_end_of_their_row) {
  own() = {{"B", {{2}, 0}}, {"A\n", {}}};
  press(ui::kHitPresets);
  ASSERT_EQ(list().rows.size(), kOwn + 2U);
  EXPECT_TRUE(list().rows[2].chosen);
  EXPECT_EQ(list().rows[kOwn + 1].text, "A ");
  press(row(0));  // a heading
  EXPECT_TRUE(list().open);
  press(row(kOwn + 1));
  EXPECT_FALSE(list().open);
  EXPECT_EQ(s_.preset, "u:A\n");
  frame(1000);

  s_.preset = "u:B";
  s_.curve.gain[0] = 2;
  press(ui::kHitPresets);
  const gfx::Rect mine = row(kOwn);
  const float end = mine.x + mine.w;
  i18n::set_language("ar");  // there a row ends at the left
  ui::on_mouse_move(mine.x + 33.9F, mine.y + 5);
  EXPECT_TRUE(list().hover_delete);
  ui::on_mouse_move(end - 5, mine.y + 5);
  EXPECT_FALSE(list().hover_delete);
  i18n::set_language("en");
  for (const auto& [x, y, hover, deletes] :
       {std::tuple{end - 34.1F, mine.y + 27.9F, kOwn, false},
        {end - 33.9F, mine.y + 5, kOwn, true},
        {end - 5, row(3).y + 5, 3, false},  // a built-in one stays
        {20.0F, 600.0F, -1, false}}) {
    ui::on_mouse_move(x, y);
    EXPECT_EQ(list().hover, hover);
    EXPECT_EQ(list().hover_delete, deletes);
  }
  ui::on_mouse_move(end - 5, mine.y + 5);
  ui::on_mouse_leave();
  EXPECT_TRUE(list().hover == -1 && !list().hover_delete);
  press(end - 10, mine.y + 14);
  ASSERT_EQ(own().size(), 1U);
  EXPECT_EQ(own()[0].name, "A\n");
  EXPECT_EQ(s_.curve.gain[0], 2);
  EXPECT_TRUE(list().open && saved_in_time());
  press(20, 600);  // beside the list
  EXPECT_FALSE(list().open);
}

TEST_F(presets, long_list_scrolls_within_its_ends_and_stays_within_the_window) {
  add(60);
  press(ui::kHitPresets);
  const int last = kOwn + 60 - shown().visible;
  EXPECT_GT(last, 0);
  for (const auto& [steps, first] : {std::pair{3, 3}, {-10, 0}, {1000, last}}) {
    ui::on_wheel(20, 600, steps);
    EXPECT_EQ(shown().first, first);
    const gfx::Rect& r = shown().rect;
    ui::on_mouse_move(r.x + 20, r.y + r.h - 1);
    EXPECT_EQ(list().hover, -1) << "below the last row";
  }
  paint();
  press(row(kOwn + 59));
  EXPECT_EQ(s_.preset, "u:P59");
  press(ui::kHitPresets);
  EXPECT_EQ(shown().first, last) << "the chosen row is in sight";
  ui::on_wheel(0, 0, -2);
  const gfx::Rect deleted = row(last);
  press(deleted.x + deleted.w - 10, deleted.y + 14);
  EXPECT_EQ(own().size(), 59U);
  EXPECT_EQ(shown().first, last - 2) << "the list stays where it was under the pointer";
  EXPECT_TRUE(within(view(), shown().rect));
}

// ---- Saving

TEST_F(presets, dialog_proposes_the_first_free_number_or_the_chosen_own_one) {
  const auto numbered = [](int n) {
    return ui::with_argument(i18n::T("preset_default_name"), std::to_string(n));
  };
  own() = {{numbered(1), {}}, {numbered(2), {}}, {numbered(4), {}}};
  for (const auto& [preset, proposal] :
       {std::pair{"u:gone"s, numbered(3)}, {"u:" + numbered(4), numbered(4)}}) {
    s_.preset = preset;
    press(ui::kHitSave);
    EXPECT_EQ(dialog().name, proposal);
    press(ui::kHitSaveCancel);
    EXPECT_FALSE(dialog().open);
  }
  s_.curve.gain[6] = -3;
  press(ui::kHitSave);
  press(ui::kHitSaveOk);
  EXPECT_EQ(own().size(), 3U);
  EXPECT_EQ(own()[2].curve.gain[6], -3);
}

TEST_F(presets, names_are_stored_without_outer_blanks_and_line_breaks) {
  press(ui::kHitSave);
  ui::state().look.save.name = " \r two\twords\n  ";
  ui::on_key(ui::Key::Enter);
  EXPECT_EQ(s_.preset, "u:two words");
  EXPECT_TRUE(saved_in_time());
  EXPECT_EQ(settings::load().user_presets.at(0).name, "two words");
  ui::choose_builtin("preset_bass");
  frame(300);
  save_as("on the way");
  frame(1000);
  EXPECT_TRUE(eq::same(s_.curve, own()[1].curve)) << "a glide ends where it was saved";
  save_as("   ");
  EXPECT_TRUE(dialog().open);
  EXPECT_EQ(own().size(), 2U);
}

TEST_F(presets, a_known_name_replaces_its_curve_even_where_a_hundred_leave_no_room_for_a_new_one) {
  add(99);
  save_as("p7");
  s_.curve.gain[1] = 4;
  save_as("one more");
  EXPECT_TRUE(dialog().open);
  EXPECT_EQ(own().size(), 100U);
  ui::on_key(ui::Key::Escape);
  save_as("P8");
  EXPECT_FALSE(dialog().open);
  EXPECT_EQ(own()[7].curve.gain[1], 0);
  EXPECT_EQ(own()[8].curve.gain[1], 4);
}

TEST_F(presets, typing_replaces_the_proposal_until_the_name_is_full) {
  press(ui::kHitSave);
  press(at(ui::kHitPanel).x + 2, at(ui::kHitPanel).y + 2);
  const std::string x(30, 'x');
  for (const auto& [text, name] : {std::pair{"ä"s, "ä"s}, {x, "ä" + x}, {"yz", "ä" + x}}) {
    ui::on_text(text);
    EXPECT_EQ(dialog().name, name);
  }
  ui::on_text("€");
  ui::on_key(ui::Key::Backspace);
  for (const char* refused : {"\x7F", "\n", "\xC3"})
    ui::on_text(refused);
  EXPECT_EQ(dialog().name, "ä" + x);
  press(ui::kHitSettings);
  EXPECT_FALSE(dialog().open || ui::state().look.settings_open)
      << "a press beside it only closes it";
  EXPECT_TRUE(own().empty());
}

// ---- One for each output device

class device_presets_ : public presets {
 protected:
  device_presets_() { ui::set_device_presets(&devices_, false); }
  ~device_presets_() override { ui::set_device_presets(nullptr, false); }
  // Another device plays, which the engine has noticed already.
  static void plays(const std::string& device) {
    fakes::play_to(device);
    frame(10);
  }
  static void choose(const std::string& key) {
    ui::choose_builtin(key);
    frame(10);
    frame(1000);
  }
  static eq::Curve curve(const char* key) { return eq::preset_curve(eq::find_preset(key)); }
  DevicePresets devices_;
  const eq::Curve rock_ = curve("preset_rock");
};

TEST_F(device_presets_, come_with_the_device_and_the_sliders_glide_to_what_is_heard_already) {
  plays("A");
  EXPECT_TRUE(devices_.devices.empty()) << "not wanted yet";
  ui::use_device_presets(true);
  choose("preset_rock");
  plays("B");
  EXPECT_EQ(devices_.find("B")->preset, "b:preset_rock") << "met for the first time";
  choose("preset_jazz");
  plays("A");
  EXPECT_EQ(s_.preset, "b:preset_rock");
  const int handed_over = fakes::sound.curves;
  frame(300);
  EXPECT_NE(s_.curve, rock_) << "still on its way";
  frame(1000);
  EXPECT_EQ(s_.curve, rock_);
  EXPECT_EQ(fakes::sound.curves, handed_over) << "the engine is not sent back";
  s_.curve.gain[0] = -7;
  frame(10);
  EXPECT_EQ(fakes::sound.device_curves.at("A").gain[0], -7);
  // The device changes while the sliders are on their way, and what they are on the way to stays.
  plays("B");
  ui::choose_builtin("preset_bass");
  frame(100);
  plays("A");
  EXPECT_EQ(fakes::sound.device_curves.at("B"), curve("preset_bass"));
  EXPECT_EQ(fakes::sound.curve.gain[0], -7);
  frame(1000);
  frame(2000);
  EXPECT_EQ(device_presets::load(), devices_);
  for (const bool on : {false, true, false}) {
    ui::use_device_presets(on);
    EXPECT_TRUE(saved_in_time());
    EXPECT_EQ(device_presets::load().on, on);
  }
  EXPECT_TRUE(fakes::sound.device_curves.empty());
  plays("B");
  EXPECT_EQ(s_.preset, "b:preset_rock");
}

TEST_F(device_presets_, an_own_preset_changes_wherever_it_was_chosen_and_an_import_stays_nowhere) {
  ui::use_device_presets(true);
  plays("A");
  save_as("Mine");
  plays("B");
  s_.curve.gain[3] = 5;
  save_as("Mine");
  frame(10);
  EXPECT_EQ(fakes::sound.device_curves.at("A").gain[3], 5);
  choose("preset_rock");
  ui::begin_import({.name = "File", .curve = {{9}, 0}, .left_out = {}});
  frame(1000);
  EXPECT_EQ(fakes::sound.curve.gain[0], 9);
  plays("A");
  EXPECT_FALSE(dialog().open);
  EXPECT_EQ(devices_.find("B")->curve, rock_);
  EXPECT_EQ(fakes::sound.device_curves.at("B"), rock_);
  frame(1000);
  EXPECT_EQ(s_.curve.gain[3], 5);
}

TEST_F(device_presets_, of_the_first_device_are_kept_under_a_file_and_replaced_by_a_switch) {
  devices_ = {true, {{"A", "b:preset_rock", rock_}}};
  for (const bool by_switch : {false, true}) {
    ui::set_device_presets(&devices_, by_switch);
    start();
    s_.preset = "b:preset_jazz";
    if (!by_switch) ui::begin_import({.name = "File", .curve = {{9}, 0}, .left_out = {}});
    plays("A");
    frame(1000);
    EXPECT_EQ(dialog().open, !by_switch);
    EXPECT_EQ(s_.preset, by_switch ? "b:preset_jazz" : "b:preset_rock");
    ui::on_key(ui::Key::Escape);
    frame(10);
    frame(1000);
    EXPECT_EQ(s_.curve, rock_) << "of the device, and then what was there";
    EXPECT_EQ(devices_.find("A")->preset, s_.preset);
    fakes::sound.status.target_id = "";
  }
}

// ---- Importing

class imports : public presets {
 protected:
  // A file whose curve is 6 dB at 1 kHz.
  void import(const std::string& name = "K371 FixedBandEQ.txt",
              const std::string& text = "Filter: ON PK Fc 1000 Hz Gain 6 dB Q 1.41") {
    const std::string path = home_.config() / name;
    std::ofstream(path) << text;
    ui::import_file(path);
    frame(0);
    paint();
  }
  static const ui::Notice& notice() { return ui::state().look.notice; }
  const eq::Curve curve_{{0, 0, 0, 0, 0, 6}, -6};
  const eq::Curve rock_ = eq::preset_curve(eq::find_preset("preset_rock"));
};

TEST_F(imports, glide_there_and_are_kept_with_their_name_and_the_equalizer_on) {
  s_.active = false;
  import();
  EXPECT_EQ(dialog().name, "K371");
  frame(300);
  EXPECT_NE(s_.curve, curve_) << "still on its way";
  press(ui::kHitSaveOk);
  EXPECT_EQ(s_.preset, "u:K371");
  EXPECT_EQ(s_.curve, curve_);
  EXPECT_EQ(own()[0].curve, curve_);
  EXPECT_EQ(fakes::sound.curve, curve_);
  EXPECT_TRUE(s_.active && fakes::sound.active);
  EXPECT_TRUE(saved_in_time());
}

TEST_F(imports, glide_back_however_the_dialog_closes_and_are_never_on_disk) {
  s_.active = false;
  ui::choose_builtin("preset_rock");
  for (void (*leave)() : {+[] { ui::on_key(ui::Key::Escape); }, +[] { ui::set_compact(true); },
                          +[] { ui::persist(); }, +[] { ui::choose_builtin("preset_rock"); }}) {
    import();  // for the first time while the preset is on its way
    EXPECT_FALSE(s_.compact);
    import("B.txt");
    frame(1000);
    EXPECT_EQ(fakes::sound.curve, curve_);
    EXPECT_EQ(dialog().name, "B");
    std::filesystem::remove(settings::file_path());
    frame(2000);
    EXPECT_FALSE(saved());
    leave();
    frame(0);
    frame(1000);
    EXPECT_FALSE(dialog().open);
    EXPECT_EQ(fakes::sound.curve, rock_);
    frame(2000);
    EXPECT_EQ(settings::load().curve, rock_);
  }
  EXPECT_TRUE(own().empty());
  EXPECT_FALSE(s_.active);
  EXPECT_EQ(s_.preset, "b:preset_rock");
}

TEST_F(imports, refused_ones_change_nothing_and_are_explained_for_five_seconds) {
  using Case = std::pair<std::string, std::string>;
  for (const auto& [text, reason] :
       {Case{"Preamp: 0 dB\nChannel: L", "Line 2 contains something that cannot be imported"},
        Case{"Preamp: x", "Line 1 cannot be understood"},
        Case{"A letter", "This is not an equalizer file"},
        Case{std::string((1 << 20) + 1, ' '), "The file is larger than 1 MB"}}) {
    import("\x01my.txt", text);
    EXPECT_EQ(notice().title, "“" + ui::isolated(" my.txt") + "” was not imported");
    EXPECT_EQ(notice().reason, reason);
    EXPECT_FALSE(dialog().open);
    frame(4999);
    EXPECT_FALSE(notice().title.empty());
    frame(1);
    EXPECT_TRUE(notice().title.empty());
  }
  import("my.txt", "A letter");
  import();
  EXPECT_TRUE(notice().title.empty() && dialog().open);
  ui::on_key(ui::Key::Escape);
  frame(1000);
  ui::import_at_start("/gone");
  start();
  EXPECT_EQ(notice().reason, "The file cannot be read");
  EXPECT_EQ(s_.curve, eq::Curve{});
}

}  // namespace
