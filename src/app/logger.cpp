// DESIGN: one mutex makes a line atomic in the file and in memory. Lines logged while no file was
// open, or while the disk was full, are counted and written as soon as possible. A descriptor
// instead of a stream, because only a descriptor reports how much of a line was written.
#include "app/logger.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <deque>
#include <mutex>

#include "app/utf8.h"
#include "posix/files.h"

namespace logger {
namespace {

constexpr std::size_t kTailLines = 500;
constexpr mode_t kMode = 0666;  // restricted by the user's umask

std::mutex g_m;      // guards everything below
std::string g_path;  // the log file's path
int g_fd = -1;       // the open log file
// The newest lines, without line ends. Never destroyed: a detached thread may still log while the
// process ends.
std::deque<std::string>& g_tail = *new std::deque<std::string>;
std::size_t g_unwritten = 0;  // how many of the newest lines of g_tail are in no file yet

// Writes the complete line or none of it. There is nowhere to report a failure.
bool write_line(const std::string& line) {
  const off_t at = lseek(g_fd, 0, SEEK_CUR);
  if (files::write_all(g_fd, line + "\n")) return true;
  // If a partial line stays, nothing can be done about it.
  if (at >= 0 && ftruncate(g_fd, at) == 0) static_cast<void>(lseek(g_fd, at, SEEK_SET));
  return false;
}

void write_unwritten() {
  if (g_fd < 0) return;
  while (g_unwritten > 0 && write_line(*(g_tail.end() - static_cast<std::ptrdiff_t>(g_unwritten))))
    --g_unwritten;
}

std::string time_of_day() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d", local.tm_hour, local.tm_min, local.tm_sec);
  return text;
}

void append(const char* tag, const std::string& msg) {
  const std::lock_guard lock(g_m);
  std::string line = time_of_day() + " " + tag + " " + utf8::one_line(msg);
  g_tail.push_back(std::move(line));
  if (g_tail.size() > kTailLines) g_tail.pop_front();
  g_unwritten = std::min(g_unwritten + 1, g_tail.size());
  write_unwritten();
}

}  // namespace

void init(const std::string& dir, const std::string& name) {
  const std::lock_guard lock(g_m);
  if (g_fd >= 0) return;
  g_path = dir + "/" + name + ".log";
  g_fd = files::open_for_writing(g_path.c_str(), kMode);
  write_unwritten();
}

void info(const std::string& msg) {
  append("INFO ", msg);
}

void warn(const std::string& msg) {
  append("WARN ", msg);
}

void error(const std::string& msg) {
  append("ERROR", msg);
}

std::string file_path() {
  const std::lock_guard lock(g_m);
  return g_path;
}

std::vector<std::string> tail(std::size_t n) {
  const std::lock_guard lock(g_m);
  const std::size_t count = std::min(n, g_tail.size());
  return {g_tail.end() - static_cast<std::ptrdiff_t>(count), g_tail.end()};
}

void shutdown() {
  const std::lock_guard lock(g_m);
  if (g_fd < 0) return;
  close(g_fd);
  g_fd = -1;
}

}  // namespace logger
