// DESIGN: one mutex makes a line atomic in the file and in the tail. The file always holds what the
// tail holds: lines that came while no file was open are counted and written as soon as one is.
#include "logger.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <deque>
#include <mutex>

#include "utf8.h"

namespace logger {
namespace {

constexpr std::size_t kTailLines = 500;

std::mutex g_m;            // guards everything below
std::string g_path;        // the log file's path
std::FILE* g_f = nullptr;  // the open log file
// The newest lines, without line ends. Never destroyed: a thread that nobody waits for may still
// say something while the process ends.
std::deque<std::string>& g_tail = *new std::deque<std::string>;
std::size_t g_unwritten = 0;  // how many of the newest lines of g_tail are in no file yet

// A log that cannot be written has nowhere to say so; the tail still has the line.
void write_line(const std::string& line) {
  static_cast<void>(std::fwrite(line.data(), 1, line.size(), g_f));
  static_cast<void>(std::fputc('\n', g_f));
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
  if (g_f == nullptr) {
    g_unwritten = std::min(g_unwritten + 1, g_tail.size());
    return;
  }
  write_line(g_tail.back());
  std::fflush(g_f);
}

}  // namespace

void init(const std::string& dir, const std::string& name) {
  const std::lock_guard lock(g_m);
  if (g_f != nullptr) return;
  g_path = dir + "/" + name + ".log";
  // Closed on exec: programs that we start must not hold the log.
  g_f = std::fopen(g_path.c_str(), "we");
  if (g_f == nullptr) return;
  std::for_each(g_tail.end() - static_cast<std::ptrdiff_t>(g_unwritten), g_tail.end(), write_line);
  g_unwritten = 0;
  std::fflush(g_f);
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
  if (g_f == nullptr) return;
  std::fclose(g_f);
  g_f = nullptr;
}

}  // namespace logger
