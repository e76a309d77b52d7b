// The end of the program, with a time limit: a hung X server, disk or sound server must neither
// keep the program alive nor the user's sound away.
//
// A request to end (SIGINT, SIGTERM, SIGHUP, or begin) starts a clock. The orderly way out goes on
// meanwhile; after 2 s another thread restores the sound, and after 5 s the process is gone, with
// exit code 0. What is not restored by then is left to the guard.
#pragma once

namespace ending {

// What a watch calls, from threads of its own.
struct Watch {
  void (*on_end)() = nullptr;    // somebody asks for the end; may be called by a signal handler
  void (*on_raise)() = nullptr;  // SIGUSR1; likewise
  void (*rescue)() = nullptr;    // 2 s after the request; may take any time
  void (*prepare)() = nullptr;   // first of all, on each thread
};

// From here on SIGINT, SIGTERM, SIGHUP (unless it is ignored) and SIGUSR1 are blocked on this
// thread and all that it starts, and answered by a thread of their own, whatever the main thread is
// doing. Where no thread can be had, the signals are answered by handlers on this thread, without a
// clock.
void watch(const Watch& watch);

// Starts the clock, as a signal does. No-op without a watch. Thread: any.
void begin();

}  // namespace ending
