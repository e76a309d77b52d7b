// The log of this run.
//
// A line is "HH:MM:SS LEVEL message" in local time, LEVEL being "INFO ", "WARN " or "ERROR".
// Messages are English and become one line each (utf8::one_line). Every line is written at once, so
// the file is complete even when the process dies right after.
//
// The newest 500 lines are also kept in memory. Those logged before the file was opened, or while
// the disk was full, are written as soon as possible. If more than 500 lines are waiting, the
// oldest are lost from the file.
//
// Threads: every function may be called from any thread. A mutex that cannot be taken raises
// std::system_error.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace logger {

// Opens dir + "/" + name + ".log", replacing its content. No-op while a log file is open. Where it
// cannot be opened, which is not reported, lines are kept in memory only.
void init(const std::string& dir, const std::string& name);

// Append one line each. The message is not a format string.
void info(const std::string& msg);
void warn(const std::string& msg);
void error(const std::string& msg);

// The path given to the last init; empty before.
std::string file_path();

// The newest n lines (or all, if fewer) without their line ends, oldest first.
std::vector<std::string> tail(std::size_t n);

// Closes the file. Later lines are kept in memory only.
void shutdown();

}  // namespace logger
