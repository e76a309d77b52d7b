// DESIGN: two tables that translate our roles and states into the library's.
#include <initializer_list>

#include "objects.h"

namespace reader {

AtkRole role_of(const Element& e) {
  if (e.id == 0) return ATK_ROLE_FRAME;
  switch (e.role) {
    case Role::kGroup:
      return ATK_ROLE_GROUPING;
    case Role::kButton:
      return ATK_ROLE_PUSH_BUTTON;
    case Role::kToggle:
      return ATK_ROLE_TOGGLE_BUTTON;
    case Role::kChoice:
      return ATK_ROLE_RADIO_BUTTON;
    case Role::kSwitch:
      return ATK_ROLE_CHECK_BOX;
    case Role::kSlider:
      return ATK_ROLE_SLIDER;
    case Role::kCombo:
      return ATK_ROLE_COMBO_BOX;
    case Role::kList:
      return ATK_ROLE_LIST;
    case Role::kRow:
      return ATK_ROLE_LIST_ITEM;
    case Role::kLabel:
      return ATK_ROLE_LABEL;
    case Role::kLink:
      return ATK_ROLE_LINK;
    case Role::kEntry:
      return ATK_ROLE_ENTRY;
    case Role::kDialog:
      return ATK_ROLE_DIALOG;
    case Role::kAlert:
      return ATK_ROLE_ALERT;
    case Role::kNote:
      return ATK_ROLE_NOTIFICATION;
    case Role::kStatus:
      return ATK_ROLE_STATUSBAR;
  }
  return ATK_ROLE_UNKNOWN;
}

std::uint64_t states_of(const Element& e, const Window& window) {
  std::uint64_t states = 0;
  const auto set = [&states](bool holds, std::initializer_list<AtkStateType> these) {
    for (const AtkStateType state : these)
      states |= std::uint64_t{holds} << state;
  };
  const auto is = [&e](Role role) { return e.id != 0 && e.role == role; };
  set(window.shown, {ATK_STATE_VISIBLE, ATK_STATE_SHOWING});
  set(e.id == 0 && window.active, {ATK_STATE_ACTIVE});
  set(e.enabled, {ATK_STATE_ENABLED, ATK_STATE_SENSITIVE});
  set(is(Role::kToggle) && e.on, {ATK_STATE_PRESSED, ATK_STATE_CHECKED});
  set(is(Role::kChoice) || is(Role::kSwitch), {ATK_STATE_CHECKABLE});
  set((is(Role::kChoice) || is(Role::kSwitch)) && e.on, {ATK_STATE_CHECKED});
  set(is(Role::kCombo), {ATK_STATE_EXPANDABLE, ATK_STATE_HAS_POPUP});
  set(is(Role::kCombo) && e.on, {ATK_STATE_EXPANDED});
  set(is(Role::kRow) && e.pressable, {ATK_STATE_SELECTABLE});
  set(is(Role::kRow) && e.on, {ATK_STATE_SELECTED, ATK_STATE_CHECKED});
  set(is(Role::kSlider), {ATK_STATE_VERTICAL});
  const bool dialog = is(Role::kDialog) || is(Role::kAlert);
  set(dialog, {ATK_STATE_MODAL});
  set(is(Role::kEntry), {ATK_STATE_EDITABLE, ATK_STATE_SINGLE_LINE});
  set(e.id == 0 || dialog || is(Role::kList) || is(Role::kEntry), {ATK_STATE_FOCUSABLE});
  set(e.focused && window.active, {ATK_STATE_FOCUSED});
  return states;
}

}  // namespace reader
