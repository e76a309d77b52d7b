// DESIGN: what lies above the moving bars, from the bottom up: the note about the engine's state,
// the settings panel, the save dialog, the popup, and above all of them the note about a crash.
#include <algorithm>

#include "i18n/i18n.h"
#include "ui_private.h"

namespace ui {

namespace {

constexpr float kText = 14.0F;

bool can_be_set_up() {
  const audio::Status& s = state().status;
  return s.state == audio::kRunning && (s.setup_needed || s.permission_needed);
}

bool draw_status_note() {
  State& s = state();
  s.note_click = {};
  const char* key = status_note_key();
  if (key == nullptr) return false;
  const theme::Colors& c = *theme::colors();
  const Rect& area = s.settings->compact ? s.layout.bars : s.layout.spectrum;
  const std::string text = i18n::T(key);
  Rect card;
  card.w = std::min(gfx::text_width(text, kText, false) + 40.0F, area.w - 40.0F);
  card.h = gfx::wrapped_height(text, kText, card.w - 32.0F) + 18.0F;
  card.x = area.x + (area.w - card.w) * 0.5F;
  card.y = area.y + (area.h - card.h) * 0.5F;
  if (can_be_set_up()) s.note_click = card;
  const bool over = can_be_set_up() && s.hover == kHitNote;
  gfx::fill_round_rect(card, 8.0F, theme::with_alpha(c.panel, 0.94F));
  if (over) gfx::fill_round_rect(card, 8.0F, theme::with_alpha(c.accent, 0.35F));
  gfx::stroke_round_rect(card, 8.0F, over ? c.accent : c.border, 1.0F);
  gfx::text_wrapped({card.x + 16.0F, card.y + 9.0F, card.w - 32.0F, card.h - 18.0F}, text, kText,
                    c.text, Align::Center);
  return true;
}

void crash_buttons(const Rect& card) {
  State& s = state();
  const theme::Colors& c = *theme::colors();
  const std::string send = i18n::T("crash_send");
  const std::string discard = i18n::T("crash_discard");
  constexpr float kHeight = 36.0F;
  const float y = card.y + card.h - 24.0F - kHeight;
  const auto width = [](const std::string& text) {
    return std::max(gfx::text_width(text, 13.0F, true) + 36.0F, 100.0F);
  };
  const float send_w = width(send);
  const float discard_w = width(discard);
  s.crash.send = {card.x + card.w - 24.0F - send_w, y, send_w, kHeight};
  s.crash.discard = {s.crash.send.x - 10.0F - discard_w, y, discard_w, kHeight};
  button_bg(s.crash.discard, s.hover == kHitCrashDiscard);
  button_label(s.crash.discard, discard, 13.0F, s.hover == kHitCrashDiscard, false);
  button_bg(s.crash.send, s.hover == kHitCrashSend);
  gfx::stroke_round_rect(s.crash.send, 8.0F, c.accent, 1.5F);
  button_label(s.crash.send, send, 13.0F, s.hover == kHitCrashSend, true);
}

bool draw_crash_note(float w, float h) {
  State& s = state();
  if (!s.crash.shown || s.settings->compact) return false;
  const theme::Colors& c = *theme::colors();
  const std::string text = i18n::T("crash_text");
  Rect card;
  card.w = std::min(520.0F, w - 30.0F);
  const float text_h = gfx::wrapped_height(text, kText, card.w - 48.0F);
  card.h = text_h + 66.0F + 28.0F + 36.0F + 24.0F;
  card.x = (w - card.w) * 0.5F;
  card.y = (h - card.h) * 0.5F;
  s.crash.card = card;
  constexpr float kRadius = 14.0F;
  gfx::fill_rect({0.0F, 0.0F, w, h}, c.scrim);
  gfx::fill_round_rect({card.x - 2.0F, card.y + 3.0F, card.w + 4.0F, card.h + 4.0F}, kRadius,
                       0x66000000U);
  gfx::fill_round_rect_vgrad(card, kRadius, c.panel, c.recessed);
  gfx::stroke_round_rect(card, kRadius, theme::with_alpha(c.warning, 0.7F), 1.5F);
  const bool rtl = start_align() == Align::Right;
  const float badge = rtl ? card.x + card.w - 34.0F : card.x + 34.0F;
  gfx::fill_circle(badge, card.y + 39.0F, 10.0F, c.warning);
  const unsigned mark = 0xFF1A1400U;
  gfx::line(badge, card.y + 34.0F, badge, card.y + 40.0F, mark, 2.4F);
  gfx::fill_circle(badge, card.y + 44.0F, 1.4F, mark);
  const Rect title{rtl ? card.x + 24.0F : card.x + 54.0F, card.y + 24.0F, card.w - 78.0F, 30.0F};
  const std::string heading = i18n::T("crash_title");
  gfx::text(title, heading, fit_size(heading, 17.0F, 13.0F, title.w, true), c.text, start_align(),
            true, true);
  gfx::text_wrapped({card.x + 24.0F, card.y + 66.0F, card.w - 48.0F, text_h + 2.0F}, text, kText,
                    c.text, start_align());
  crash_buttons(card);
  return true;
}

}  // namespace

const char* status_note_key() {
  const audio::Status& s = state().status;
  if (s.state == audio::kConnecting) return "status_connecting";
  if (s.state == audio::kNoServer) return "status_no_server";
  if (s.state == audio::kPassive) return "status_other_instance";
  if (state().settings->active && s.select_output) return "status_select_output";
  if (s.setup_needed) return "status_setup_needed";
  if (s.permission_needed) return "status_permission_needed";
  return nullptr;
}

bool draw_overlay(int w, int h) {
  const State& s = state();
  const auto width = static_cast<float>(w);
  const auto height = static_cast<float>(h);
  bool drawn = draw_status_note();
  if (!s.settings->compact) draw_settings_panel(width, height);
  draw_save_dialog(width, height);
  draw_popup(width, height);
  const bool crash = draw_crash_note(width, height);
  drawn = drawn || crash || s.settings_open || s.save.open || s.popup.open;
  return drawn;
}

}  // namespace ui
