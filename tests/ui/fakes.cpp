#include "fakes.h"

#include <algorithm>

#include "crash/crash_handler.h"
#include "platform/platform.h"

namespace {

fakes::Audio& g_sound = fakes::sound;
fakes::Platform& g_desktop = fakes::desktop;

void note(std::string call, std::initializer_list<int> numbers = {}) {
  for (const int n : numbers)
    call.append(" ").append(std::to_string(n));
  g_desktop.calls.push_back(std::move(call));
}

}  // namespace

namespace audio {

void set_active(bool active) {
  g_sound.active = active;
}

void set_output(const std::string& name) {
  g_sound.output = name;
}

void setup_devices() {
  note("setup_devices");
}

void set_mute(bool mute) {
  g_sound.status.muted = mute;
}

void set_restore_hint(const std::string& name) {
  g_sound.restore_hint = name;
}

void set_curve(const eq::Curve& curve) {
  g_sound.curve = curve;
  ++g_sound.curves;
}

void read_status(Status* status) {
  *status = g_sound.status;
}

std::vector<Device> devices() {
  return g_sound.devices;
}

bool tap(float* left, float* right, int n, float* rate, std::uint64_t* serial) {
  if (!g_sound.has_sound) return false;
  // A tone of 1 kHz at 48 kHz that starts anew with every block.
  for (int i = 0; i < n; ++i) {
    const float wave = i % 48 < 24 ? 1.0F : -1.0F;
    left[i] = wave * g_sound.left;
    right[i] = wave * g_sound.right;
  }
  *rate = 48000.0F;
  *serial = g_sound.serial;
  return true;
}

void take_peaks(float* left, float* right) {
  *left = g_sound.peak[0];
  *right = g_sound.peak[1];
}

}  // namespace audio

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
