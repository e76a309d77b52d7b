// The self-test (--selftest): recomputes offline what the equalizer, the analyzer and the seal
// promise, and prints one German line per check. It starts and writes nothing: no server, no
// window, no log, no settings.
#pragma once

namespace selftest {

// Returns the exit code: 0 when every check passed, otherwise 1.
int run();

}  // namespace selftest
