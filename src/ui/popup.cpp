// DESIGN: a popup is a list of rows of equal height below or above the button it belongs to. Rows
// carry what choosing them means as a kind and a value; so the list itself knows nothing of
// presets, devices or languages, and whoever opens it only fills in rows.
#include <algorithm>
#include <cmath>

#include "i18n/i18n.h"
#include "ui_private.h"

namespace ui {

namespace {

constexpr float kTextSize = 13.0F;
constexpr float kHeadingSize = 11.0F;
constexpr float kTextLeft = 32.0F;  // room for the mark of the chosen row
constexpr float kLeastWidth = 220.0F;
constexpr float kMostWidth = 420.0F;
constexpr float kEdge = 8.0F;  // distance to the window's edge

using RowAction = void (*)(const std::string& value);

void choose_device(const std::string& name) {
  state().settings->output = name;
  audio::set_output(name);
  schedule_save();
}

void choose_language(const std::string& code) {
  state().settings->language = code;
  i18n::set_language(code);
  schedule_save();
}

RowAction action_of(RowKind kind) {
  switch (kind) {
    case RowKind::BuiltinPreset:
      return choose_builtin;
    case RowKind::UserPreset:
      return choose_user;
    case RowKind::Device:
      return choose_device;
    case RowKind::Language:
      return choose_language;
    case RowKind::Heading:
      break;
  }
  return nullptr;
}

void open(Rect (*anchor)(), std::vector<PopupRow> rows) {
  Popup& p = state().popup;
  p = {};
  p.open = true;
  p.anchor = anchor;
  p.rows = std::move(rows);
  // The chosen row is in the middle where the list is longer than its window; placing bounds this.
  const auto chosen =
      std::find_if(p.rows.begin(), p.rows.end(), [](const PopupRow& row) { return row.chosen; });
  p.first = chosen != p.rows.end() ? static_cast<int>(chosen - p.rows.begin()) - 5 : 0;
  set_dirty();
}

int row_at(const Popup& p, float x, float y) {
  if (!inside(p.rect, x, y)) return -1;
  const int row = static_cast<int>(std::floor((y - p.rect.y - kPopupPadding) / kRowHeight));
  if (row < 0 || row >= p.visible) return -1;
  const int i = p.first + row;
  return i < static_cast<int>(p.rows.size()) ? i : -1;
}

bool in_delete_zone(const Popup& p, int row, float x) {
  return row >= 0 && p.rows[static_cast<std::size_t>(row)].kind == RowKind::UserPreset &&
         x >= p.rect.x + p.rect.w - kDeleteZone;
}

void bound_first(Popup* p) {
  p->first = std::clamp(p->first, 0, std::max(0, static_cast<int>(p->rows.size()) - p->visible));
}

float widest_row(const Popup& p) {
  float width = 0.0F;
  for (const PopupRow& row : p.rows)
    width = std::max(width, gfx::text_width(row.text, kTextSize, false));
  return width;
}

void draw_row(const Popup& p, int i, const Rect& r) {
  const theme::Colors& c = *theme::colors();
  const PopupRow& row = p.rows[static_cast<std::size_t>(i)];
  const bool hovered = i == p.hover && row.kind != RowKind::Heading;
  const Rect text{r.x + kTextLeft, r.y, r.w - kTextLeft - kDeleteZone, r.h};
  if (row.kind == RowKind::Heading) {
    gfx::text({r.x + 12.0F, r.y + 3.0F, r.w - 24.0F, r.h - 3.0F}, row.text, kHeadingSize,
              quiet_text(), start_align(), true, true);
    return;
  }
  if (hovered) gfx::fill_round_rect(r, 6.0F, c.button_hover);
  if (row.chosen) icon_check(r.x + 15.0F, r.y + r.h * 0.5F, c.accent);
  gfx::text(text, shorten(row.text, kTextSize, text.w), kTextSize, hovered ? c.text_strong : c.text,
            start_align(), false, true);
  if (hovered && row.kind == RowKind::UserPreset)
    icon_cross(r.x + r.w - kDeleteZone * 0.5F + 2.0F, r.y + r.h * 0.5F, 8.0F,
               p.hover_delete ? c.danger : c.text_secondary);
}

void draw_scroll_mark(const Popup& p) {
  const auto count = static_cast<float>(p.rows.size());
  const float track = p.rect.h - 2.0F * kPopupPadding;
  const float length = std::max(20.0F, track * static_cast<float>(p.visible) / count);
  const float most = count - static_cast<float>(p.visible);
  const float y = p.rect.y + kPopupPadding + (track - length) * static_cast<float>(p.first) / most;
  gfx::fill_round_rect({p.rect.x + p.rect.w - 5.0F, y, 3.0F, length}, 1.5F,
                       theme::with_alpha(theme::colors()->text_secondary, 0.55F));
}

}  // namespace

void open_presets() {
  const Settings& s = *state().settings;
  std::vector<PopupRow> rows;
  rows.push_back({RowKind::Heading, i18n::T("presets_builtin"), "", false});
  for (const eq::PresetDef& preset : eq::kPresets)
    rows.push_back({RowKind::BuiltinPreset, i18n::T(preset.key), preset.key,
                    s.preset == std::string("b:") + preset.key});
  if (!s.user_presets.empty())
    rows.push_back({RowKind::Heading, i18n::T("presets_user"), "", false});
  for (const UserPreset& preset : s.user_presets)
    rows.push_back(
        {RowKind::UserPreset, one_line(preset.name), preset.name, s.preset == "u:" + preset.name});
  open([] { return state().layout.presets; }, std::move(rows));
}

void open_devices() {
  const std::string& output = state().settings->output;
  std::vector<PopupRow> rows;
  rows.push_back({RowKind::Device, i18n::T("device_follow"), "", output.empty()});
  for (const audio::Device& device : audio::devices())
    rows.push_back({RowKind::Device, one_line(device.label), device.name, device.name == output});
  open([] { return state().layout.device; }, std::move(rows));
}

void open_languages() {
  const std::string& language = state().settings->language;
  std::vector<PopupRow> rows;
  rows.push_back({RowKind::Language, i18n::T("language_auto"), "auto", language == "auto"});
  for (const i18n::Language& l : i18n::languages())
    rows.push_back({RowKind::Language, l.name, l.code, language == l.code});
  open([] { return state().panel.language_button; }, std::move(rows));
}

void close_popup() {
  if (!state().popup.open) return;
  state().popup = {};
  set_dirty();
}

void popup_move(float x, float y) {
  Popup& p = state().popup;
  const int row = row_at(p, x, y);
  const bool del = in_delete_zone(p, row, x);
  if (row != p.hover || del != p.hover_delete) set_dirty();
  p.hover = row;
  p.hover_delete = del;
}

void popup_press(float x, float y) {
  Popup& p = state().popup;
  const int i = row_at(p, x, y);
  if (i < 0) {
    if (!inside(p.rect, x, y)) close_popup();
    return;
  }
  const PopupRow row = p.rows[static_cast<std::size_t>(i)];
  if (in_delete_zone(p, i, x)) {
    const int first = p.first;
    delete_user(row.value);
    open_presets();
    state().popup.first = first;  // the list stays where it was under the pointer
    return;
  }
  const RowAction action = action_of(row.kind);
  if (action == nullptr) return;
  close_popup();
  action(row.value);
  set_dirty();
}

void popup_wheel(int steps) {
  Popup& p = state().popup;
  const int before = p.first;
  p.first += steps;
  bound_first(&p);
  if (p.first == before) return;
  p.hover = -1;  // until the pointer moves: another row is below it now
  p.hover_delete = false;
  set_dirty();
}

void place_popup(Popup* p, float w, float h) {
  const Rect anchor = p->anchor();
  const float below = h - kEdge - (anchor.y + anchor.h + kPopupPadding);
  const float above = anchor.y - kPopupPadding - kEdge;
  const auto count = static_cast<int>(p->rows.size());
  const auto fit = [](float room) {
    return static_cast<int>(std::floor((room - 2.0F * kPopupPadding) / kRowHeight));
  };
  const auto height = [](int rows) {
    return static_cast<float>(rows) * kRowHeight + 2.0F * kPopupPadding;
  };
  p->visible = std::clamp(std::max(fit(below), fit(above)), 1, std::max(count, 1));
  const bool down = fit(below) >= p->visible;
  const float width = std::clamp(widest_row(*p) + kTextLeft + kDeleteZone + 6.0F,
                                 std::max(kLeastWidth, anchor.w), std::max(kMostWidth, anchor.w));
  p->rect.w = std::min(width, w - 2.0F * kEdge);
  p->rect.h = height(p->visible);
  p->rect.x = std::clamp(anchor.x, kEdge, std::max(kEdge, w - kEdge - p->rect.w));
  p->rect.y = down ? anchor.y + anchor.h + kPopupPadding
                   : std::max(kEdge, anchor.y - kPopupPadding - p->rect.h);
  bound_first(p);
}

void draw_popup(float w, float h) {
  Popup& p = state().popup;
  if (!p.open) return;
  place_popup(&p, w, h);
  shadow(p.rect, 10.0F);
  panel_bg(p.rect, 10.0F);
  Rect row{p.rect.x + kPopupPadding, p.rect.y + kPopupPadding, p.rect.w - 2.0F * kPopupPadding,
           kRowHeight};
  for (int i = p.first; i < p.first + p.visible && i < static_cast<int>(p.rows.size()); ++i) {
    draw_row(p, i, row);
    row.y += kRowHeight;
  }
  if (p.visible < static_cast<int>(p.rows.size())) draw_scroll_mark(p);
}

}  // namespace ui
