// A walk through the interface, and all that follows from each step: what is drawn, what can be met
// and read, what the engine, the window and the settings get.
#include "app/autostart.h"
#include "app/device_presets.h"
#include "app/logger.h"
#include "app/settings_text.h"
#include "approved.h"
#include "fakes.h"
#include "i18n/i18n.h"
#include "recording.h"
#include "ui/accessible.h"
#include "ui/commands.h"
#include "ui/state.h"
#include "ui/views.h"

namespace recording {

std::string one_line(std::string text) {
  for (const auto& [mark, name] : {std::pair{"\u2068"s, "<"},
                                   {"\u2069"s, ">"},
                                   {"\u200F"s, "<rtl>"},
                                   {"\u2060"s, "<joined>"},
                                   {"\u00A0"s, "~"},
                                   {"\n"s, "<br>"}})
    for (std::size_t at = 0; (at = text.find(mark, at)) != std::string::npos;)
      text.replace(at, mark.size(), name);
  return text;
}

}  // namespace recording

namespace {

using approved::Action;
using approved::Lines;
using approved::number;

std::string text(const eq::Curve& curve) {
  std::string all = number(curve.preamp);
  for (const float gain : curve.gain)
    all += " " + number(gain);
  return all;
}

std::string text(float x, float y, float w, float h) {
  return number(x) + " " + number(y) + " " + number(w) + " " + number(h);
}

class walk : public Test {
 protected:
  walk() {
    fakes::reset();
    fs::create_directories(home_.config());
    i18n::set_language("en");
    ui::set_device_presets(&devices_, false);
    ui::init(&s_, false);
  }
  ~walk() override {
    ui::init(nullptr, false);
    ui::set_device_presets(nullptr, false);
  }

  // Paints where that is asked for, as the program does: what was not asked for stays as it was.
  void paint() {
    if (!std::exchange(fresh_, false) && !ui::take_dirty()) return;
    const ui::View v = ui::view_for(fakes::desktop.w, fakes::desktop.h);
    ui::draw_base(static_cast<int>(v.w), static_cast<int>(v.h));
    if (!ui::draw_overlay(static_cast<int>(v.w), static_cast<int>(v.h)))
      recording::drawn.emplace_back("no overlay");
    picture_ = std::exchange(recording::drawn, {});
  }

  Lines moving_parts() {
    const ui::BarView b = ui::bar_view();
    const ui::SegmentGeom g = ui::bar_geom(b.bars.w, b.bars.h, b.compact);
    const ui::SegmentGeom m = ui::meter_geom(b.meters.w, b.meters.h);
    Lines all{"bars at " + text(b.bars.x, b.bars.y, b.bars.w, b.bars.h),
              "meters at " + text(b.meters.x, b.meters.y, b.meters.w, b.meters.h),
              "glass at " + text(b.glass.x, b.glass.y, b.glass.w, b.glass.h) +
                  (b.show_glass ? "" : ", hidden")};
    for (const auto& [name, x] : {std::pair{"bars", g}, {"meters", m}})
      all.push_back(name + " of "s + std::to_string(x.columns) + " x " +
                    std::to_string(x.segments) + ": " +
                    text(x.column_width, x.gap, x.segment_height, x.pitch));
    int lit[ui::kBars];
    int peak[ui::kBars];
    ui::bar_segments(g.segments, lit, peak);
    for (const char* what : {"bars", "meters"}) {
      std::string line = what + " lit:"s;
      for (int i = 0; i < (what[0] == 'b' ? ui::kBars : ui::kMeters); ++i)
        line += " " + std::to_string(lit[i]) + "/" + std::to_string(peak[i]);
      all.push_back(line);
      ui::meter_segments(m.segments, lit, peak);
    }
    // Of the strips and the glyphs their first and last segment.
    for (int mode = 0; mode < ui::kModes; ++mode) {
      ui::paint_bars(mode, b.bars.w, b.bars.h, b.compact);
      ui::paint_meters(mode, b.meters.w, b.meters.h);
    }
    ui::paint_glass(b.glass.w, b.glass.h);
    const ui::TitleView& title = ui::title_view();
    all.push_back("title at " + text(title.x, title.y, title.size, title.height));
    for (const ui::TitleGlyph& glyph : title.glyphs) {
      all.back() += " " + glyph.text + number(glyph.x);
      ui::paint_glyph(glyph.text, title.size, glyph.width, title.height);
    }
    const Lines strips = std::exchange(recording::drawn, {});
    for (std::size_t i = 0; i < strips.size(); i += 97)
      all.push_back("strip " + strips[i]);
    all.push_back("caps of mode " + std::to_string(ui::cap_mode()) + ", " +
                  std::to_string(strips.size()) + " drawings");
    return all;
  }

