// Shared by the sources of the crash library; not for the rest of the program.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "crash/faultline.h"
#include "posix/files.h"

namespace faultline::detail {

inline constexpr std::size_t kMaxReport = 262144;   // bytes of a report that are read
inline constexpr std::size_t kMaxCrashLog = 49152;  // bytes of the crashed run's log in a mail
inline constexpr std::size_t kMaxKept = std::size_t{64} << 20U;  // of a file that is copied

// The record given to install. Threads: any, after install.
void set_app(const App& app);
const App& app();

// Through the record's callback; no-op without one. Level: "INFO" or "WARN". Thread: any.
void log(const char* level, const std::string& message);
void log_lines(const std::string& prefix, const std::vector<std::string>& lines);

// The line about the package in a report's head.
void set_header_package(const std::string& line);

// How many bytes of `text`, at most `limit`, do not cut a UTF-8 character.
std::size_t fitting(const std::string& text, std::size_t limit);

// Files, by the rules of posix/files.h. A symbolic link at the end of a path is never followed:
// another user could otherwise have us overwrite, or mail, a file of their choice. Threads: any.
inline bool file_exists(const std::string& path) {
  return files::is_taken(path);
}
inline bool file_rename(const std::string& from, const std::string& to) {
  return files::move(from, to, kMaxKept);
}
inline void file_remove(const std::string& path) {
  files::remove(path);
}
inline bool file_read(const std::string& path, std::string* out, std::size_t limit) {
  return files::read_beginning(path, limit, out);
}
inline bool file_copy(const std::string& from, const std::string& to) {
  return files::copy(from, to, kMaxKept);
}

// Tests: the directory of an invented machine, instead of "/".
void set_root(const std::string& dir);

// Whether the line about the package needs a query of a package manager, up to two seconds.
bool package_needs_query();

// Mail ----------------------------------------------------------------

// A mail.
struct Mail {
  std::string to;
  std::string subject;
  std::string body;                // valid UTF-8
  std::vector<std::string> files;  // paths of the attachments
};

std::string subject();
// The report in at most `limit` bytes: the log in it is cut first, then the end; "[...]" marks the
// gap.
std::string mail_body(const std::string& report, std::size_t limit);
std::string url_encode(const std::string& text);
std::string folder_uri(const std::string& dir);
void open_uri(const std::string& address);  // through the record's callback

// Opens a mail in the user's mail program, by the first way that works. Each has a time limit.
// Returns false if none works. Thread: a worker.
bool compose_with_attachments(const std::string& to, const std::string& subject,
                              const std::string& body, const std::vector<std::string>& files);

// One of the ways: the desktop's mail portal. Takes at most 30 s, less in tests. Logs the outcome.
bool via_portal(const Mail& mail);
void set_portal_limit(unsigned ms);

}  // namespace faultline::detail
