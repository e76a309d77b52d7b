// DESIGN: a field, a line that explains the effect of saving where it is not obvious, and two
// buttons. The field has no movable cursor: a name is typed, not edited, so the caret is always at
// its end.
#include "save_dialog.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "app/utf8.h"
#include "i18n/i18n.h"
#include "popup.h"
#include "presets.h"
#include "state.h"
#include "text.h"
#include "ui/theme.h"
#include "widgets.h"

namespace ui {

namespace {

constexpr float kText = 14.0F;
constexpr float kSmall = 12.0F;
constexpr std::uint64_t kCaretMs = 530;
constexpr std::size_t kMaxProposal = 159;  // bytes

SaveDialog& dialog() {
  return state().look.save;
}

// The name as it is stored: without outer blanks and line breaks.
std::string trimmed(const std::string& name) {
  std::string result = name;
  std::replace_if(
      result.begin(), result.end(), [](char c) { return c == '\t' || c == '\n' || c == '\r'; },
      ' ');
  const std::size_t first = result.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return result.substr(first, result.find_last_not_of(' ') - first + 1);
}

std::string numbered_name(int n) {
  std::string name = with_argument(i18n::T("preset_default_name"), std::to_string(n));
  if (name.size() > kMaxProposal) {
    name.resize(kMaxProposal);
    while (!utf8::valid(name))
      name.pop_back();
  }
  return name;
}

std::string proposed_name() {
  std::string chosen = chosen_user();
  if (!chosen.empty()) return chosen;
  int n = 1;
  while (find_user(numbered_name(n)) >= 0)
    ++n;
  return numbered_name(n);
}

// Drawing -------------------------------------------------------------

void draw_field() {
  const SaveDialog& d = dialog();
  const theme::Colors& c = *theme::colors();
  const Rect r = state().dialog.layer.at(kHitSaveName);
  gfx::fill_round_rect(r, 7.0F, c.recessed);
  gfx::stroke_round_rect(r, 7.0F, c.accent, 1.5F);
  const Rect text = inset(r, 10.0F);
  const std::string name = one_line(d.name);
  const float width = gfx::text_width(name, kText, false);
  const bool rtl = name.empty() ? start_align() == Align::Right : starts_rtl(name);
  const bool overflows = width > text.w - 2.0F;
  // The end, with the caret, stays visible.
  const bool right = rtl != overflows;
  gfx::push_clip({text.x - 2.0F, r.y, text.w + 4.0F, r.h});
  const float left = right ? text.x + text.w - width : text.x;
  if (d.selected && width > 0.0F)
    gfx::fill_rect({left - 1.0F, r.y + 7.0F, width + 2.0F, r.h - 14.0F}, c.accent_soft);
  gfx::text({left, r.y, width + 1.0F, r.h}, name, kText, c.text, Align::Left, false, true);
  const float caret = rtl ? left - 1.5F : left + width + 0.5F;
  if (d.caret_on) gfx::fill_rect({caret, r.y + 8.0F, 1.5F, r.h - 16.0F}, c.accent);
  gfx::pop_clip();
}

void draw_hint() {
  const std::string text = save_hint();
  if (text.empty()) return;
  const Rect f = state().dialog.layer.at(kHitSaveName);
  gfx::text_wrapped({f.x, f.y + f.h + 8.0F, f.w, 48.0F}, text, kSmall,
                    can_save() ? quiet_text() : theme::colors()->danger, start_align());
}

void draw_buttons(const std::string& save, const std::string& cancel, bool possible) {
  const Layer& layer = state().dialog.layer;
  const theme::Colors& c = *theme::colors();
  const Rect other = layer.at(kHitSaveCancel);
  const Rect ok = layer.at(kHitSaveOk);
  button_bg(other, kHitSaveCancel);
  button_label(other, cancel, 13.0F, hovered(kHitSaveCancel), false);
  button_bg(ok, possible ? kHitSaveOk : kHitNone);
  if (possible) gfx::stroke_round_rect(ok, 8.0F, c.accent, 1.5F);
  gfx::text(ok, save, 13.0F, possible ? c.text : quiet_text(), Align::Center, true, true);
}

}  // namespace

void open_save() {
  close_popup();
  state().dialog = {};
  dialog() = {true, proposed_name(), true, true, std::nullopt};
}

void open_save_imported(const std::string& name) {
  const eq::Curve before = dialog().before.value_or(curve_to_come());
  open_save();
  if (!name.empty()) dialog().name = name;
  dialog().before = before;
}

void close_save() {
  const SaveDialog closed = std::exchange(dialog(), {});
  if (closed.before) start_glide(*closed.before);
}

bool can_save() {
  const std::string name = trimmed(dialog().name);
  return !name.empty() && can_store(name);
}

std::string save_hint() {
  const std::string name = trimmed(dialog().name);
  if (name.empty()) return "";
  if (find_user(name) >= 0) return i18n::T("preset_overwrite");
  return can_store(name) ? "" : i18n::T("preset_full");
}

void commit_save() {
  if (!can_save()) return;
  const std::string name = trimmed(dialog().name);
  if (dialog().before) {
    finish_glide();
    state().settings->active = true;
    dialog().before.reset();
  }
  store_user(name);
  close_save();
}

void select_none() {
  dialog().selected = false;
}

void save_key(Key key) {
  SaveDialog& d = dialog();
  if (key == Key::Escape) {
    close_save();
  } else if (key == Key::Enter) {
    commit_save();
  } else if (d.selected) {
    d.name.clear();
  } else {
    utf8::remove_last(&d.name);
  }
  d.selected = false;
  d.caret_on = true;
}

void save_text(const std::string& text) {
  SaveDialog& d = dialog();
  const bool control = std::any_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) < 32 || c == 127;
  });
  if (control || !utf8::valid(text)) return;
  if (d.selected) d.name.clear();
  d.selected = false;
  if (utf8::count(d.name + text) <= kMaxPresetName) d.name += text;
  d.caret_on = true;
}

void blink_caret(std::uint64_t now) {
  if (dialog().open) dialog().caret_on = now / kCaretMs % 2 == 0;
}

void draw_save_dialog(float w, float h) {
  if (!dialog().open) return;
  const theme::Colors& c = *theme::colors();
  const std::string save = i18n::T("save");
  const std::string cancel = i18n::T("cancel");
  DialogLayout& l = state().dialog;
  l = dialog_layout(w, h, std::ceil(gfx::text_width(save, 13.0F, true)),
                    std::ceil(gfx::text_width(cancel, 13.0F, false)),
                    start_align() == Align::Right);
  const Rect field = l.layer.at(kHitSaveName);
  gfx::fill_rect({0.0F, 0.0F, w, h}, c.scrim);
  shadow(l.card, 14.0F);
  panel_bg(l.card, 14.0F);
  gfx::text({field.x, l.card.y + 18.0F, field.w, 26.0F}, i18n::T("save_preset"), 17.0F, c.text,
            start_align(), true, true);
  gfx::text({field.x, field.y - 22.0F, field.w, 18.0F}, i18n::T("preset_name"), kSmall,
            quiet_text(), start_align(), false, true);
  draw_field();
  draw_hint();
  draw_buttons(save, cancel, can_save());
}

}  // namespace ui
