// DESIGN: most positions are taken from the rectangles as last painted, because random points
// rarely meet a button; the rest are anywhere, also outside the window. Most paintings only measure
// (there is no context): that keeps the rectangles current at a fraction of the cost.
#include "event_driver.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

#include "../gfx/canvas.h"
#include "app/utf8.h"
#include "curves/curve_files.h"
#include "fakes.h"
#include "i18n/i18n.h"
#include "ui/commands.h"
#include "ui/presets.h"
#include "ui/state.h"
#include "ui/theme.h"

namespace events {

namespace {

class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}
  bool empty() const { return at_ == end_; }
  unsigned next() { return empty() ? 0U : *at_++; }
  int below(int n) { return static_cast<int>(next()) % n; }
  bool flag() { return (next() & 1U) != 0; }
  std::string text(int most) {
    std::string result;
    for (int n = below(most + 1); n > 0; --n)
      result += static_cast<char>(next());
    return result;
  }

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
};

Settings g_settings;
gfx::Rect g_view;  // the logical window as last painted

void paint(bool pixels) {
  const ui::View v = ui::view_for(fakes::desktop.w, fakes::desktop.h);
  g_view = {0, 0, std::floor(v.w), std::floor(v.h)};
  const auto w = static_cast<int>(v.w);
  const auto h = static_cast<int>(v.h);
  std::unique_ptr<Canvas> canvas;
  if (pixels && w * h < 2'000'000) canvas = std::make_unique<Canvas>(w, h);
  ui::draw_base(w, h);
  ui::draw_overlay(w, h);
  const ui::BarView bars = ui::bar_view();
  ui::paint_bars(ui::kLit, bars.bars.w, bars.bars.h, bars.compact);
  ui::paint_meters(ui::kPeak, bars.meters.w, bars.meters.h);
  ui::paint_glass(bars.glass.w, bars.glass.h);
  for (const ui::TitleGlyph& glyph : ui::title_view().glyphs)
    ui::paint_glyph(glyph.text, 27, glyph.width, 27);
}

// What can be met in the layer on top.
std::vector<gfx::Rect> targets() {
  std::vector<gfx::Rect> all;
  for (const ui::Element& e : ui::top_layer().elements)
    all.push_back(e.rect);
  const gfx::Rect& p = ui::state().list.rect;
  if (all.empty())
    all = {p, {p.x, p.y, p.w, 34}, {p.x, p.y + p.h - 34, p.w, 34}, {p.x + p.w - 34, p.y, 34, p.h}};
  return all;
}

std::pair<float, float> somewhere(Bytes* bytes) {
  const unsigned kind = bytes->next();
  gfx::Rect r{-40, -40, g_view.w + 80, g_view.h + 80};
  if (kind % 4 != 0) {
    const std::vector<gfx::Rect> all = targets();
    r = all[kind / 4 % all.size()];
  }
  const auto part = [bytes] { return static_cast<float>(bytes->next()) / 255.0F; };
  const float x = r.x + r.w * part();
  return {x, r.y + r.h * part()};
}

std::string typed(Bytes* bytes) {
  const char* const known[] = {" ", "ä€", "\U0001F600", "\u202Ea\u202C", "more than fits"};
  const unsigned kind = bytes->next();
  return kind % 3 == 0 ? bytes->text(8) : known[kind / 3 % std::size(known)];
}

void change_status(Bytes* bytes) {
  audio::Status& s = fakes::sound.status;
  const unsigned bits = bytes->next();
  s.state = bits % 5 == 4 ? audio::kRunning : static_cast<std::int32_t>(bits % 5);
  s.select_output = (bits & 16U) != 0;
  s.setup_needed = (bits & 32U) != 0;
  s.permission_needed = (bits & 64U) != 0;
  s.target = bytes->text(1);
  fakes::play_to(s.target);
  ui::use_device_presets((bits & 128U) != 0);
  s.target_label = bytes->text(6);
  s.active = bytes->flag();
  s.follow = bytes->text(2);
  fakes::sound.devices.clear();
  for (int n = bytes->below(4); n > 0; --n)
    fakes::sound.devices.push_back({bytes->text(3), bytes->text(6)});
}

void change_sound(Bytes* bytes) {
  fakes::Audio& s = fakes::sound;
  const float levels[] = {0, 1e-5F, 0.1F, 1, 4, NAN, INFINITY};
  s.has_sound = bytes->flag();
  s.left = levels[bytes->below(7)];
  s.right = levels[bytes->below(7)];
  s.peak[0] = s.left;
  s.peak[1] = s.right;
  ++s.serial;
}

void change_window(Bytes* bytes) {
  fakes::Platform& d = fakes::desktop;
  switch (bytes->below(9)) {
    case 0:
      return ui::open_settings();
    case 1:
      return ui::set_compact(!g_settings.compact);
    case 2:
      return ui::set_crash_report(bytes->text(8));
    case 3:
      return ui::set_pixel_scale(
          std::array{1.0F, 1.25F, 1.5F, 2.0F, 0.0F, -1.0F, 0.1F, NAN}[bytes->next() % 8]);
    case 4:
      d.framed = !d.framed;
      d.x = d.y = bytes->flag() ? -1 : bytes->below(256) - 50;
      return;
    case 5:  // as large as the view likes it
      return ui::reference_size(&d.w, &d.h);
    case 6:
      return ui::begin_import({.name = bytes->flag() ? "File" : "",
                               .curve = {{static_cast<float>(bytes->below(12))}, -2},
                               .left_out = {}});
    default:
      d.w = 8 * bytes->below(256);
      d.h = 6 * bytes->below(256);
  }
}

