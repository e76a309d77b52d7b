// The end of the program, with a time limit: a hung X server, disk or sound server must neither
// keep the program alive nor leave the user without sound.
//
// A request to end (SIGINT, SIGTERM, SIGHUP, or begin) starts a clock. The orderly shut-down goes
// on; after 2 s another thread restores the sound, and after 5 s the process exits with code 0. If
// the sound is not restored by then, the guard does it.
#pragma once

namespace ending {

// The callbacks of a watch, called on its own threads.
struct Watch {
  void (*on_end)() = nullptr;    // a request to end; may be called by a signal handler
  void (*on_raise)() = nullptr;  // SIGUSR1; likewise
  void (*rescue)() = nullptr;    // 2 s after the request; may take any time
  void (*prepare)() = nullptr;   // first, on each thread
};

// From here on SIGINT, SIGTERM, SIGHUP (unless it is ignored) and SIGUSR1 are blocked on this
// thread and all that it starts, and answered by a thread of their own, whatever the main thread is
// doing. If no thread can be started, signal handlers on this thread do it, without a clock.
void watch(const Watch& watch);

// Starts the clock, as a signal does. No-op without a watch. Thread: any.
void begin();

}  // namespace ending
