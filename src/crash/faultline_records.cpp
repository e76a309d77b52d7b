// DESIGN: the program's side of a report: the descriptions before a crash, and the questions at the
// next start.
#include <mutex>
#include <system_error>
#include <thread>

#include "faultline_private.h"

namespace faultline {

namespace {

App g_app;  // written by install, before there are other threads

std::mutex g_audio_mtx;  // guards audio_text()
std::string& audio_text() {
  // Never destroyed: the engine's thread may still describe something while the process ends.
  static auto* const text = new std::string;
  return *text;
}

std::string& previous_log() {
  static auto* const path = new std::string;
  return *path;
}

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines)
    text += line + "\n";
  return text;
}

void describe_system(const std::vector<std::string>& lines) {
  constexpr std::string_view kPackage = "Package: ";
  // Asking a second time might start a package manager a second time.
  for (const std::string& line : lines) {
    if (line.starts_with(kPackage)) detail::set_header_package(line.substr(kPackage.size()));
  }
  detail::log_lines("System: ", lines);
  set_context(kSystem, joined(lines));
}

}  // namespace

namespace detail {

void set_app(const App& app) {
  g_app = app;
}

const App& app() {
  return g_app;
}

void log(const char* level, const std::string& message) {
  if (g_app.log != nullptr) g_app.log(level, message);
}

void log_lines(const std::string& prefix, const std::vector<std::string>& lines) {
  for (const std::string& line : lines)
    log("INFO", prefix + line);
}

}  // namespace detail

void record_system() {
  if (detail::package_needs_query()) {
    try {
      // A package manager may be slow, or hang: nothing waits for its answer.
      std::thread([] {
        prepare_thread();
        describe_system(system_lines());
      }).detach();
      return;
    } catch (const std::system_error&) {
      // Without a thread, start-up waits for two seconds at most.
    }
  }
  describe_system(system_lines());
}

void record_audio(const std::vector<std::string>& lines) {
  const std::lock_guard lock(g_audio_mtx);
  const std::string text = joined(lines);
  if (text == audio_text()) return;
  audio_text() = text;
  detail::log_lines("Audio: ", lines);
  set_context(kAudio, text);
}

void record_graphics(const std::vector<std::string>& lines) {
  std::vector<std::string> all = gpu_lines();
  all.insert(all.end(), lines.begin(), lines.end());
  detail::log_lines("Graphics: ", all);
  set_context(kGraphics, joined(all));
}

std::string rotate_log(const std::string& log_path) {
  previous_log().clear();
  const std::string kept = log_path + ".1";
  if (detail::file_exists(log_path) && detail::file_rename(log_path, kept)) previous_log() = kept;
  return previous_log();
}

bool pending(std::string* text) {
  std::string report;
  if (!detail::file_read(report_path(), &report, detail::kMaxReport) || report.empty())
    return false;
  // The next start rotates logs again, and the log of the crashed run would be lost.
  if (!previous_log().empty() && !detail::file_exists(crash_log_path()))
    static_cast<void>(detail::file_copy(previous_log(), crash_log_path()));
  if (text != nullptr) *text = std::move(report);
  return true;
}

void discard() {
  detail::file_remove(report_path());
  detail::file_remove(crash_log_path());
}

}  // namespace faultline
