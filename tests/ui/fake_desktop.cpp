#include "fakes.h"

#include "crash/crash_handler.h"
#include "platform/platform.h"

namespace {

fakes::Platform& g_desktop = fakes::desktop;

void note(std::string call, std::initializer_list<int> numbers = {}) {
  for (const int n : numbers)
    call.append(" ").append(std::to_string(n));
  g_desktop.calls.push_back(std::move(call));
}

}  // namespace

namespace platform {

std::uint64_t ticks_ms() {
  return g_desktop.now;
}

void set_compact(bool compact, bool on_top) {
  note("set_compact", {compact, on_top});
}

// What is not known stays as it is, as with a window that does not exist.
void window_pos(int* x, int* y) {
  if (g_desktop.x < 0 && g_desktop.y < 0) return;
  *x = g_desktop.x;
  *y = g_desktop.y;
}

void window_size(int* w, int* h) {
  *w = g_desktop.w;
  *h = g_desktop.h;
}

void resize_window(int w, int h, int min_w, int min_h) {
  note("resize_window", {w, h, min_w, min_h});
  g_desktop.w = w;
  g_desktop.h = h;
}

void quit() {
  note("quit");
}

bool compact_framed() {
  return g_desktop.framed;
}

void open_uri(const std::string& address) {
  note("open_uri " + address);
}

}  // namespace platform

namespace crash_handler {

void send_report() {
  note("send_report");
}

void clear_report() {
  note("clear_report");
}

}  // namespace crash_handler
