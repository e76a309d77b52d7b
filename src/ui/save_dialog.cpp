// DESIGN: a field, one line that says what saving will do when that is not plain, and two buttons.
// The field has no cursor to move: a name is typed, not edited, so the caret is at its end.
#include <algorithm>
#include <cmath>

#include "i18n/i18n.h"
#include "ui_private.h"

namespace ui {

namespace {

constexpr float kText = 14.0F;
constexpr float kSmall = 12.0F;

bool full() {
  return state().settings->user_presets.size() >= kMaxPresets;
}

void name_field() {
  const State& s = state();
  const SaveDialog& d = s.save;
  const theme::Colors& c = *theme::colors();
  const Rect& r = d.layout.name;
  gfx::fill_round_rect(r, 7.0F, c.recessed);
  gfx::stroke_round_rect(r, 7.0F, c.accent, 1.5F);
  const Rect text = inset(r, 10.0F);
  const std::string name = one_line(d.name);
  const float width = gfx::text_width(name, kText, false);
  const bool rtl = name.empty() ? start_align() == Align::Right : starts_rtl(name);
  const bool overflows = width > text.w - 2.0F;
  // The end, where the caret is, stays in sight.
  const bool right = rtl != overflows;
  gfx::push_clip({text.x - 2.0F, r.y, text.w + 4.0F, r.h});
  const float left = right ? text.x + text.w - width : text.x;
  if (d.selected && width > 0.0F)
    gfx::fill_rect({left - 1.0F, r.y + 7.0F, width + 2.0F, r.h - 14.0F}, c.accent_soft);
  gfx::text({left, r.y, width + 1.0F, r.h}, name, kText, c.text, Align::Left, false, true);
  const float caret = rtl ? left - 1.5F : left + width + 0.5F;
  if (s.caret_on) gfx::fill_rect({caret, r.y + 8.0F, 1.5F, r.h - 16.0F}, c.accent);
  gfx::pop_clip();
}

void hint() {
  const SaveDialog& d = state().save;
  const std::string name = trimmed_name(d.name);
  if (name.empty()) return;
  const bool replaces = find_user(name) >= 0;
  if (!replaces && !full()) return;
  const theme::Colors& c = *theme::colors();
  const Rect& f = d.layout.name;
  const std::string text = i18n::T(replaces ? "preset_overwrite" : "preset_full");
  gfx::text_wrapped({f.x, f.y + f.h + 8.0F, f.w, 44.0F}, text, kSmall,
                    replaces ? quiet_text() : c.danger, start_align());
}

void buttons(const std::string& save, const std::string& cancel) {
  const State& s = state();
  const SaveDialog& d = s.save;
  const theme::Colors& c = *theme::colors();
  button_bg(d.layout.cancel, s.hover == kHitSaveCancel);
  button_label(d.layout.cancel, cancel, 13.0F, s.hover == kHitSaveCancel, false);
  const std::string name = trimmed_name(d.name);
  const bool possible = !name.empty() && (find_user(name) >= 0 || !full());
  button_bg(d.layout.save, possible && s.hover == kHitSaveOk);
  if (possible) gfx::stroke_round_rect(d.layout.save, 8.0F, c.accent, 1.5F);
  gfx::text(d.layout.save, save, 13.0F, possible ? c.text : quiet_text(), Align::Center, true,
            true);
}

}  // namespace

void draw_save_dialog(float w, float h) {
  State& s = state();
  if (!s.save.open) return;
  const theme::Colors& c = *theme::colors();
  const std::string save = i18n::T("save");
  const std::string cancel = i18n::T("cancel");
  s.save.layout = dialog_layout(w, h, std::ceil(gfx::text_width(save, 13.0F, true)),
                                std::ceil(gfx::text_width(cancel, 13.0F, false)));
  const Rect& card = s.save.layout.card;
  const Rect& field = s.save.layout.name;
  gfx::fill_rect({0.0F, 0.0F, w, h}, c.scrim);
  shadow(card, 14.0F);
  panel_bg(card, 14.0F);
  gfx::text({field.x, card.y + 18.0F, field.w, 26.0F}, i18n::T("save_preset"), 17.0F, c.text,
            start_align(), true, true);
  gfx::text({field.x, field.y - 22.0F, field.w, 18.0F}, i18n::T("preset_name"), kSmall,
            quiet_text(), start_align(), false, true);
  name_field();
  hint();
  buttons(save, cancel);
}

}  // namespace ui
