// The log of this run: what happened, for a person who looks into a problem.
//
// A line is "HH:MM:SS LEVEL message" in local time, LEVEL being "INFO ", "WARN " or "ERROR".
// Messages are English, one line each, whatever they hold (see utf8::one_line). Every line is
// written at once, so the file is complete even when the process dies right after.
//
// The newest 500 lines are also kept in memory. Lines that were logged before the file was opened,
// or while the disk was full, are written to it as soon as that can be done, so nothing is missing
// from the file.
//
// Threads: every function may be called from any thread. A mutex that cannot be taken raises
// std::system_error.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace logger {

// Opens dir + "/" + name + ".log", replacing what is there. Does nothing while a log file is open.
// A file that cannot be opened is not reported: lines are then kept in memory only.
void init(const std::string& dir, const std::string& name);

// Append one line each. The message is never a format.
void info(const std::string& msg);
void warn(const std::string& msg);
void error(const std::string& msg);

// The path given to the last init; empty before.
std::string file_path();

// The newest n lines without their line ends, oldest first; fewer when fewer are held (at most
// 500).
std::vector<std::string> tail(std::size_t n);

// Closes the file. Later lines are kept in memory only.
void shutdown();

}  // namespace logger