void step(Bytes* bytes) {
  const int kind = bytes->below(32);
  if (kind < 20) {
    const auto [x, y] = somewhere(bytes);
    if (kind < 5) ui::on_mouse_move(x, y);
    if (kind < 5) ui::cursor_at(x, y);
    if (kind >= 5 && kind < 15) ui::on_mouse_down(x, y);
    if (kind >= 5 && kind < 12) ui::on_mouse_up();
    if (kind == 15 || kind == 16) ui::on_double_click(x, y);
    if (kind > 16) ui::on_wheel(x, y, bytes->below(5) - 2);
  } else if (kind > 24 && kind < 29) {
    fakes::desktop.now +=
        std::array{0U, 1U, 16U, 16U, 100U, 700U, 1300U, 60000U}[bytes->next() % 8];
    ui::on_frame();
    if (ui::take_dirty()) paint(bytes->below(16) == 0);
  }
  if (kind == 20) ui::on_mouse_up();
  if (kind == 21) ui::on_mouse_leave();
  if (kind == 22) ui::on_key(static_cast<ui::Key>(bytes->below(3)));
  if (kind == 23 || kind == 24) ui::on_text(typed(bytes));
  if (kind == 29) change_window(bytes);
  if (kind == 30) change_status(bytes);
  if (kind == 31) change_sound(bytes);
}

bool bounded(const eq::Curve& curve) {
  bool all = std::fabs(curve.preamp) <= eq::kMaxGainDb;
  for (const float gain : curve.gain)
    all = all && std::fabs(gain) <= eq::kMaxGainDb;
  return all;
}

bool good_name(const std::string& name) {
  return utf8::count(name) <= kMaxPresetName && utf8::valid(name) &&
         std::ranges::none_of(name, [](char c) { return (c >= 0 && c < 32) || c == 127; });
}

// What does not hold, null when all does.
const char* broken() {
  const ui::Look& look = ui::state().look;
  const Settings& s = g_settings;
  const std::vector<UserPreset>& presets = s.user_presets;
  const bool silent = !look.status.active || look.status.target.empty();
  // Where each device has its own curve: which one plays.
  const std::string& device = look.status.target_id;
  const bool noticed =
      !ui::has_device_presets() || (!device.empty() && device == fakes::sound.status.target_id);
  const std::pair<bool, const char*> promises[] = {
      {ui::state().settings == &s && ui::state().attached, "the settings stay attached"},
      {bounded(s.curve), "gains are within +/-12 dB"},
      {!noticed || ui::curve_to_hear() == fakes::sound.curve, "the engine has the curve shown"},
      {s.active == fakes::sound.active, "the engine is on when the switch is"},
      {s.last_default == fakes::sound.restore_hint, "the engine knows what to restore"},
      {fakes::sound.output == "(never set)" || fakes::sound.output == s.output,
       "the engine plays to what is chosen"},
      {theme::dark() == (s.theme != "light"), "the theme is the one that is chosen"},
      {s.channel >= 0 && s.channel <= 2, "the channel is 0 to 2"},
      // Nothing can be saved where these homes are.
      {ui::state().save_at <= fakes::desktop.now + 60000, "saving is tried again within a minute"},
      {look.drag == 0 || ui::is_slider(look.drag), "only sliders are dragged"},
      {look.drag == 0 || s.active, "sliders stay put while the equalizer is off"},
      {!look.save.open || !look.popup.open, "there is no list above the save dialog"},
      {!s.compact || (!look.settings_open && !look.save.open), "the strip has no dialogs"},
      {!look.popup.open || look.popup.hover < static_cast<int>(look.popup.rows.size()),
       "the hovered row exists"},
      {!silent || ui::status_view().tone != ui::Tone::Good, "green only where it works"},
      {good_name(look.save.name), "the name in the field is short, clean UTF-8"},
      {presets.size() <= kMaxUserPresets, "at most 100 presets are kept"}};
  for (const auto& [holds, what] : promises)
    if (!holds) return what;
  for (const UserPreset& p : presets) {
    if (p.name.empty() || !good_name(p.name)) return "names of presets are short, clean UTF-8";
    if (!bounded(p.curve)) return "gains of presets are within +/-12 dB";
    if (&presets[static_cast<std::size_t>(ui::find_user(p.name))] != &p) return "names are unique";
  }
  return nullptr;
}

void begin(Bytes* bytes) {
  setenv("HOME", "/proc/nowhere", 1);
  setenv("XDG_CONFIG_HOME", "/proc/nowhere", 1);
  fakes::reset();
  gfx::init(nullptr);
  i18n::set_language("en");
  g_settings = {};
  const unsigned how = bytes->next();
  g_settings.compact = how % 8 == 1;
  g_settings.collapsed = how % 8 == 2;
  g_settings.active = how % 8 != 3;
  for (unsigned i = how % 8 == 4 ? 99 : how % 4; i > 0; --i)
    g_settings.user_presets.push_back({std::to_string(i), {{static_cast<float>(i % 12)}, -3}});
  fakes::sound.curve = g_settings.curve;
  fakes::sound.active = g_settings.active;
  ui::state().look.crash_note = false;
  ui::set_pixel_scale(1);
  ui::set_device_presets(nullptr, false);
  ui::init(&g_settings, false);
  paint(false);
}

}  // namespace

Outcome run(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  begin(&bytes);
  Outcome outcome;
  for (bool quit = false; !bytes.empty() && !quit && outcome.broken == nullptr; ++outcome.events) {
    fakes::desktop.calls.clear();
    step(&bytes);
    quit = std::ranges::count(fakes::desktop.calls, "quit") > 0;
    if (!quit) outcome.broken = broken();
  }
  ui::init(nullptr, false);
  return outcome;
}

}  // namespace events
