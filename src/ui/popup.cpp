// DESIGN: rows of equal height below or above the button that the list belongs to. Each row has its
// own action; the list only shows, scrolls and calls it.
#include "popup.h"

#include <algorithm>
#include <cmath>

#include "state.h"
#include "text.h"
#include "ui/theme.h"
#include "widgets.h"

namespace ui {

namespace {

constexpr float kTextSize = 13.0F;
constexpr float kHeadingSize = 11.0F;
constexpr float kHeadingMargin = 12.0F;
constexpr int kRowsAboveChosen = 5;  // where a list opens in its middle

const PopupRow& row_of(const Popup& p, int i) {
  return p.rows[static_cast<std::size_t>(i)];
}

int count(const Popup& p) {
  return static_cast<int>(p.rows.size());
}

bool in_delete_zone(int row, float x) {
  const State& s = state();
  const Rect& r = s.list.rect;
  return row >= 0 && row_of(s.look.popup, row).erase != nullptr &&
         mirrored(r, x) >= r.x + r.w - kDeleteZone;
}

float row_end(const PopupRow& row) {
  return row.erase != nullptr ? kDeleteZone : kRowEnd;
}

// As its text asks for.
float row_width(const PopupRow& row) {
  if (row.choose == nullptr)
    return std::ceil(gfx::text_width(row.text, kHeadingSize, true)) + 2.0F * kHeadingMargin;
  return kRowStart + std::ceil(gfx::text_width(row.text, kTextSize, false)) + row_end(row);
}

float widest_row(const Popup& p) {
  float width = 0.0F;
  for (const PopupRow& row : p.rows)
    width = std::max(width, row_width(row));
  return width;
}

Rect button_rect(int code) {
  return code == kHitLanguage ? state().panel.language_button : state().view.layer.at(code);
}

void draw_heading(const Rect& r, const std::string& text) {
  gfx::text({r.x + kHeadingMargin, r.y + 3.0F, r.w - 2.0F * kHeadingMargin, r.h - 3.0F}, text,
            kHeadingSize, quiet_text(), start_align(), true, true);
}

void draw_row(const PopupRow& row, const Rect& r, bool over, bool over_delete) {
  const theme::Colors& c = *theme::colors();
  const Rect text = mirrored(r, Rect{r.x + kRowStart, r.y, r.w - kRowStart - row_end(row), r.h});
  if (over) gfx::fill_round_rect(r, 6.0F, c.button_hover);
  if (row.chosen) icon_check(mirrored(r, r.x + 15.0F), r.y + r.h * 0.5F, c.accent);
  const unsigned colour = row.faint ? c.text_secondary : over ? c.text_strong : c.text;
  gfx::text(text, shorten(row.text, kTextSize, text.w), kTextSize, colour, start_align(), false,
            true);
  if (over && row.erase != nullptr) {
    icon_cross(mirrored(r, r.x + r.w - kDeleteZone * 0.5F + 2.0F), r.y + r.h * 0.5F, 8.0F,
               over_delete ? c.danger : c.text_secondary);
  }
}

void draw_scroll_mark(const PopupLayout& l, int rows) {
  const auto all = static_cast<float>(rows);
  const float track = l.rect.h - 2.0F * kPopupPadding;
  const float length = std::max(20.0F, track * static_cast<float>(l.visible) / all);
  const float most = all - static_cast<float>(l.visible);
  const float y = l.rect.y + kPopupPadding + (track - length) * static_cast<float>(l.first) / most;
  const Rect mark{l.rect.x + l.rect.w - 5.0F, y, 3.0F, length};
  gfx::fill_round_rect(mirrored(l.rect, mark), 1.5F,
                       theme::with_alpha(theme::colors()->text_secondary, 0.55F));
}

}  // namespace

void open_popup(int button, std::vector<PopupRow> rows) {
  Popup& p = state().look.popup;
  p = {};
  p.open = true;
  p.button = button;
  p.rows = std::move(rows);
  const auto chosen =
      std::find_if(p.rows.begin(), p.rows.end(), [](const PopupRow& row) { return row.chosen; });
  if (chosen != p.rows.end())
    p.first = static_cast<int>(chosen - p.rows.begin()) - kRowsAboveChosen;
  // Until it is painted, input finds the list but none of its rows.
  state().list = {};
  state().list.layer.elsewhere = kHitPopup;
}

void close_popup() {
  state().look.popup = {};
}

void choose_row(int row) {
  const PopupRow chosen = row_of(state().look.popup, row);  // a copy: the list closes
  if (chosen.choose == nullptr) return;
  close_popup();
  chosen.choose(chosen.value);
}

void erase_row(int row) {
  const PopupRow erased = row_of(state().look.popup, row);
  if (erased.erase != nullptr) erased.erase(erased.value);
}

void popup_move(float x, float y) {
  Popup& p = state().look.popup;
  p.hover = row_at(state().list, count(p), x, y);
  p.hover_delete = in_delete_zone(p.hover, x);
}

void popup_press(float x, float y) {
  const Popup& p = state().look.popup;
  const int i = row_at(state().list, count(p), x, y);
  if (i < 0) {
    if (!inside(state().list.rect, x, y)) close_popup();
    return;
  }
  if (in_delete_zone(i, x)) {
    erase_row(i);
  } else {
    choose_row(i);
  }
}

void popup_wheel(int steps) {
  State& s = state();
  Popup& p = s.look.popup;
  const int first = std::clamp(s.list.first + steps, 0, std::max(0, count(p) - s.list.visible));
  if (first == s.list.first) return;
  p.first = s.list.first = first;
  p.hover = -1;  // until the pointer moves: another row is under it now
  p.hover_delete = false;
}

void draw_popup(float w, float h) {
  State& s = state();
  const Popup& p = s.look.popup;
  if (!p.open) return;
  s.list = popup_layout(w, h, button_rect(p.button), count(p), widest_row(p), p.first,
                        start_align() == Align::Right);
  const PopupLayout& l = s.list;
  shadow(l.rect, 10.0F);
  panel_bg(l.rect, 10.0F);
  Rect row{l.rect.x + kPopupPadding, l.rect.y + kPopupPadding, l.rect.w - 2.0F * kPopupPadding,
           kRowHeight};
  for (int i = l.first; i < std::min(l.first + l.visible, count(p)); ++i) {
    if (row_of(p, i).choose == nullptr) {
      draw_heading(row, row_of(p, i).text);
    } else {
      draw_row(row_of(p, i), row, i == p.hover, i == p.hover && p.hover_delete);
    }
    row.y += kRowHeight;
  }
  if (l.visible < count(p)) draw_scroll_mark(l, count(p));
}

}  // namespace ui
