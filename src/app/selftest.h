// The self-test (--selftest): checks equalizer, analyzer and seal against what they promise,
// offline, and prints one German line per check. It uses no server, window, log or settings.
#pragma once

namespace selftest {

// Returns the exit code: 0 when every check passed, otherwise 1.
int run();

}  // namespace selftest
