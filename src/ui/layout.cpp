// DESIGN: geometry only. Painting requests a layout, draws into its rectangles and keeps it; input
// is looked up in the same rectangles. So picture and hits cannot differ, and all of it can be
// tested without a window.
#include "layout.h"

#include <algorithm>
#include <cmath>

#include "ui/view_sizes.h"

namespace ui {

namespace {

constexpr float kHeaderTop = 16.0F;
constexpr float kHeaderHeight = 38.0F;
constexpr float kIconButton = 42.0F;
constexpr float kStripHeight = 64.0F;  // below the slider panel
constexpr float kScaleWidth = 44.0F;   // level scale, left of the bars
constexpr float kSmallButton = 24.0F;
constexpr float kPad = 24.0F;  // of panels and cards above the view

constexpr bool kWhileActive = true;

void header(float w, Layout* l) {
  l->logo = {kMargin, 14.0F, 42.0F, 42.0F};
  l->title = {72.0F, 14.0F, 300.0F, 38.0F};
  const auto button = [](float right, float width) {
    return Rect{right - width, kHeaderTop, width, kHeaderHeight};
  };
  const Rect settings = button(w - kMargin, kIconButton);
  const Rect compact = button(settings.x - 8.0F, kIconButton);
  const Rect save = button(compact.x - 10.0F, kIconButton);
  const Rect presets = button(save.x - 6.0F, 220.0F);
  l->layer.add(kHitPower, button(presets.x - 12.0F, 112.0F));
  l->layer.add(kHitPresets, presets, kWhileActive);
  l->layer.add(kHitSave, save, kWhileActive);
  l->layer.add(kHitCompact, compact);
  l->layer.add(kHitSettings, settings);
}

void spectrum_panel(const LabelWidths& labels, Layout* l) {
  const Rect& p = l->spectrum;
  float right = p.x + p.w - kInset;
  for (int i = kChannels - 1; i >= 0; --i) {
    const float width = labels.channel[i] + 22.0F;
    l->layer.add(kHitChannel + i, {right - width, p.y + 10.0F, width, kSmallButton});
    right -= width;
  }
  l->layer.add(kHitMute, {right - 8.0F - 34.0F, p.y + 10.0F, 34.0F, kSmallButton});
  constexpr float kTop = 46.0F;
  constexpr float kBottom = 28.0F;
  constexpr float kMeterWidth = 30.0F;
  const float height = std::max(p.h - kTop - kBottom, 0.0F);
  l->meters = {p.x + p.w - kInset - kMeterWidth, p.y + kTop, kMeterWidth, height};
  l->bars = {p.x + kInset + kScaleWidth, p.y + kTop,
             std::max(l->meters.x - 18.0F - p.x - kInset - kScaleWidth, 0.0F), height};
}

void slider_columns(Layout* l) {
  constexpr float kColumn = 40.0F;
  constexpr float kPreampLeft = 86.0F;
  constexpr float kToBands = 64.0F;
  const Rect& s = l->sliders;
  const float y = l->track_top - 12.0F;
  const float height = std::max(l->track_bottom - l->track_top + 24.0F, 0.0F);
  const float first = kPreampLeft + kColumn + kToBands;
  const float last = s.x + s.w - kInset - kColumn;
  const float step = (last - first) / static_cast<float>(eq::kBands - 1);
  for (int i = 0; i < eq::kBands; ++i) {
    l->layer.add(kHitSlider + i, {first + step * static_cast<float>(i), y, kColumn, height},
                 kWhileActive);
  }
  l->layer.add(kHitPreamp, {kPreampLeft, y, kColumn, height}, kWhileActive);
  l->rule_x = kPreampLeft + kColumn + kToBands * 0.5F;
}

void slider_panel(float w, float h, const LabelWidths& labels, Layout* l) {
  const Rect& p = l->spectrum;
  const float top = p.y + p.h + 18.0F;
  l->sliders = {kMargin, top, w - 2.0F * kMargin, std::max(h - top - kStripHeight, 0.0F)};
  const Rect& s = l->sliders;
  const float flat_width = labels.flat + 24.0F;
  const Rect flat{s.x + s.w - kInset - flat_width, s.y + 10.0F, flat_width, kSmallButton};
  l->layer.add(kHitFlat, flat, kWhileActive);
  l->hint = {s.x + kInset, s.y + 10.0F, std::max(flat.x - 12.0F - s.x - kInset, 0.0F),
             kSmallButton};
  l->track_top = s.y + 66.0F;
  l->track_bottom = s.y + s.h - 40.0F;
  slider_columns(l);
}

void bottom_strip(float w, float h, Layout* l) {
  const Rect device{kMargin, h - 54.0F, 300.0F, 44.0F};
  l->layer.add(kHitDevice, device);
  const float left = device.x + device.w + 18.0F;
  l->status = {left, device.y, std::max(w - kMargin - left, 0.0F), device.h};
}

// Two buttons at the lower end of a card; `ok` is the outer one.
void card_buttons(const Rect& card, float height, float bottom, int ok, float ok_width, int other,
                  float other_width, bool rtl, Layer* layer) {
  constexpr float kGap = 10.0F;
  const float y = card.y + card.h - bottom - height;
  const float x = rtl ? card.x + kPad : card.x + card.w - kPad - ok_width;
  layer->add(ok, {x, y, ok_width, height});
  layer->add(other, {rtl ? x + ok_width + kGap : x - kGap - other_width, y, other_width, height});
}

constexpr float kListEdge = 8.0F;  // distance of a list to the window's edge

// How many rows have room below or above a button.
struct RowRoom {
  int below = 0;
  int above = 0;
};

RowRoom row_room(float h, const Rect& button) {
  const auto fit = [](float room) {
    return static_cast<int>(std::floor((room - 2.0F * kPopupPadding) / kRowHeight));
  };
  return {fit(h - kListEdge - (button.y + button.h + kPopupPadding)),
          fit(button.y - kPopupPadding - kListEdge)};
}

int visible_rows(const RowRoom& room, int count) {
  return std::clamp(std::max(room.below, room.above), 1, std::max(count, 1));
}

}  // namespace

// Elements ------------------------------------------------------------

void Layer::add(int code, const Rect& rect, bool while_active) {
  elements.push_back({code, rect, while_active});
}

void Layer::add_on_top(int code, const Rect& rect) {
  elements.insert(elements.begin(), {code, rect});
}

Rect Layer::at(int code) const {
  const auto found = std::find_if(elements.begin(), elements.end(),
                                  [code](const Element& e) { return e.code == code; });
  return found != elements.end() ? found->rect : Rect{};
}

int Layer::hit(float x, float y, bool active) const {
  const auto found = std::find_if(elements.begin(), elements.end(), [&](const Element& e) {
    return (active || !e.while_active) && inside(e.rect, x, y);
  });
  return found != elements.end() ? found->code : elsewhere;
}

bool inside(const Rect& r, float x, float y) {
  return x >= r.x && x < r.x + r.w && y >= r.y && y < r.y + r.h;
}

Rect inset(const Rect& r, float by) {
  return {r.x + by, r.y + by, r.w - 2.0F * by, r.h - 2.0F * by};
}

// Views ---------------------------------------------------------------

float gain_to_y(const Layout& layout, float gain_db) {
  const float middle = (layout.track_top + layout.track_bottom) * 0.5F;
  const float half = (layout.track_bottom - layout.track_top) * 0.5F;
  return middle - std::clamp(gain_db, -eq::kMaxGainDb, eq::kMaxGainDb) / eq::kMaxGainDb * half;
}

float y_to_gain(const Layout& layout, float y) {
  const float middle = (layout.track_top + layout.track_bottom) * 0.5F;
  const float half = (layout.track_bottom - layout.track_top) * 0.5F;
  return half > 0.0F ? -(y - middle) / half * eq::kMaxGainDb : 0.0F;
}

Layout full_layout(float w, float h, bool collapsed, const LabelWidths& labels) {
  Layout l;
  header(w, &l);
  l.spectrum = {kMargin, 70.0F, w - 2.0F * kMargin, collapsed ? h - 100.0F : 232.0F};
  spectrum_panel(labels, &l);
  if (collapsed) {
    l.layer.add(kHitCollapse, {w * 0.5F - 34.0F, h - 25.0F, 68.0F, 18.0F});
    return l;
  }
  l.layer.add(kHitCollapse, {w * 0.5F - 34.0F, 303.0F, 68.0F, 16.0F});
  slider_panel(w, h, labels, &l);
  bottom_strip(w, h, &l);
  return l;
}

Layout compact_layout(float w, float h, bool framed) {
  constexpr float kTop = 6.0F;
  constexpr float kHeight = 24.0F;
  Layout l;
  l.layer.elsewhere = kHitBody;
  l.logo = {12.0F, 9.0F, 18.0F, 18.0F};
  float right = w - 10.0F;
  if (!framed) {
    l.layer.add(kHitClose, {right - 28.0F, kTop, 28.0F, kHeight});
    right -= 28.0F + 4.0F;
  }
  const Rect back{right - 30.0F, kTop, 30.0F, kHeight};
  const Rect mute{back.x - 6.0F - 30.0F, kTop, 30.0F, kHeight};
  l.layer.add(kHitBack, back);
  l.layer.add(kHitMute, mute);
  l.layer.add(kHitMiniPower, {10.0F, 42.0F, 44.0F, 44.0F});
  l.title = {36.0F, kTop, std::max(mute.x - 36.0F - 8.0F - 36.0F, 0.0F), 22.0F};
  l.bars = {66.0F, 36.0F, w - 110.0F, h - 48.0F};
  l.meters = {w - 34.0F, 36.0F, 22.0F, h - 52.0F};
  return l;
}

// Layers above the view -----------------------------------------------

SettingsLayout settings_layout(float w, float h, const std::vector<int>& rows, float close,
                               bool rtl) {
  constexpr float kTop = 58.0F;
  constexpr float kSwatch = 92.0F;
  constexpr float kLink = 20.0F;
  SettingsLayout l;
  const float width = std::min(880.0F, w - 2.0F * kMargin);
  const float height = std::min(324.0F, h - 16.0F);
  l.panel = {(w - width) * 0.5F, (h - height) * 0.5F, width, height};
  const Rect& p = l.panel;
  const float close_width = close + 28.0F;
  l.layer.add(kHitPanelClose, {rtl ? p.x + 16.0F : p.x + p.w - 16.0F - close_width, p.y + 14.0F,
                               close_width, 30.0F});
  const float column = (p.w - 3.0F * kPad) * 0.5F;
  // The collapsed window is just high enough for five rows of 50.
  const float row_height = std::min(50.0F, (p.h - kTop - 16.0F) / static_cast<float>(rows.size()));
  const float left = p.x + kPad;
  const float right = left + column + kPad;
  Rect row{rtl ? right : left, p.y + kTop, column, row_height};
  for (const int code : rows) {
    const Rect controls{rtl ? row.x : row.x + row.w - 2.0F * kSwatch,
                        row.y + (row.h - 30.0F) * 0.5F, 2.0F * kSwatch, 30.0F};
    if (code == kHitDark) {
      l.appearance = row;
      const float other = controls.x + kSwatch;
      l.layer.add(kHitDark, {rtl ? other : controls.x, controls.y, kSwatch, controls.h});
      l.layer.add(kHitLight, {rtl ? controls.x : other, controls.y, kSwatch, controls.h});
    } else {
      l.layer.add(code, row);
    }
    if (code == kHitLanguage) l.language_button = controls;
    row.y += row_height;
  }
  l.about = {rtl ? left : right, p.y + kTop, column, p.h - kTop - 16.0F};
  const Rect report{l.about.x, l.about.y + l.about.h - 22.0F, column, kLink};
  l.layer.add(kHitHomepage, {l.about.x, report.y - 22.0F, column, kLink});
  l.layer.add(kHitReport, report);
  l.layer.add(kHitPanel, p);
  return l;
}

DialogLayout dialog_layout(float w, float h, float save_label, float cancel_label, bool rtl) {
  constexpr float kHeight = 226.0F;
  const auto button = [](float label) { return std::max(label + 36.0F, 92.0F); };
  DialogLayout l;
  const float width = std::min(420.0F, w - 30.0F);
  l.card = {(w - width) * 0.5F, (h - kHeight) * 0.5F, width, kHeight};
  const Rect& c = l.card;
  l.layer.add(kHitSaveName, {c.x + kPad, c.y + 78.0F, c.w - 2.0F * kPad, 36.0F});
  card_buttons(c, 34.0F, kPad - 4.0F, kHitSaveOk, button(save_label), kHitSaveCancel,
               button(cancel_label), rtl, &l.layer);
  l.layer.add(kHitPanel, c);
  return l;
}

bool opens_down(float h, const Rect& button, int count) {
  const RowRoom room = row_room(h, button);
  return room.below >= visible_rows(room, count);
}

PopupLayout popup_layout(float w, float h, const Rect& button, int count, float row_width,
                         int first, bool rtl) {
  PopupLayout l;
  l.layer.elsewhere = kHitPopup;  // a press beside a list goes to the list, too: it closes
  l.visible = visible_rows(row_room(h, button), count);
  l.rect.w = std::min(std::max(row_width + 2.0F * kPopupPadding, button.w), w - 2.0F * kListEdge);
  l.rect.h = static_cast<float>(l.visible) * kRowHeight + 2.0F * kPopupPadding;
  l.rect.x = std::clamp(rtl ? button.x + button.w - l.rect.w : button.x, kListEdge,
                        std::max(kListEdge, w - kListEdge - l.rect.w));
  l.rect.y = opens_down(h, button, count)
                 ? button.y + button.h + kPopupPadding
                 : std::max(kListEdge, button.y - kPopupPadding - l.rect.h);
  l.first = std::clamp(first, 0, std::max(0, count - l.visible));
  return l;
}

int row_at(const PopupLayout& popup, int count, float x, float y) {
  if (!inside(popup.rect, x, y)) return -1;
  const int row = static_cast<int>(std::floor((y - popup.rect.y - kPopupPadding) / kRowHeight));
  const bool there = row >= 0 && row < popup.visible && popup.first + row < count;
  return there ? popup.first + row : -1;
}

float note_width(const Rect& area, float text) {
  return std::min(text + 40.0F, area.w - 40.0F);
}

Rect note_card(const Rect& area, float width, float text_height) {
  const float height = text_height + 18.0F;
  return {area.x + (area.w - width) * 0.5F, area.y + (area.h - height) * 0.5F, width, height};
}

namespace {

float crash_width(float w) {
  return std::min(520.0F, w - 30.0F);
}

}  // namespace

float crash_text_width(float w) {
  return crash_width(w) - 2.0F * kPad;
}

CrashLayout crash_layout(float w, float h, float text_height, float send_label, float discard_label,
                         bool rtl) {
  constexpr float kButton = 36.0F;
  const auto button = [](float label) { return std::max(label + 36.0F, 100.0F); };
  CrashLayout l;
  l.layer.elsewhere = kHitCrashNote;
  const float height = text_height + 66.0F + 28.0F + kButton + kPad;
  l.card = {(w - crash_width(w)) * 0.5F, (h - height) * 0.5F, crash_width(w), height};
  card_buttons(l.card, kButton, kPad, kHitCrashSend, button(send_label), kHitCrashDiscard,
               button(discard_label), rtl, &l.layer);
  return l;
}

}  // namespace ui
