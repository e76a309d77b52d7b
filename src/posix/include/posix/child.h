// Child processes. A child starts with default signal dispositions, no blocked signals, and only
// the standard descriptors, with standard input from /dev/null. There is no shell: arguments are
// passed unchanged, and the program is looked up in PATH. Threads: any.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace child {

// Starts a program and does not wait for it. Returns false when it cannot be started.
bool start(const std::vector<std::string>& arguments);

// Runs a program to its end, or kills it after `limit`.
//   output   receives its standard output, at most 64 KiB, and standard error goes to /dev/null;
//            null leaves both as they are
// Returns the exit code, 128 + number after an end by a signal, 127 when it cannot be started.
int run(const std::vector<std::string>& arguments, std::chrono::milliseconds limit,
        std::string* output);

}  // namespace child
