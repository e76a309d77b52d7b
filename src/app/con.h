// The program's command-line output: German text on standard output, errors on standard error.
//
// Nothing is buffered and nothing is locked: a call is a series of raw writes. Output that cannot
// be delivered (a closed pipe, a full disk) is lost, not reported. Threads: any; texts of
// simultaneous calls may mix.
#pragma once

#include <string>

namespace con {

void print(const std::string& text);
void print_error(const std::string& text);  // on standard error

// Formats like printf, at any length. Prints nothing if formatting fails.
[[gnu::format(printf, 1, 2)]] void printf(const char* format, ...);

}  // namespace con
