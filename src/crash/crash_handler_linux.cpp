// DESIGN: the crash library knows nothing of this program; everything between the two passes here.
#include "crash/crash_handler.h"

#include "app/logger.h"
#include "app/paths.h"
#include "app/utf8.h"
#include "crash/faultline.h"

namespace crash_handler {

namespace {

// Device names come from outside: a line break in one could be taken for the end of a report.
std::vector<std::string> cleaned(std::vector<std::string> lines) {
  for (std::string& line : lines)
    line = utf8::one_line(line);
  return lines;
}

}  // namespace

void prepare_thread() {
  faultline::prepare_thread();
}

void rotate_log(const std::string& path) {
  static_cast<void>(faultline::rotate_log(path));
}

void set_log_path(const std::string& path) {
  faultline::set_log_file(path);
}

void set_report_path(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  faultline::set_report_dir(slash == std::string::npos ? paths::config_dir()
                                                       : path.substr(0, slash));
}

std::string report_path() {
  return faultline::report_path();
}

void record_system() {
  faultline::record_system();
}

void record_audio(const std::vector<std::string>& lines) {
  faultline::record_audio(cleaned(lines));
}

void record_graphics(const std::vector<std::string>& lines) {
  faultline::record_graphics(cleaned(lines));
}

bool pending_report(std::string* text) {
  return faultline::pending(text);
}

void send_report() {
  faultline::send(logger::file_path());
}

void clear_report() {
  faultline::discard();
}

}  // namespace crash_handler
