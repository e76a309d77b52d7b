// DESIGN: the window is described after painting, about ten times a second, and in the frame after
// a command; while sliders glide, a reader gets only some of the steps. Without a reader nothing is
// described.
#include "reader/reader.h"

#include "desktop/desktop.h"
#include "platform_private.h"
#include "ui/accessible.h"

namespace {

constexpr std::uint64_t kIntervalMs = 100;

std::uint64_t g_described_at = 0;
bool g_started = false;

reader::Window describe() {
  reader::Window window;
  window.title = SDL_GetWindowTitle(platform::window());
  window.shown = !platform::window_has(SDL_WINDOW_HIDDEN | SDL_WINDOW_MINIMIZED);
  window.active = platform::window_has(SDL_WINDOW_INPUT_FOCUS);
  const platform::WindowState state = platform::window_state();
  // Under Wayland the position is unknown.
  if (!platform::video_driver_is("wayland")) {
    window.x = state.place.x;
    window.y = state.place.y;
  }
  window.w = state.size.w;
  window.h = state.size.h;
  window.zoom = platform::view().zoom;
  window.elements = ui::describe();
  return window;
}

bool carry_out_commands() {
  bool any = false;
  for (reader::Command command; reader::take(&command); any = true)
    ui::carry_out(command);
  return any;
}

}  // namespace

namespace platform {

void serve_reader() {
  if (!g_started) {
    if (!desktop::reader_wanted()) return;
    g_started = true;
    reader::start();
  }
  if (carry_out_commands()) {
    g_described_at = 0;
    return;
  }
  if (g_described_at != 0 && ticks_ms() - g_described_at < kIntervalMs) return;
  g_described_at = ticks_ms();
  reader::publish(describe());
}

}  // namespace platform