  Lines world() {
    paint();
    Lines all = moving_parts();
    std::ranges::copy(picture_, std::back_inserter(all));
    for (std::string& line : approved::lines_of(settings::serialize(s_)))
      all.push_back("setting " + line);
    for (const std::string& line : approved::lines_of(device_presets::serialize(devices_)))
      all.push_back("device " + line);
    for (const ui::Element& e : ui::top_layer().elements)
      all.push_back("hit " + std::to_string(e.code) + " " +
                    text(e.rect.x, e.rect.y, e.rect.w, e.rect.h) +
                    (e.while_active ? " while active" : ""));
    for (const reader::Element& e : ui::describe())
      all.push_back("read " + std::to_string(e.id) + " in " + std::to_string(e.parent) + " role " +
                    std::to_string(static_cast<int>(e.role)) + " " + text(e.x, e.y, e.w, e.h) +
                    " " + recording::one_line(e.name + "|" + e.text) + " " + number(e.value) +
                    (e.enabled ? "" : " disabled") + (e.on ? " on" : "") +
                    (e.pressable ? " pressable" : "") + (e.erasable ? " erasable" : "") +
                    (e.focused ? " focused" : "") + (e.selected ? " selected" : ""));
    const fakes::Audio& engine = fakes::sound;
    all.push_back("engine " + std::string(engine.active ? "on" : "off") +
                  (engine.status.muted ? " muted" : "") + ", to " + engine.output + ", restores " +
                  engine.restore_hint);
    all.push_back("engine hears " + text(engine.curve));
    for (const auto& [device, curve] : engine.device_curves)
      all.push_back("engine for " + device + ": " + text(curve));
    const ui::Look& look = ui::state().look;
    all.push_back("over " + std::to_string(look.hover) + ", drags " + std::to_string(look.drag) +
                  ", cursor " + std::to_string(ui::cursor_at(x_, y_)));
    const ui::View v = ui::view_for(fakes::desktop.w, fakes::desktop.h);
    all.push_back("view " + text(0, 0, v.w, v.h) + ", zoom " +
                  number(static_cast<double>(v.zoom), 3));
    all.push_back(autostart::enabled() ? "starts at login" : "does not start at login");
    const Settings written = fs::exists(settings::file_path()) ? settings::load() : Settings{};
    all.push_back(written == s_ ? "saved" : "not saved");
    all.push_back(device_presets::load() == devices_ ? "devices saved" : "devices not saved");
    return all;
  }

  // To an element, by its code, or to a point: "12", "at 30 300".
  void go(Action& a) {
    const std::string word = a.word();
    if (word == "at") return void(a >> x_ >> y_);
    const gfx::Rect r = ui::top_layer().at(std::stoi(word));
    missing_ = r.w <= 0;
    x_ = r.x + r.w / 2;
    y_ = r.y + r.h / 2;
  }
  // To a row of the list, this far from one of its edges.
  void go_to_row(Action& a, float from_start) {
    const ui::PopupLayout& list = ui::state().list;
    x_ = list.rect.x + from_start + (from_start < 0 ? list.rect.w : 0);
    y_ = list.rect.y + ui::kPopupPadding +
         (static_cast<float>(a.next() - list.first) + 0.5F) * ui::kRowHeight;
  }
  void hold() const {
    ui::on_mouse_move(x_, y_);
    ui::on_mouse_down(x_, y_);
  }

  void point(Action& a) {
    const int steps = a.is("wheel") ? a.next() : 0;
    if (a.is("row") || a.is("over-row")) {
      go_to_row(a, 20);
    } else if (a.is("erase") || a.is("over-erase")) {
      go_to_row(a, -12);
    } else if (a.is("press") || a.is("hold") || a.is("move") || a.is("double") || a.is("wheel")) {
      go(a);
    }
    if (a.is("move") || a.is("over-row") || a.is("over-erase")) ui::on_mouse_move(x_, y_);
    if (a.is("hold") || a.is("press") || a.is("row") || a.is("erase")) hold();
    if (a.is("release") || a.is("press") || a.is("row") || a.is("erase")) ui::on_mouse_up();
    if (a.is("leave")) ui::on_mouse_leave();
    if (a.is("double")) ui::on_double_click(x_, y_);
    if (a.is("wheel")) ui::on_wheel(x_, y_, steps);
  }

