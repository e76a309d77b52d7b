// One running copy per directory of settings, and how a second start reaches it.
//
// A lock on a file decides: the kernel gives it back however a process ends. The session bus and a
// signal are only ways to call the copy that has it. Thread: the main thread, at start.
#pragma once

#include <string>

namespace single_instance {

// Takes the lock of this directory and writes the process id beside it. Returns false when another
// copy has it. Where the lock cannot be had for another reason it protects nothing, and the result
// is true.
bool claim(const std::string& directory);

// After claim returned false: asks the copy that has the lock to come to the front, in the compact
// view if `compact`, and to import `file` unless that is empty. Over the bus where it answers
// within a second, else by SIGUSR1, which knows neither compact view nor file. The signal goes to
// nobody but that copy: where its process is not known for certain, none is sent. Takes a second
// and a half at most.
void call_other(bool compact, const std::string& file);

}  // namespace single_instance
