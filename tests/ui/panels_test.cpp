// The settings panel, the switch between the views, the notes, and what a frame takes from the
// engine.
#include <algorithm>

#include "app/addresses.h"
#include "app/autostart.h"
#include "ui/accessible.h"
#include "window.h"

namespace {

using Calls = std::vector<std::string>;

class panel : public Window {
 protected:
  panel() { press(ui::kHitSettings); }
  static bool open() { return ui::state().look.settings_open; }
};

TEST_F(panel, rows_do_what_they_say_and_are_written_later) {
  const Settings before = s_;
  press(ui::kHitEqOnStart);
  press(ui::kHitOnTop);
  press(ui::kHitDark);
  EXPECT_TRUE(theme::dark());
  press(ui::kHitLight);
  for (const char* code : {"auto", "de"}) {
    press(ui::kHitLanguage);
    const int wanted = row_with(code);
    ui::on_wheel(0, 0, wanted - shown().first);
    paint();
    press(row(wanted));
    EXPECT_EQ(i18n::language(), code);
  }
  EXPECT_TRUE(saved_in_time());
  const Settings written = settings::load();
  EXPECT_EQ(written.theme, "light");
  EXPECT_EQ(written.language, "de");
  EXPECT_NE(written.active_on_start, before.active_on_start);
  EXPECT_NE(written.compact_on_top, before.compact_on_top);
  press(ui::kHitHomepage);
  press(ui::kHitReport);
  EXPECT_EQ(calls(), (Calls{std::string("open_uri ") + kHomepage,
                            std::string("open_uri mailto:") + kSupportMail}));
}

TEST_F(panel, autostart_switch_shows_what_could_be_done) {
  for (const bool on : {true, false}) {
    press(ui::kHitAutostart);
    EXPECT_EQ(ui::state().look.autostart, on);
    EXPECT_EQ(autostart::enabled(), on);
  }
  press(ui::kHitAutostart);
  std::filesystem::remove_all(home_.path() / ".config");
  ui::open_settings();
  EXPECT_FALSE(ui::state().look.autostart) << "somebody else removed the entry";
  std::filesystem::remove_all(home_.path() / ".config");
  write_file(home_.path() / ".config", "no directory");
  press(ui::kHitAutostart);
  EXPECT_FALSE(ui::state().look.autostart);
}

TEST_F(panel, is_closed_after_what_lies_above_it) {
  EXPECT_EQ(code_at(ui::state().panel.panel.x + 2, ui::state().panel.panel.y + 2), ui::kHitPanel);
  press(ui::kHitLanguage);
  ui::on_key(ui::Key::Enter);
  EXPECT_TRUE(list().open);
  ui::on_key(ui::Key::Escape);
  EXPECT_TRUE(!list().open && open());
  ui::on_key(ui::Key::Escape);
  EXPECT_FALSE(open());
  press(ui::kHitSettings);
  press(ui::kHitPanelClose);
  EXPECT_FALSE(open());
}

// ---- Views

using views = Window;

TEST_F(views, header_and_device_list_act_on_the_engine) {
  for (const int i : {2, 1, 0}) {
    press(ui::kHitChannel + i);
    EXPECT_EQ(s_.channel, i);
  }
  press(ui::kHitMute);
  EXPECT_TRUE(fakes::sound.status.muted);
  frame(10);
  ui::on_double_click(at(ui::kHitMute).x + 2, at(ui::kHitMute).y + 2);
  EXPECT_FALSE(fakes::sound.status.muted) << "a quick second press is a press";
  fakes::sound.devices = {{"sink.a", "Speakers"}, {"sink.b", "Head\nphones"}};
  s_.output = "sink.b";
  for (const auto& [i, name] : {std::pair{1, "sink.a"}, {2, "sink.b"}, {0, ""}}) {
    press(ui::kHitDevice);
    ASSERT_EQ(list().rows.size(), 3U);
    EXPECT_EQ(list().rows[2].text, "Head phones");
    EXPECT_EQ(list().rows[2].chosen, s_.output == "sink.b");
    press(row(i));
    EXPECT_EQ(s_.output, name);
    EXPECT_EQ(fakes::sound.output, name);
    EXPECT_TRUE(saved_in_time());
  }
}

TEST_F(views, answer_a_press_at_once_and_name_icons_after_a_while) {
  const auto tip_after = [](std::uint64_t ms) {
    EXPECT_FALSE(frame(ms)) << "no frames are asked for";
    return ui::state().look.feedback.tip;
  };
  press(ui::kHitMute);
  frame(119);
  EXPECT_TRUE(ui::pressed(ui::kHitMute)) << "long enough to be seen";
  frame(1);
  EXPECT_FALSE(ui::pressed(ui::kHitMute));
  press(ui::kHitDevice);
  frame(500);
  EXPECT_TRUE(ui::pressed(ui::kHitDevice)) << "its list is open";
  ui::on_key(ui::Key::Escape);
  EXPECT_FALSE(ui::pressed(ui::kHitDevice));

  code_at(at(ui::kHitCompact));
  EXPECT_FALSE(tip_after(200) || tip_after(599));
  EXPECT_TRUE(tip_after(1));
  code_at(at(ui::kHitSave));
  EXPECT_FALSE(tip_after(1)) << "another one's name is not due";
  const gfx::Rect save = at(ui::kHitSave);
  ui::on_mouse_down(save.x + 5, save.y + 5);
  EXPECT_TRUE(ui::pressed(ui::kHitSave) && !tip_after(700)) << "who presses knows";
  code_at(at(ui::kHitMute));
  EXPECT_FALSE(tip_after(1) || tip_after(700)) << "without a name";
}

TEST_F(panel, switches_are_on_their_way_for_120_ms) {
  const ui::Switch& eq_on_start = ui::kSwitches[1];
  s_.active_on_start = false;
  frame(200);
  EXPECT_EQ(ui::switch_at(eq_on_start), 0.0F);
  press(ui::kHitEqOnStart);
  EXPECT_TRUE(frame(60));
  EXPECT_FLOAT_EQ(ui::switch_at(eq_on_start), 0.5F);
  EXPECT_FALSE(frame(61));
  EXPECT_EQ(ui::switch_at(eq_on_start), 1.0F);
  ui::set_reduced_motion(true);
  press(ui::kHitEqOnStart);
  EXPECT_FALSE(frame(1));
  EXPECT_EQ(ui::switch_at(eq_on_start), 0.0F) << "at once where less motion is wanted";
}

TEST_F(views, a_save_that_failed_is_tried_again_a_minute_later) {
  const std::string in_the_way = settings::file_path() + ".tmp";
  std::filesystem::create_directories(in_the_way);
  ui::persist();
  std::filesystem::remove(in_the_way);
  frame(59999);
  EXPECT_FALSE(saved());
  frame(1);
  EXPECT_TRUE(saved());
}

TEST_F(views, unknown_position_is_neither_stored_nor_built_upon) {
  const auto stored_at = [](int x, int y) {
    fakes::desktop.x = x;
    fakes::desktop.y = y;
    ui::persist();
    const Settings s = settings::load();
    return std::pair(s.win_x, s.win_y);
  };
  EXPECT_EQ(stored_at(-20, 30), std::pair(-20, 30)) << "partly beyond the edge of the screen";
  EXPECT_EQ(stored_at(-1, -1), std::pair(-20, 30));
  s_.win_x = s_.win_y = -1;
  EXPECT_EQ(stored_at(-1, -1), std::pair(-1, -1));
  ui::set_compact(true);
  EXPECT_EQ(s_.mini_x, -1);
}

TEST_F(views, keep_a_place_and_a_size_each_and_are_hit_no_longer_once_left) {
  s_.mini_x = 7;
  int n = 100;
  for (const bool compact : {true, false, true}) {
    Settings expected = s_;
    for (std::int32_t Settings::*const field :
         compact
             ? std::array{&Settings::win_x, &Settings::win_y, &Settings::win_w, &Settings::win_h}
             : std::array{&Settings::mini_x, &Settings::mini_y, &Settings::mini_w,
                          &Settings::mini_h})
      expected.*field = ++n;
    expected.compact = compact;
    fakes::desktop.x = n - 3;
    fakes::desktop.y = n - 2;
    fakes::desktop.w = n - 1;
    fakes::desktop.h = n;
    const gfx::Rect left = at(compact ? ui::kHitPower : ui::kHitBack);
    ui::set_compact(compact);
    EXPECT_TRUE(s_ == expected) << n;
    EXPECT_EQ(code_at(left), ui::kHitNone) << "not painted yet";
    paint();
  }
}

TEST_F(views, compact_strip_closes_and_the_panel_opens_in_the_full_view) {
  s_.compact = true;
  paint();
  press(ui::kHitClose);
  EXPECT_TRUE(saved());
  EXPECT_EQ(calls(), Calls{"quit"});
  ui::open_settings();
  EXPECT_TRUE(!s_.compact && ui::state().look.settings_open);
  EXPECT_EQ(calls(), Calls{"set_compact 0 1"});
}

TEST_F(views, mark_what_is_chosen_and_warn_where_the_engine_does_not_work) {
  const auto pixel = [&](float x, float y) {
    ui::on_mouse_leave();
    paint();
    return canvas_->at(static_cast<int>(x), static_cast<int>(y));
  };
  const auto face = [&](int code) { return pixel(at(code).x + 5, at(code).y + at(code).h / 2); };
  for (s_.channel = 0; s_.channel < 3; ++s_.channel) {
    for (int i = 0; i < 3; ++i)
      EXPECT_EQ(face(ui::kHitChannel + i) == theme::colors()->mute_face, i != s_.channel) << i;
  }
  s_.channel = 0;
  ui::open_settings();
  for (const bool dark : {true, false}) {
    press(dark ? ui::kHitDark : ui::kHitLight);
    EXPECT_EQ(face(ui::kHitLight) == theme::colors()->mute_face, dark);
    EXPECT_EQ(face(ui::kHitDark) == theme::colors()->mute_face, !dark);
  }
  ui::set_compact(true);
  for (const bool works : {true, false}) {
    fakes::sound.status.active = works;
    frame(2000);
    paint();
    const gfx::Rect power = at(ui::kHitMiniPower);
    const theme::Colors& c = *theme::colors();
    EXPECT_EQ(pixel(power.x + 22, power.y + 17), works ? c.on : c.warning);
  }
}

TEST_F(views, collapsing_keeps_the_scale_of_the_content) {
  fakes::desktop.w = 1440;
  fakes::desktop.h = 960;
  for (const char* resized : {"resize_window 1440 510 480 170", "resize_window 1440 960 480 320"}) {
    press(ui::kHitCollapse);
    EXPECT_EQ(calls(), Calls{resized});
  }
}

TEST_F(views, what_lies_above_takes_all_input) {
  void (*const layers[])() = {ui::open_settings, ui::open_presets, ui::open_save,
                              [] { ui::set_crash_report("what happened"); }};
  const float x = at(ui::kHitSlider + 9).x + 20;
  s_.curve.gain[9] = 4;
  for (const auto open : layers) {
    open();
    paint();
    EXPECT_EQ(ui::cursor_at(20, 20), ui::kCursorArrow);
    ui::on_wheel(x, 400, -1);
    ui::on_double_click(x, 400);
    EXPECT_EQ(s_.curve.gain[9], 4);
    open();
    paint();
    press(ui::kHitPower);
    EXPECT_TRUE(s_.active);
    ui::on_key(ui::Key::Escape);  // the last one has no key
  }
  ui::state().look.settings_open = true;
  ui::on_key(ui::Key::Escape);
  EXPECT_TRUE(ui::state().look.settings_open) << "below the note";
}

// ---- Notes

// For a screen reader whatever the mouse can meet has a name, is where it is painted, and is met
// there alone.
TEST_F(views, are_all_there_in_words) {
  const auto found = [](int code) {
    std::vector<reader::Element> all = ui::describe();
    std::erase_if(all, [code](const reader::Element& e) { return e.id != code; });
    return all.size() == 1 ? all[0] : reader::Element{};
  };
  const auto check = [&](int code) {
    if (code != ui::kHitNone) ui::carry_out({code, found(code).name});
    frame(16);
    paint();
    for (const ui::Element& e : ui::top_layer().elements) {
      if (e.code == ui::kHitPanel) continue;
      EXPECT_NE(found(e.code).name, "") << "element " << e.code << " after " << code;
      EXPECT_EQ(found(e.code).x, e.rect.x);
      EXPECT_TRUE(found(e.code).enabled || e.code == ui::kHitSaveOk);
    }
  };
  fakes::sound.status.setup_needed = true;
  s_.active = true;
  const std::string full = "On, Stereo, Sliders, ";
  for (const auto& [code, on] :
       {std::pair{ui::kHitNone, full},
        {ui::kHitSettings, full + "Equalizer active at start, Keep compact view on top, Dark, "},
        {ui::kHitPanelClose, full},
        {ui::kHitSave, full},
        {ui::kHitSaveCancel, full},
        {ui::kHitCollapse, "On, Stereo, "s},
        {ui::kHitCollapse, full},
        {ui::kHitCompact, "On, Compact view, "s},
        {ui::kHitBack, full}}) {
    check(code);
    std::string names;
    for (const reader::Element& e : ui::describe())
      names += e.on ? e.name + ", " : "";
    EXPECT_EQ(names, on);
  }
  check(ui::kHitPresets);
  EXPECT_FALSE(found(ui::kHitSlider).enabled);
  ui::carry_out({ui::kHitSlider, "31 Hz", reader::Verb::kSet, 6});
  EXPECT_EQ(s_.curve.gain[0], 0) << "a slider below a list has moved";
  const int rows = found(ui::kHitPresets).id * 1000 + 1000;
  EXPECT_EQ(found(rows + 2).name, "Flat");
  ui::carry_out({rows + 2, "Rock"});
  EXPECT_TRUE(list().open) << "the row is another one by now";
  ui::carry_out({rows + 2, "Flat"});
  EXPECT_EQ(s_.preset, "b:preset_flat");
  ui::set_crash_report("");
  paint();
  check(ui::kHitNone);
}

using notes = Window;

TEST_F(notes, say_the_first_thing_that_is_wrong_and_are_pressed_where_that_helps) {
  audio::Status& s = fakes::sound.status;
  const auto card = [] { return ui::state().view.layer.at(ui::kHitNote); };
  s.select_output = s.setup_needed = s.permission_needed = true;
  const auto says = [&](std::int32_t state, const char* key) {
    s.state = state;
    frame(10);
    paint();
    EXPECT_EQ(ui::status_view().note, i18n::T(key));
  };
  says(audio::kConnecting, "status_connecting");
  says(audio::kNoServer, "status_no_server");
  says(audio::kPassive, "status_other_instance");
  EXPECT_EQ(card(), gfx::Rect{});
  says(audio::kRunning, "status_select_output");
  s_.active = false;
  says(audio::kRunning, "status_setup_needed");
  press(card());
  EXPECT_EQ(calls(), Calls{"setup_devices"});
  for (void (*open)() : {ui::open_save, ui::open_settings}) {
    EXPECT_EQ(code_at(card()), ui::kHitNote);
    open();
    paint();
    EXPECT_NE(code_at(card()), ui::kHitNote) << "something lies above it";
    ui::on_key(ui::Key::Escape);
    paint();
  }
  s.setup_needed = false;
  says(audio::kRunning, "status_permission_needed");
  s.permission_needed = false;
  says(audio::kRunning, "");
  EXPECT_EQ(card(), gfx::Rect{});
}

TEST_F(notes, the_status_follows_the_engine_and_never_the_switch) {
  using ui::Tone;
  const std::string none = i18n::T("err_no_device");
  const std::string active = i18n::T("status_active");
  const std::string bypass = i18n::T("status_bypass");
  const std::string on_speakers = "  ·  Speakers";
  const std::string usb = "alsa_output.usb-Maker_Headset_of_many_words-00.analog-stereo";
  const std::string short_usb = "…many_words-00.analog-stereo";
  using Devices = std::vector<audio::Device>;
  const Devices both = {{"s", "Speakers"}, {usb, "Head\nset"}};
  const Devices one = {{"s", "Speakers"}};
  struct Case {
    bool wanted, active;
    std::string target, output;
    Devices devices;
    std::string line;
    Tone tone;
  };
  const Case cases[] = {
      {true, true, "s", "", both, active + on_speakers, Tone::Good},
      {false, false, "s", "", both, bypass + on_speakers, Tone::Off},
      {true, false, "s", "", both, bypass + on_speakers, Tone::Warning},
      {true, false, "", "", {}, none, Tone::Warning},
      {true, true, "s", usb, one, none + " — " + short_usb + on_speakers, Tone::Warning},
      {true, true, "s", usb, both, active + on_speakers, Tone::Good},
      {true, true, "s", "gone", one, none + " — gone" + on_speakers, Tone::Warning},
      {true, true, "s", usb, both, active + on_speakers, Tone::Good},
      {true, true, "s", usb, one, none + " — Head set" + on_speakers, Tone::Warning},
  };
  audio::Status& s = fakes::sound.status;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    s_.active = c.wanted;
    s_.output = c.output;
    s.active = c.active;
    s.target = c.target;
    s.target_label = c.target.empty() ? "" : "Speakers";
    fakes::sound.devices = c.devices;
    frame(500);
    for (const bool collapsed : {false, true}) {
      s_.collapsed = collapsed;
      paint();
      const ui::StatusView view = ui::status_view();
      EXPECT_EQ(view.line, c.line);
      EXPECT_EQ(view.tone, c.tone);
      EXPECT_EQ(view.note, collapsed && c.tone == Tone::Warning ? c.line : "")
          << "where there is no status line";
    }
  }
  // The chosen one that is not there stays in the list.
  s_.collapsed = false;
  paint();
  press(ui::kHitDevice);
  ASSERT_EQ(list().rows.size(), 3U);
  const ui::PopupRow& gone = list().rows[2];
  EXPECT_TRUE(gone.text == "Head set" && gone.chosen && gone.faint);
}

