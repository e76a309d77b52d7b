// DESIGN: while a screen reader listens to keys, each is offered to it first, and its events are
// held back until the reader has answered that it does not want it. Frames continue. A reader that
// takes too long is not waited for again until it has caught up.
//
// SDL's events lack the codes that readers compare, so the display's own events are used as well:
// while a reader listens, each arrives right before SDL's event for it.

#include <deque>
#include <vector>

#include "platform_private.h"
#include "reader/reader.h"
#include "x11.h"

namespace {

constexpr std::uint64_t kPatienceMs = 500;
constexpr unsigned kDecided = 0;  // the number of a key that needs no answer

struct Held {
  unsigned number = 0;
  bool taken = false;  // by the reader
  std::uint64_t since_ms = 0;
  std::vector<SDL_Event> events;  // SDL's events for the key
};

std::deque<Held> g_held;
unsigned g_offered = 0;    // the newest key's number
bool g_impatient = false;  // the reader took too long, and has not answered for the newest key
bool g_listening = false;  // the display's events are asked for

#ifdef SDL_VIDEO_DRIVER_X11

constexpr unsigned kModifiers = 0xFF;

std::optional<reader::Key> key_in(const SDL_SysWMmsg& message) {
  if (message.subsystem != SDL_SYSWM_X11) return std::nullopt;
  XEvent event = message.msg.x11.event;
  if (event.type != KeyPress && event.type != KeyRelease) return std::nullopt;
  const platform::X11Functions* x11 = platform::x11_functions();
  if (x11 == nullptr) return std::nullopt;
  KeySym symbol = 0;
  x11->lookup_key(&event.xkey, nullptr, 0, &symbol, nullptr);
  const char* name = x11->key_name(symbol);
  return reader::Key{event.type == KeyPress,
                     event.xkey.state & kModifiers,
                     static_cast<unsigned>(symbol),
                     static_cast<std::uint16_t>(event.xkey.keycode),
                     static_cast<std::uint32_t>(event.xkey.time),
                     name != nullptr ? name : ""};
}

#else

std::optional<reader::Key> key_in(const SDL_SysWMmsg&) {
  return std::nullopt;
}

#endif

void offer(const SDL_SysWMmsg& message) {
  const std::optional<reader::Key> key = key_in(message);
  if (!key) return;
  const unsigned number = reader::offer(*key);
  if (number != 0) g_offered = number;
  // A release does nothing here.
  if (key->down && (number != 0 || !g_held.empty()))
    g_held.push_back({g_impatient ? kDecided : number, false, platform::ticks_ms(), {}});
}

void note(const reader::Answer& answer) {
  if (answer.number == g_offered) g_impatient = false;
  for (Held& held : g_held) {
    if (held.number != answer.number) continue;
    held.number = kDecided;
    held.taken = answer.taken;
  }
}

bool waits(const Held& held) {
  if (held.number == kDecided || !reader::hears_keys()) return false;
  if (!g_impatient) g_impatient = platform::ticks_ms() - held.since_ms > kPatienceMs;
  return !g_impatient;
}

}  // namespace

namespace platform {

bool hold_back(const SDL_Event& event) {
  if (event.type == SDL_SYSWMEVENT) {
    offer(*event.syswm.msg);
    return true;
  }
  if (g_held.empty() || (event.type != SDL_KEYDOWN && event.type != SDL_TEXTINPUT)) return false;
  g_held.back().events.push_back(event);
  return true;
}

bool release_keys() {
  if (g_listening != reader::hears_keys()) {
    g_listening = !g_listening;
    SDL_EventState(SDL_SYSWMEVENT, g_listening ? SDL_ENABLE : SDL_DISABLE);
  }
  for (reader::Answer answer; reader::take(&answer);)
    note(answer);
  while (!g_held.empty() && !waits(g_held.front())) {
    const Held held = std::move(g_held.front());
    g_held.pop_front();
    if (held.taken) continue;
    for (const SDL_Event& event : held.events)
      handle(event);
  }
  return !g_held.empty();
}

}  // namespace platform
