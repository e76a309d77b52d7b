// DESIGN: one table gives the elements' names and roles; their places, and whether they are
// enabled, come from the same layers in which the mouse finds them.
#include "ui/accessible.h"

#include <algorithm>

#include "app/addresses.h"
#include "i18n/i18n.h"
#include "presets.h"
#include "state.h"
#include "text.h"
#include "ui/theme.h"
#include "views.h"

namespace ui {

namespace {

using Item = reader::Element;
using reader::Role;

// Identifiers besides the hit codes, of elements that the mouse cannot press.
enum Id : int {
  kIdChannel = 100,  // groups
  kIdAppearance,
  kIdPanel,
  kIdDialog,
  kIdList,
  kIdStatus,
  kIdNotice,
  kIdCrash,
  kIdCrashText,
  kIdHint,   // of the save dialog
  kIdAbout,  // and on: the lines
  kIdRows = 1000,
};
constexpr int kRowsOfList = 1000;  // at most; the list of each button has its own

struct Control {
  int code;
  Role role;
  const char* key;  // of its name
  int group = 0;
};

// In the order in which they are read.
constexpr Control kControls[] = {
    // The full view
    {kHitPower, Role::kToggle, "power_on"},
    {kHitPresets, Role::kCombo, "preset"},
    {kHitSave, Role::kButton, "save_preset"},
    {kHitCompact, Role::kButton, "compact"},
    {kHitSettings, Role::kButton, "settings"},
    // The compact view
    {kHitMiniPower, Role::kToggle, "power_on"},
    // Both
    {kHitMute, Role::kToggle, "mute"},
    // The full view
    {kHitChannel, Role::kChoice, "channel_stereo", kIdChannel},
    {kHitChannel + 1, Role::kChoice, "channel_left", kIdChannel},
    {kHitChannel + 2, Role::kChoice, "channel_right", kIdChannel},
    {kHitCollapse, Role::kToggle, "sliders"},
    {kHitPreamp, Role::kSlider, "preamp"},
    {kHitSlider, Role::kSlider, nullptr},
    {kHitSlider + 1, Role::kSlider, nullptr},
    {kHitSlider + 2, Role::kSlider, nullptr},
    {kHitSlider + 3, Role::kSlider, nullptr},
    {kHitSlider + 4, Role::kSlider, nullptr},
    {kHitSlider + 5, Role::kSlider, nullptr},
    {kHitSlider + 6, Role::kSlider, nullptr},
    {kHitSlider + 7, Role::kSlider, nullptr},
    {kHitSlider + 8, Role::kSlider, nullptr},
    {kHitSlider + 9, Role::kSlider, nullptr},
    {kHitFlat, Role::kButton, "reset"},
    {kHitDevice, Role::kCombo, "device"},
    // The compact view
    {kHitBack, Role::kToggle, "compact"},
    {kHitClose, Role::kButton, "close"},
    // The settings panel
    {kHitAutostart, Role::kSwitch, "autostart"},
    {kHitEqOnStart, Role::kSwitch, "eq_on_start"},
    {kHitOnTop, Role::kSwitch, "on_top"},
    {kHitLanguage, Role::kCombo, "language"},
    {kHitDark, Role::kChoice, "theme_dark", kIdAppearance},
    {kHitLight, Role::kChoice, "theme_light", kIdAppearance},
    {kHitPanelClose, Role::kButton, "close"},
    {kHitHomepage, Role::kLink, nullptr},
    {kHitReport, Role::kLink, "about_report_bug"},
    // The save dialog
    {kHitSaveName, Role::kEntry, "preset_name"},
    {kHitSaveOk, Role::kButton, "save"},
    {kHitSaveCancel, Role::kButton, "cancel"},
    // The note about a crash
    {kHitCrashSend, Role::kButton, "crash_send"},
    {kHitCrashDiscard, Role::kButton, "crash_discard"},
};

using Items = std::vector<Item>;

std::string name_of(const Control& control) {
  const int band = control.code - kHitSlider;
  if (control.code == kHitHomepage) return kHomepage;
  if (control.key == nullptr)
    return std::to_string(static_cast<int>(eq::kFreq[static_cast<std::size_t>(band)])) + " Hz";
  const std::string name = i18n::T(control.key);
  return control.code == kHitReport ? name + " " + kSupportMail : name;
}

float gain_of(int slider) {
  return gain_at(state().settings->curve, slider - kHitSlider);
}

std::string text_of(int code) {
  const Look& look = state().look;
  if (is_slider(code)) return gain_text(gain_of(code)) + " dB";
  switch (code) {
    case kHitPresets:
      return preset_label();
    case kHitDevice:
      return look.chosen.name.empty() ? i18n::T("device_follow") : look.chosen.label;
    case kHitLanguage:
      return language_name();
    case kHitSaveName:
      return look.save.name;
    default:
      return "";
  }
}

bool is_on(int code) {
  const Look& look = state().look;
  const Settings& s = *state().settings;
  if (const Switch* found = find_switch(code)) return switch_on(*found);
  switch (code) {
    case kHitPower:
    case kHitMiniPower:
      return s.active;
    case kHitMute:
      return look.status.muted;
    case kHitChannel:
    case kHitChannel + 1:
    case kHitChannel + 2:
      return s.channel == code - kHitChannel;
    case kHitCollapse:
      return !s.collapsed;
    case kHitBack:
      return true;
    case kHitDark:
      return theme::dark();
    case kHitLight:
      return !theme::dark();
    default:
      return look.popup.open && look.popup.button == code;
  }
}

void place(const Rect& r, Item* e) {
  e->x = r.x;
  e->y = r.y;
  e->w = r.w;
  e->h = r.h;
}

Item& add(int id, int parent, Role role, std::string name, const Rect& rect, Items* all) {
  Item& e = all->emplace_back();
  e.id = id;
  e.parent = parent;
  e.role = role;
  e.name = std::move(name);
  place(rect, &e);
  return e;
}

// Begins a group, or makes it larger.
void extend_group(int id, int parent, const Rect& r, Items* all) {
  if (!all->empty() && all->back().parent == id) {
    const auto group =
        std::find_if(all->begin(), all->end(), [id](const Item& e) { return e.id == id; });
    const float left = std::min(group->x, r.x);
    group->w = std::max(group->x + group->w, r.x + r.w) - left;
    group->x = left;
  } else {
    add(id, parent, Role::kGroup, i18n::T(id == kIdChannel ? "channel" : "appearance"), r, all);
  }
}

void add_layer(const Layer& layer, int parent, Items* all) {
  const bool on_top = &layer == &top_layer();
  const bool active = state().settings->active;
  for (const Control& control : kControls) {
    const auto found = std::find_if(layer.elements.begin(), layer.elements.end(),
                                    [&](const Element& e) { return e.code == control.code; });
    if (found == layer.elements.end()) continue;
    if (control.group != 0) extend_group(control.group, parent, found->rect, all);
    Item& e = add(control.code, control.group != 0 ? control.group : parent, control.role,
                  name_of(control), found->rect, all);
    e.text = text_of(control.code);
    if (is_slider(control.code)) {
      e.value = gain_of(control.code);
      e.limit = eq::kMaxGainDb;
    }
    e.enabled =
        on_top && (active || !found->while_active) && (control.code != kHitSaveOk || can_save());
    e.on = is_on(control.code);
    e.pressable = true;
    e.focused = on_top && control.role == Role::kEntry;
    e.selected = e.focused && state().look.save.selected;
  }
}

// The engine's state: a line, and a note if one is shown.
void add_status(Items* all) {
  const State& s = state();
  const StatusView status = status_view();
  if (s.view.status.w > 0.0F) add(kIdStatus, 0, Role::kStatus, status.line, s.view.status, all);
  if (status.note.empty()) return;
  Item& note = add(kHitNote, 0, Role::kNote, status.note, s.note, all);
  note.pressable = status.pressable;
  note.enabled = &s.view.layer == &top_layer();
}

void add_panel(Items* all) {
  const SettingsLayout& l = state().panel;
  add(kIdPanel, 0, Role::kDialog, i18n::T("settings"), l.panel, all).focused =
      &l.layer == &top_layer();
  add_layer(l.layer, kIdPanel, all);
  int id = kIdAbout;
  for (std::string& line : about_lines())
    add(id++, kIdPanel, Role::kLabel, std::move(line), l.about, all);
}

void add_dialog(Items* all) {
  const DialogLayout& l = state().dialog;
  add(kIdDialog, 0, Role::kDialog, i18n::T("save_preset"), l.card, all);
  add_layer(l.layer, kIdDialog, all);
  if (std::string hint = save_hint(); !hint.empty())
    add(kIdHint, kIdDialog, Role::kLabel, std::move(hint), l.layer.at(kHitSaveName), all);
}

int first_row(const Popup& p) {
  return kIdRows + p.button * kRowsOfList;
}

void add_list(Items* all) {
  const Popup& p = state().look.popup;
  const PopupLayout& l = state().list;
  const auto button =
      std::find_if(all->begin(), all->end(), [&](const Item& e) { return e.id == p.button; });
  const std::string name = button != all->end() ? button->name : "";
  const bool on_top = &l.layer == &top_layer();
  add(kIdList, 0, Role::kList, name, l.rect, all).focused = on_top;
  const int count = std::min(static_cast<int>(p.rows.size()), kRowsOfList);
  for (int i = 0; i < count; ++i) {
    const PopupRow& row = p.rows[static_cast<std::size_t>(i)];
    const bool visible = i >= l.first && i < l.first + l.visible;
    const Rect rect{l.rect.x,
                    l.rect.y + kPopupPadding + static_cast<float>(i - l.first) * kRowHeight,
                    l.rect.w, kRowHeight};
    Item& e = add(first_row(p) + i, kIdList, row.choose != nullptr ? Role::kRow : Role::kLabel,
                  row.text, visible ? rect : Rect{}, all);
    e.on = row.chosen;
    e.pressable = row.choose != nullptr;
    e.erasable = row.erase != nullptr;
    e.enabled = on_top;
  }
}

void add_notice(Items* all) {
  const State& s = state();
  const Notice& notice = s.look.notice;
  add(kIdNotice, 0, Role::kNote, notice.title + "\n" + notice.reason, s.view.spectrum, all);
}

void add_crash_note(Items* all) {
  const CrashLayout& l = state().crash;
  add(kIdCrash, 0, Role::kAlert, i18n::T("crash_title"), l.card, all).focused = true;
  add(kIdCrashText, kIdCrash, Role::kLabel, i18n::T("crash_text"), l.card, all);
  add_layer(l.layer, kIdCrash, all);
}

}  // namespace

std::vector<Item> describe() {
  const State& s = state();
  const bool full = !s.settings->compact;
  Items all;
  add_layer(s.view.layer, 0, &all);
  if (all.empty()) return all;  // not painted yet
  add_status(&all);
  if (s.look.settings_open && full) add_panel(&all);
  if (s.look.save.open) add_dialog(&all);
  if (s.look.popup.open) add_list(&all);
  if (!s.look.notice.title.empty()) add_notice(&all);
  if (s.look.crash_note && full) add_crash_note(&all);
  return all;
}

void carry_out(const reader::Command& command) {
  const std::vector<Item> all = describe();
  const auto found = std::find_if(all.begin(), all.end(), [&](const Item& e) {
    return e.id == command.id && e.name == command.name;
  });
  if (found == all.end() || !found->enabled) return;
  const Popup& popup = state().look.popup;
  if (is_slider(command.id)) {
    if (command.verb == reader::Verb::kSet) set_slider(command.id, command.value);
  } else if (command.id >= kIdRows && command.verb == reader::Verb::kErase) {
    erase_row(command.id - first_row(popup));
  } else if (command.id >= kIdRows) {
    choose_row(command.id - first_row(popup));
  } else {
    press_element(command.id);
  }
  follow_settings();
}

}  // namespace ui
