// Child processes. A child inherits nothing of the program: default signal dispositions, no blocked
// signals, no descriptors but the standard ones, standard input from /dev/null. No shell is
// involved: arguments are passed as they are, and the program is searched for in PATH. Threads:
// any.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace child {

// Starts a program and leaves it alone. Returns false when it cannot be started.
bool start(const std::vector<std::string>& arguments);

// Runs a program to its end, and kills it where it takes longer than `limit`.
//   output   receives its standard output, at most 64 KiB, and standard error goes to /dev/null;
//            null leaves both as they are
// Returns the exit code, 128 + number after an end by a signal, 127 when it cannot be started.
int run(const std::vector<std::string>& arguments, std::chrono::milliseconds limit,
        std::string* output);

}  // namespace child
