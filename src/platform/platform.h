// The window platform: it runs the program between start-up and shut-down.
#pragma once

struct Settings;

namespace platform {

// From here on SIGINT and SIGTERM end the program in order and SIGUSR1 raises its window. Start-up
// calls this before it brings anything up: a signal that arrives in the meantime takes effect when
// run_gui starts. Threads started afterwards never receive the three signals.
void install_signal_handlers();

}  // namespace platform

// Runs until the person or a signal ends the program. `settings` is edited in place and must
// outlive the call. Returns the exit code: 0 after a normal end. Main thread.
int run_gui(Settings* settings);
