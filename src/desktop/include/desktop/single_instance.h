// One running copy per directory of settings, and how a second start reaches it.
//
// A file lock decides: the kernel releases it however a process ends. The session bus and a signal
// are only ways to call the copy that holds it. Thread: the main thread, at start.
#pragma once

#include <string>

namespace single_instance {

// Takes the lock of this directory and writes the process id into the lock file. Returns false when
// another copy holds it. If the lock fails for another reason there is no protection, and the
// result is true.
bool claim(const std::string& directory);

// After claim returned false: asks the copy that holds the lock to come to the front, in the
// compact view if `compact`, and to import `file` unless that is empty. Uses the bus if it answers
// within a second, else SIGUSR1, which carries neither compact view nor file. The signal is sent
// only if that process is known for certain. Takes at most a second and a half.
void call_other(bool compact, const std::string& file);

}  // namespace single_instance
