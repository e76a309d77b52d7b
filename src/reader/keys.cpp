// DESIGN: older readers learn of keys only from the program that has the keyboard. The library
// installs one listener while there is any reader, so one variable holds it.
#include "keys.h"

#include <atk/atk.h>

#include <atomic>
#include <string>

#include "library.h"

namespace reader {

namespace {

constexpr unsigned kOnlyListener = 1;

AtkKeySnoopFunc g_listener = nullptr;  // the thread's
void* g_data = nullptr;
std::atomic<bool> g_heard{false};  // there is one

unsigned add_listener(AtkKeySnoopFunc listener, void* data) {
  g_listener = listener;
  g_data = data;
  g_heard = true;
  return kOnlyListener;
}

void remove_listener(unsigned /*id*/) {
  g_listener = nullptr;
  g_heard = false;
}

// The character that a key types, in UTF-8, or the key's name. Key symbols of Latin-1 have the
// characters' numbers, and those of newer scripts are marked as Unicode.
std::string text_of(const Key& key) {
  constexpr unsigned kLatin = 0x100;
  constexpr unsigned kCharacter = 0x01000000;
  const unsigned character = key.symbol < kLatin ? key.symbol : key.symbol ^ kCharacter;
  char text[8] = "";
  if (character > 0x10FFFF || g_unichar_isgraph(character) == FALSE) return key.name;
  g_unichar_to_utf8(character, text);
  return text;
}

}  // namespace

void accept_listeners() {
  auto* util = static_cast<AtkUtilClass*>(g_type_class_peek(library().util_type()));
  util->add_key_event_listener = add_listener;
  util->remove_key_event_listener = remove_listener;
}

bool ask_about(const Key& key) {
  if (g_listener == nullptr) return false;
  std::string text = text_of(key);
  AtkKeyEventStruct event{};
  event.type = key.down ? ATK_KEY_EVENT_PRESS : ATK_KEY_EVENT_RELEASE;
  event.state = key.modifiers;
  event.keyval = key.symbol;
  event.length = static_cast<int>(text.size());
  event.string = text.data();
  event.keycode = key.code;
  event.timestamp = key.time_ms;
  return g_listener(&event, g_data) != 0;
}

bool hears_keys() {
  return g_heard;
}

}  // namespace reader