  // What becomes of the engine and the window without the interface.
  void change(Action& a) {
    audio::Status& status = fakes::sound.status;
    fakes::Platform& desktop = fakes::desktop;
    fakes::Audio& sound = fakes::sound;
    fresh_ = fresh_ || a.is("window") || a.is("framed") || a.is("scale") || a.is("compact") ||
             a.is("start");
    if (a.is("window")) a >> desktop.w >> desktop.h;
    if (a.is("position")) a >> desktop.x >> desktop.y;
    if (a.is("framed")) a >> desktop.framed;
    if (a.is("scale")) ui::set_pixel_scale(a.next<float>() / 100);
    if (a.is("reduced")) ui::set_reduced_motion(a.next() != 0);
    if (a.is("state"))
      a >> status.state >> status.active >> status.select_output >> status.setup_needed >>
          status.permission_needed;
    if (a.is("target")) {
      a >> status.target;
      status.target_label = a.rest();
    }
    if (a.is("follow")) a >> status.follow;
    if (a.is("plays"))
      if (const std::string name = a.rest(); true) fakes::play_to(name == "nothing" ? "" : name);
    if (a.is("device")) {
      sound.devices.push_back({a.word(), ""});
      sound.devices.back().label = a.rest();
    }
    if (a.is("unplug")) sound.devices.clear();
    if (a.is("sound")) {
      sound.has_sound = true;
      sound.peak[0] = sound.left = std::stof(a.word());
      sound.peak[1] = sound.right = std::stof(a.word());
      ++sound.serial;
    }
    // A directory where the next one is to be written.
    const auto in_the_way = [&] { return home_.config() / (a.word() + ".tmp"); };
    if (a.is("block")) fs::create_directories(in_the_way());
    if (a.is("unblock")) fs::remove(in_the_way());
  }

  void ask(Action& a) {
    if (a.is("key")) ui::on_key(static_cast<ui::Key>(a.next()));
    if (a.is("type")) ui::on_text(a.rest());
    if (a.is("file")) {
      const fs::path path = home_.path() / a.word();
      write_file(path, a.rest());
      ui::import_file(path);
    }
    if (a.is("import-at-start")) ui::import_at_start(home_.path() / a.rest());
    if (a.is("devices")) {
      const bool keep_choice = a.next() != 0;
      devices_ = device_presets::deserialize(a.rest());
      ui::set_device_presets(&devices_, keep_choice);
    }
    if (a.is("crash")) ui::set_crash_report(a.rest());
    if (a.is("ask")) {
      reader::Command c;
      a >> c.id;
      c.verb = static_cast<reader::Verb>(a.next());
      a >> c.value;
      c.name = a.rest();
      ui::carry_out(c);
    }
    if (a.is("choose")) ui::choose_preset(a.rest());
    if (a.is("each")) ui::use_device_presets(a.next() != 0);
    if (a.is("equalizer")) ui::set_equalizer(a.next() != 0);
    if (a.is("mute")) ui::toggle_mute();
    if (a.is("toggle")) ui::toggle_equalizer();
    if (a.is("compact")) ui::show_compact(a.next() != 0);
    if (a.is("settings")) ui::open_settings();
    if (a.is("persist")) ui::persist();
    if (a.is("presets"))
      for (const ui::NamedPreset& p : ui::presets())
        fakes::desktop.calls.push_back(p.id + " " + p.name + " " + text(p.curve));
    if (a.is("start")) ui::init(&s_, a.next() != 0);
    if (a.is("set")) {
      settings::deserialize(a.rest(), &s_);
      ui::follow_settings();
    }
  }

  std::string act(Action& a) {
    const bool whole = a.is("look");
    if (whole) before_.clear();
    bool moving = false;
    if (a.is("frame")) {
      fakes::desktop.now += a.next<std::uint64_t>();
      moving = ui::on_frame();
    }
    point(a);
    change(a);
    ask(a);
    Lines now = world();
    std::string result =
        approved::beginning(approved::difference(before_, now), whole ? now.size() : 24);
    before_ = std::move(now);
    if (std::exchange(missing_, false)) result += "is not there\n";
    for (const std::string& call : std::exchange(fakes::desktop.calls, {}))
      result += "call " + call + "\n";
    if (const int curves = std::exchange(fakes::sound.curves, 0); curves != 0)
      result += "curves " + std::to_string(curves) + "\n";
    if (a.is("frame")) result += moving ? "moves\n" : "rests\n";
    return result;
  }

  Home home_;
  Settings s_;
  DevicePresets devices_;
  float x_ = 0;
  float y_ = 0;
  bool fresh_ = true;
  bool missing_ = false;  // the element of the last action
  Lines picture_;
  Lines before_;
};

TEST_F(walk, leads_through_the_window) {
  approved::expect("window.txt", [this](Action& a) { return act(a); });
}

TEST_F(walk, leads_through_presets_and_files) {
  approved::expect("presets.txt", [this](Action& a) { return act(a); });
}

TEST_F(walk, leads_through_devices_and_what_is_said_of_them) {
  approved::expect("devices.txt", [this](Action& a) { return act(a); });
}

}  // namespace
