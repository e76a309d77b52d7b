// DESIGN: one record holds the whole state of the interface. Code that changes it, or the settings,
// does nothing else: the consequences of a change (the engine's curve, a save, another picture) are
// found by comparing with the previous state. Until init there is a stand-in for the settings, so
// no code has to check for them.
#include "ui/ui.h"

#include <algorithm>
#include <cmath>

#include "app/autostart.h"
#include "device_presets.h"
#include "i18n/i18n.h"
#include "platform/platform.h"
#include "state.h"
#include "ui/theme.h"
#include "ui/view_sizes.h"

namespace ui {

namespace {

constexpr std::uint64_t kSaveDelayMs = 1200;
constexpr std::uint64_t kSaveAgainMs = 60000;  // after a save that failed
constexpr float kLeastZoom = 0.25F;

Settings g_stand_in;
State fresh_state(Settings* settings) {
  State s;
  s.settings = settings != nullptr ? settings : &g_stand_in;
  s.attached = settings != nullptr;
  s.followed = *s.settings;
  s.heard = s.followed.curve;
  return s;
}

State g_state = fresh_state(nullptr);
bool g_open_settings = false;  // asked for before init

// Stores the window's place and size in the fields of the current view.
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
  g_state.look.settings_open = true;
  g_state.look.autostart = autostart::enabled();
  settle_switches();
}

// Discards what was painted, and with it everything that can be hit.
void leave_view() {
  g_state.view = {};
  g_state.note = {};
}

}  // namespace

State& state() {
  return g_state;
}

void follow_settings() {
  State& s = g_state;
  const Settings& now = *s.settings;
  if (s.heard != curve_to_hear()) {
    s.heard = curve_to_hear();
    hand_over_curve(s.heard);
  }
  if (now == s.followed) return;
  if (now.user_presets != s.followed.user_presets) follow_user_presets(s.followed, now);
  if (now.active != s.followed.active) audio::set_active(now.active);
  if (now.last_default != s.followed.last_default) audio::set_restore_hint(now.last_default);
  if (now.theme != s.followed.theme) theme::set_dark(now.theme != "light");
  if (now.language != s.followed.language) i18n::set_language(now.language);
  s.followed = now;
  save_later();
}

void save_later() {
  g_state.save_at = platform::ticks_ms() + kSaveDelayMs;
}

bool hovered(int code) {
  return code != kHitNone && g_state.look.hover == code;
}

const Layer& top_layer() {
  const State& s = g_state;
  const bool compact = s.settings->compact;
  if (s.look.crash_note && !compact) return s.crash.layer;
  if (s.look.save.open) return s.dialog.layer;
  if (s.look.popup.open) return s.list.layer;
  if (s.look.settings_open && !compact) return s.panel.layer;
  return s.view.layer;
}

void open_settings_at_start() {
  g_open_settings = true;
}

void set_crash_report(const std::string& /*text*/) {
  g_state.look.crash_note = true;
  g_state.crash = {};
  g_state.crash.layer.elsewhere = kHitCrashNote;
}

void init(Settings* settings, bool autostart) {
  const bool crash_note = g_state.look.crash_note;  // may have been handed over before
  g_state = fresh_state(settings);
  if (crash_note) set_crash_report("");
  g_state.look.autostart = autostart;
  g_state.last_frame = g_state.in_force_at = platform::ticks_ms();
  theme::set_dark(g_state.settings->theme != "light");
  begin_devices();
  if (g_open_settings) open_panel();
  g_open_settings = false;
}

void shutdown() {}

void persist() {
  State& s = g_state;
  if (!s.attached) return;
  // Nobody has saved the imported curve.
  if (s.look.save.before) close_save();
  // If the program ends during a glide, the next start must find its end.
  finish_glide();
  store_window();
  follow_settings();
  follow_device();
  const bool devices_saved = save_devices();
  // A full disk may have room later.
  const bool saved = settings::save(*s.settings) && devices_saved;
  s.save_at = saved ? 0 : platform::ticks_ms() + kSaveAgainMs;
}

bool take_dirty() {
  State& s = g_state;
  if (!s.stale && s.look == s.drawn_look && *s.settings == s.drawn) return false;
  s.stale = false;
  s.drawn_look = s.look;
  s.drawn = *s.settings;
  return true;
}

void reference_size(int* w, int* h) {
  const Settings& s = *g_state.settings;
  const ViewSize size = g_state.attached ? view_size(s.compact, s.collapsed) : kFullSize;
  *w = size.w;
  *h = size.h;
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

void set_reduced_motion(bool reduced) {
  g_state.reduced_motion = reduced;
}

void set_compact(bool on) {
  Settings& s = *g_state.settings;
  Look& look = g_state.look;
  store_window();
  if (on && s.mini_x == -1 && (s.win_x >= 0 || s.win_y >= 0)) {
    s.mini_x = s.win_x + std::max(0, s.win_w - kCompactSize.w);
    s.mini_y = s.win_y;
  }
  s.compact = on;
  close_popup();
  close_save();
  look.settings_open = false;
  look.hover = kHitNone;
  look.drag = kHitNone;
  leave_view();
  platform::set_compact(on, s.compact_on_top);
}

void toggle_collapsed() {
  Settings& s = *g_state.settings;
  ViewSize now = view_size(false, s.collapsed);
  platform::window_size(&now.w, &now.h);
  const float zoom = view_for(now.w, now.h).zoom;
  s.collapsed = !s.collapsed;
  leave_view();
  const auto scaled = [zoom](int length) {
    return static_cast<int>(std::lround(static_cast<float>(length) * zoom));
  };
  const ViewSize view = view_size(false, s.collapsed);
  // Unfolding restores the exact size from before, without rounding.
  const ViewSize size =
      now == g_state.after_fold ? g_state.before_fold : ViewSize{scaled(view.w), scaled(view.h)};
  g_state.before_fold = now;
  g_state.after_fold = size;
  const ViewSize least = least_size(false, s.collapsed);
  platform::resize_window(size.w, size.h, least.w, least.h);
}

void open_settings() {
  if (g_state.settings->compact) set_compact(false);
  open_panel();
}

}  // namespace ui