// ---- What a frame takes from the engine

using frames = Window;

TEST_F(frames, redraw_when_the_status_differs_and_remember_the_device_to_restore) {
  frame(10);
  ui::take_dirty();
  frame(10);
  EXPECT_FALSE(ui::take_dirty());
  for (const char* follow : {"sink.a", ""}) {
    fakes::sound.status.follow = follow;
    frame(10);
    EXPECT_TRUE(ui::take_dirty());
    EXPECT_FALSE(ui::take_dirty()) << "once";
    EXPECT_EQ(fakes::sound.restore_hint, "sink.a");
    EXPECT_EQ(s_.last_default, "sink.a");
  }
  frame(1200);
  EXPECT_TRUE(saved());
}

TEST_F(frames, analyse_every_block_once_and_the_chosen_channel_until_all_is_silent) {
  EXPECT_FALSE(frame(16));
  fakes::sound.has_sound = true;
  fakes::sound.left = 0.5F;
  fakes::sound.peak[1] = 0.5F;
  const float& bar = ui::state().bars.level[17];  // 1 kHz
  const auto level = [&](std::int32_t channel) {
    s_.channel = channel;
    ui::state().bars = {};
    ++fakes::sound.serial;
    EXPECT_TRUE(frame(200));
    return bar;
  };
  const float left = level(1);
  EXPECT_GT(left, -12);
  EXPECT_EQ(level(2), -66);
  EXPECT_NEAR(level(0), left - 6.02F, 0.05F);
  EXPECT_NEAR(ui::state().meter[1].level, -6.02F, 0.01F);
  EXPECT_EQ(ui::state().meter[0].level, -66);
  const float before = bar;
  frame(100);  // the same block: falls by 36 dB per second
  EXPECT_NEAR(bar, before - 3.6F, 0.05F);
  fakes::sound.peak[1] = 0;
  int count = 0;
  while (frame(100) && count < 1000)
    ++count;
  EXPECT_GT(count, 20);
  EXPECT_LT(count, 100);
}

}  // namespace
