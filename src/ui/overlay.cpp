// DESIGN: everything above the moving bars, from bottom to top: the note about the engine's state,
// the settings panel, the save dialog, the list, the notice about a refused file, and the note
// about a crash, which also receives input first (top_layer).
#include <algorithm>

#include "i18n/i18n.h"
#include "state.h"
#include "text.h"
#include "ui/theme.h"
#include "views.h"
#include "widgets.h"

namespace ui {

namespace {

constexpr float kText = 14.0F;
constexpr float kButtonText = 13.0F;

void draw_status_note(const StatusView& status) {
  const Rect& card = state().note;
  const theme::Colors& c = *theme::colors();
  const bool over = hovered(kHitNote);
  gfx::fill_round_rect(card, 8.0F, theme::with_alpha(c.panel, 0.94F));
  const bool down = pressed(kHitNote);
  if (over || down)
    gfx::fill_round_rect(card, 8.0F, theme::with_alpha(c.accent, down ? 0.5F : 0.35F));
  gfx::stroke_round_rect(card, 8.0F, over ? c.accent : c.border, 1.0F);
  gfx::text_wrapped({card.x + 16.0F, card.y + 9.0F, card.w - 32.0F, card.h - 18.0F}, status.note,
                    kText, c.text, Align::Center);
}

// The note about a crash ----------------------------------------------

void draw_crash_buttons(const std::string& send, const std::string& discard) {
  const Layer& layer = state().crash.layer;
  const Rect right = layer.at(kHitCrashSend);
  const Rect left = layer.at(kHitCrashDiscard);
  button_bg(left, kHitCrashDiscard);
  button_label(left, discard, kButtonText, hovered(kHitCrashDiscard), false);
  button_bg(right, kHitCrashSend);
  gfx::stroke_round_rect(right, 8.0F, theme::colors()->accent, 1.5F);
  button_label(right, send, kButtonText, hovered(kHitCrashSend), true);
}

void draw_badge(float x, float y) {
  constexpr unsigned kMark = 0xFF1A1400U;
  gfx::fill_circle(x, y, 10.0F, theme::colors()->warning);
  gfx::line(x, y - 5.0F, x, y + 1.0F, kMark, 2.4F);
  gfx::fill_circle(x, y + 5.0F, 1.4F, kMark);
}

void draw_crash_card(const Rect& card) {
  constexpr float kRadius = 14.0F;
  const theme::Colors& c = *theme::colors();
  gfx::fill_round_rect({card.x - 2.0F, card.y + 3.0F, card.w + 4.0F, card.h + 4.0F}, kRadius,
                       0x66000000U);
  gfx::fill_round_rect_vgrad(card, kRadius, c.panel, c.recessed);
  gfx::stroke_round_rect(card, kRadius, theme::with_alpha(c.warning, 0.7F), 1.5F);
  const bool rtl = start_align() == Align::Right;
  draw_badge(rtl ? card.x + card.w - 34.0F : card.x + 34.0F, card.y + 39.0F);
  const Rect title{rtl ? card.x + 24.0F : card.x + 54.0F, card.y + 24.0F, card.w - 78.0F, 30.0F};
  const std::string heading = i18n::T("crash_title");
  gfx::text(title, heading, fit_size(heading, 17.0F, 13.0F, title.w, true), c.text, start_align(),
            true, true);
}

void draw_crash_note(float w, float h) {
  const std::string text = i18n::T("crash_text");
  const std::string send = i18n::T("crash_send");
  const std::string discard = i18n::T("crash_discard");
  const float width = crash_text_width(w);
  const float height = gfx::wrapped_height(text, kText, width);
  CrashLayout& l = state().crash;
  l = crash_layout(w, h, height, gfx::text_width(send, kButtonText, true),
                   gfx::text_width(discard, kButtonText, true), start_align() == Align::Right);
  gfx::fill_rect({0.0F, 0.0F, w, h}, theme::colors()->scrim);
  draw_crash_card(l.card);
  gfx::text_wrapped({l.card.x + 24.0F, l.card.y + 66.0F, width, height + 2.0F}, text, kText,
                    theme::colors()->text, start_align());
  draw_crash_buttons(send, discard);
}

}  // namespace

void place_note() {
  State& s = state();
  const StatusView status = status_view();
  s.note = {};
  if (status.note.empty()) return;
  const Rect& area = s.settings->compact ? s.view.bars : s.view.spectrum;
  const float width = note_width(area, gfx::text_width(status.note, kText, false));
  s.note = note_card(area, width, gfx::wrapped_height(status.note, kText, width - 32.0F));
  if (status.pressable) s.view.layer.add_on_top(kHitNote, s.note);
}

bool draw_overlay(int w, int h) {
  const State& s = state();
  const Look& look = s.look;
  const auto width = static_cast<float>(w);
  const auto height = static_cast<float>(h);
  const bool full = !s.settings->compact;
  const StatusView status = status_view();
  const bool note = !status.note.empty();
  const bool crash = look.crash_note && full;
  if (note) draw_status_note(status);
  if (full) draw_settings_panel(width, height);
  draw_save_dialog(width, height);
  draw_popup(width, height);
  draw_notice();
  const bool tip = draw_tip(width, height);
  if (crash) draw_crash_note(width, height);
  return tip || note || crash || !look.notice.title.empty() || look.settings_open ||
         look.save.open || look.popup.open;
}

}  // namespace ui
