// DESIGN: the main thread renames the report, so that it is never offered twice. Everything that
// may take long happens on a thread that owns copies of its data and shares only two callbacks with
// the program.
#include <sys/stat.h>

#include <system_error>
#include <thread>

#include "faultline_private.h"

namespace faultline {

namespace {

constexpr std::size_t kMaxLinkBody = 6000;  // longer addresses get lost on their way

struct Delivery {
  std::string report;
  std::string crash_log;
  std::string folder;
  std::vector<std::string> attachments;
  std::vector<std::pair<std::string, std::string>> moved;  // from, to
};

std::string file_name(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

std::string folder_of(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

std::string sent_name(const std::string& path) {
  constexpr std::string_view kEnding = ".txt";
  if (!path.ends_with(kEnding)) return path + "-sent";
  return path.substr(0, path.size() - kEnding.size()) + "-sent.txt";
}

// A link is left out: the mail would contain a file of somebody else's choice.
bool is_regular(const std::string& path) {
  struct stat info {};
  return lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// Moves the file to the name under which it is sent. Where that fails, the file is sent from where
// it is.
void put_aside(const std::string& path, Delivery* delivery) {
  if (!is_regular(path)) return;
  const std::string sent = sent_name(path);
  const bool moved = detail::file_rename(path, sent);
  delivery->attachments.push_back(moved ? sent : path);
  if (moved) delivery->moved.emplace_back(path, sent);
}

std::string body_with_attachments(const Delivery& delivery) {
  std::string body =
      "Attached: crash report and log files. The same follows as text.\n\n" + delivery.report;
  if (!delivery.crash_log.empty())
    body += "\n=== crash_log.txt (log of the crashed run) ===\n" + delivery.crash_log;
  return body;
}

void deliver(const Delivery& delivery) {
  prepare_thread();
  const std::string to = detail::app().mail_to;
  const std::string subject = detail::subject();
  if (detail::compose_with_attachments(to, subject, body_with_attachments(delivery),
                                       delivery.attachments)) {
    detail::log("INFO", "Crash report: mail composed with " +
                            std::to_string(delivery.attachments.size()) + " attachments");
    return;
  }
  detail::open_uri("mailto:" + to + "?subject=" + detail::url_encode(subject) +
                   "&body=" + detail::url_encode(detail::mail_body(delivery.report, kMaxLinkBody)));
  detail::open_uri(detail::folder_uri(delivery.folder));
  detail::log("WARN", "Crash report: no way to attach files - opened mailto and the folder");
}

}  // namespace

namespace detail {

std::string subject() {
  return std::string(app().name) + " " + app().version + " (Build " + app().build +
         ") crash report";
}

std::string mail_body(const std::string& report, std::size_t limit) {
  if (report.size() <= limit) return report;
  constexpr std::string_view kCut = "[...]";
  constexpr std::string_view kLog = "\nLog (last lines before the crash):\n";
  constexpr std::string_view kAfterLog = "\nLog file:\n";
  const std::size_t excess = report.size() + kCut.size() + 1 - limit;
  const std::size_t title = report.find(kLog);
  const std::size_t end = report.rfind(kAfterLog);
  if (title != std::string::npos && end != std::string::npos && end >= title + kLog.size() &&
      end - title - kLog.size() >= excess) {
    // The newest lines matter most: the oldest are dropped, including the rest of a cut one.
    const std::size_t begin = title + kLog.size();
    const std::size_t line = report.find('\n', begin + excess - 1);
    return report.substr(0, begin) + std::string(kCut) + report.substr(std::min(line, end));
  }
  std::string text = report;
  if (title != std::string::npos && end != std::string::npos && end >= title + kLog.size())
    text = report.substr(0, title + kLog.size()) + std::string(kCut) + report.substr(end);
  if (text.size() <= limit) return text;
  const std::size_t mark = kCut.size() + 1;
  if (limit < mark) return "";
  return text.substr(0, fitting(text, limit - mark)) + "\n" + std::string(kCut);
}

void open_uri(const std::string& address) {
  if (app().open_uri != nullptr) app().open_uri(address);
}

}  // namespace detail

void send(const std::string& log_path) {
  Delivery delivery;
  const std::string report = report_path();
  delivery.folder = folder_of(report);
  detail::file_read(report, &delivery.report, detail::kMaxReport);
  put_aside(report, &delivery);
  put_aside(crash_log_path(), &delivery);
  if (!log_path.empty() && is_regular(log_path)) delivery.attachments.push_back(log_path);
  for (const std::string& file : delivery.attachments) {
    if (file_name(file).find("crash_log") == std::string::npos) continue;
    detail::file_read(file, &delivery.crash_log, detail::kMaxCrashLog);
    break;
  }
  try {
    std::thread(deliver, delivery).detach();
  } catch (const std::system_error& error) {
    for (const auto& [from, to] : delivery.moved)
      static_cast<void>(detail::file_rename(to, from));
    detail::log("WARN", std::string("Crash report: cannot be sent now (") + error.what() + ")");
  }
}

}  // namespace faultline
