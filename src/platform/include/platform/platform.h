// The window platform: runs the frame loop between start-up and shut-down, and does what the
// interface asks of the window. Positions and sizes are in window points. Thread: the main thread
// only.
#pragma once

#include <cstdint>
#include <string>

struct Settings;

namespace platform {

// Sets the environment variables that the window needs. Call it before there are threads.
void prepare_environment();

// Ask run_gui to end, or to bring the window to the front. A request that comes before run_gui
// takes effect when it starts. Thread: any; also from a signal handler.
void request_quit();
void request_raise();

// Milliseconds since about the start; never runs backwards.
std::uint64_t ticks_ms();

// Makes the window the compact strip (above other windows if `on_top`) or the full window.
void set_compact(bool compact, bool on_top);

// The window's position and size. Unknown values leave the arguments unchanged.
void window_pos(int* x, int* y);
void window_size(int* w, int* h);

// Sets the least size, then the size.
void resize_window(int w, int h, int min_w, int min_h);

// Ends run_gui after the current frame.
void quit();

// Whether the window manager puts a frame around the compact window: never on this platform.
bool compact_framed();

// Opens a web or mail address in the desktop's program for it. A failure is logged.
void open_uri(const std::string& address);

}  // namespace platform

// Shows the window until the user or a signal ends the program. `settings` is edited in place and
// must outlive the call. Returns 0 after a normal end, or 1 if no window is possible, after logging
// the reason.
int run_gui(Settings* settings);
