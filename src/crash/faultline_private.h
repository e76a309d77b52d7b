// What the sources of the crash library share. Nothing here is for the rest of the program.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "crash/faultline.h"

namespace faultline::detail {

inline constexpr std::size_t kMaxReport = 262144;   // bytes of a report that are read
inline constexpr std::size_t kMaxCrashLog = 49152;  // bytes of the crashed run's log in a mail

// The record given to install. Threads: any, after install.
void set_app(const App& app);
const App& app();

// Through the record's callback; nothing without one. Level: "INFO" or "WARN". Thread: any.
void log(const char* level, const std::string& message);
void log_lines(const std::string& prefix, const std::vector<std::string>& lines);

// The line about the package in a report's head.
void set_header_package(const std::string& line);

// How much of `text` fits into `limit` bytes without cutting a UTF-8 character.
std::size_t fitting(const std::string& text, std::size_t limit);

// Files. Symbolic links at the end of a path are taken for what they are and never followed: a
// report could otherwise be written over, or a mail sent with, a file that somebody else chose.
// Threads: any.
bool file_exists(const std::string& path);                         // whatever it is
bool file_rename(const std::string& from, const std::string& to);  // also between file systems
void file_remove(const std::string& path);                         // never a directory
// At most `limit` bytes of a regular file. False, with `out` empty, when it cannot be read.
bool file_read(const std::string& path, std::string* out, std::size_t limit);
// Replaces `to` by a copy of a regular file that only the user can read.
bool file_copy(const std::string& from, const std::string& to);
// Writes a new file that only the user can read; one of this name is removed first.
bool file_write(const std::string& path, const std::string& bytes);

// Tests read a made-up machine below this directory instead of "/".
void set_root(const std::string& dir);

// Mail
// ------------------------------------------------------------------------------------------------------------

std::string subject();
// The report in at most `limit` bytes: the log in it gives way first, then the end; "[...]" marks
// what is missing.
std::string mail_body(const std::string& report, std::size_t limit);
std::string url_encode(const std::string& text);
std::string folder_uri(const std::string& dir);
void open_uri(const std::string& address);  // through the record's callback
// Opens a mail in the person's mail program, by the first way that works. Blocks for up to a
// minute. False when there is none. Thread: a worker.
bool compose_with_attachments(const std::string& to, const std::string& subject,
                              const std::string& body, const std::vector<std::string>& files);

}  // namespace faultline::detail
