// DESIGN: one record holds the whole state of the interface; every source reads and changes it
// through state(). Until init there is a stand-in for the settings, so nothing has to ask whether
// there are any.
#include "ui/ui.h"

#include <algorithm>
#include <cmath>

#include "app/autostart.h"
#include "platform/platform.h"
#include "ui_private.h"

namespace ui {

namespace {

constexpr std::uint64_t kSaveDelayMs = 1200;
constexpr std::uint64_t kSaveAgainMs = 60000;  // after a save that failed
constexpr float kLeastZoom = 0.25F;
constexpr int kLeastWidth = 480;

Settings g_stand_in;
State fresh_state(Settings* settings) {
  State s;
  s.settings = settings != nullptr ? settings : &g_stand_in;
  s.attached = settings != nullptr;
  return s;
}

State g_state = fresh_state(nullptr);
bool g_open_settings = false;  // asked for before init

void reference_of(const Settings& s, int* w, int* h) {
  *w = static_cast<int>(s.compact ? kMiniWidth : kFullWidth);
  *h = static_cast<int>(s.compact ? kMiniHeight : s.collapsed ? kCollapsedHeight : kFullHeight);
}

// The window as it is now, into the fields of the current view.
void store_window() {
  Settings& s = *g_state.settings;
  int x = -1;
  int y = -1;
  int w = 0;
  int h = 0;
  platform::window_pos(&x, &y);
  platform::window_size(&w, &h);
  if (x >= 0 || y >= 0) {
    (s.compact ? s.mini_x : s.win_x) = x;
    (s.compact ? s.mini_y : s.win_y) = y;
  }
  if (w > 0 && h > 0) {
    (s.compact ? s.mini_w : s.win_w) = w;
    (s.compact ? s.mini_h : s.win_h) = h;
  }
}

void open_panel() {
  close_popup();
  g_state.panel = {};
  g_state.settings_open = true;
  g_state.autostart = autostart::enabled();
  set_dirty();
}

}  // namespace

State& state() {
  return g_state;
}

float& gain_at(eq::Curve* curve, int i) {
  return i == kPreamp ? curve->preamp : curve->gain[i];
}

float gain_at(const eq::Curve& curve, int i) {
  return i == kPreamp ? curve.preamp : curve.gain[i];
}

void set_dirty() {
  g_state.dirty = true;
}

void schedule_save() {
  g_state.save_at = platform::ticks_ms() + kSaveDelayMs;
}

void push_curve() {
  audio::set_curve(g_state.settings->curve);
  set_dirty();
}

void open_settings_at_start() {
  g_open_settings = true;
}

void set_crash_report(const std::string& text) {
  g_state.crash = {};
  g_state.crash.shown = true;
  g_state.crash.text = text;
  set_dirty();
}

void init(Settings* settings, bool autostart) {
  const CrashNote crash = state().crash;  // may have been handed over before
  g_state = fresh_state(settings);
  g_state.crash = crash;
  g_state.autostart = autostart;
  g_state.last_frame = platform::ticks_ms();
  theme::set_dark(g_state.settings->theme != "light");
  if (g_open_settings) open_panel();
  g_open_settings = false;
}

void shutdown() {}

void persist() {
  if (!g_state.attached) return;
  // A glide that is cut short by the end of the program has to be found complete at the next start.
  if (g_state.glide.running) {
    g_state.settings->curve = g_state.glide.to;
    g_state.glide.running = false;
  }
  store_window();
  // The disk may have room again later.
  if (!settings::save(*g_state.settings)) g_state.save_at = platform::ticks_ms() + kSaveAgainMs;
}

bool take_dirty() {
  const bool dirty = g_state.dirty;
  g_state.dirty = false;
  return dirty;
}

void reference_size(int* w, int* h) {
  *w = static_cast<int>(kFullWidth);
  *h = static_cast<int>(kFullHeight);
  if (g_state.attached) reference_of(*g_state.settings, w, h);
}

View view_for(int w, int h) {
  View view{1.0F, static_cast<float>(w), static_cast<float>(h)};
  if (!g_state.attached || w < 1 || h < 1) return view;
  int ref_w = 0;
  int ref_h = 0;
  reference_size(&ref_w, &ref_h);
  view.zoom = std::max(
      kLeastZoom, std::min(view.h / static_cast<float>(ref_h), view.w / static_cast<float>(ref_w)));
  view.w /= view.zoom;
  view.h /= view.zoom;
  return view;
}

void set_pixel_scale(float scale) {
  g_state.pixel_scale = scale > 0.0F ? scale : 1.0F;
}

void set_compact(bool on) {
  Settings& s = *g_state.settings;
  store_window();
  if (on && s.mini_x == -1 && (s.win_x >= 0 || s.win_y >= 0)) {
    s.mini_x = s.win_x + std::max(0, s.win_w - static_cast<int>(kMiniWidth));
    s.mini_y = s.win_y;
  }
  s.compact = on;
  close_popup();
  close_save();
  g_state.settings_open = false;
  g_state.layout = {};  // what was painted is gone, and so is what can be hit
  g_state.hover = kHitNone;
  g_state.drag = kHitNone;
  g_state.note_click = {};
  platform::set_compact(on, s.compact_on_top);
  set_dirty();
  schedule_save();
}

void toggle_collapsed() {
  Settings& s = *g_state.settings;
  int w = 0;
  int h = 0;
  platform::window_size(&w, &h);
  const float zoom = view_for(w, h).zoom;
  s.collapsed = !s.collapsed;
  int ref_w = 0;
  int ref_h = 0;
  reference_size(&ref_w, &ref_h);
  const auto scaled = [zoom](int length) {
    return static_cast<int>(std::lround(static_cast<float>(length) * zoom));
  };
  g_state.layout = {};
  g_state.note_click = {};
  platform::resize_window(scaled(ref_w), scaled(ref_h), kLeastWidth, kLeastWidth * ref_h / ref_w);
  set_dirty();
  schedule_save();
}

void open_settings() {
  if (g_state.settings->compact) set_compact(false);
  open_panel();
}

}  // namespace ui
