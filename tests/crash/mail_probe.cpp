// Sends the report in a directory: mail_probe DIRECTORY PORTAL_LIMIT_MS [no-thread]
//
// Prints what is logged and opened, whether the report is still offered, and the files of the
// directory that are left open. With "no-thread" there is no thread to be had.
#include <pthread.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <semaphore>

#include "crash/faultline_private.h"

namespace {

std::binary_semaphore g_done{0};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const std::string directory = argv[1];
  faultline::App app{.name = "Tester",
                     .version = "1.2.3",
                     .build = "45",
                     .mail_to = "help@example.org",
                     .package_name = "tester"};
  app.log = [](const char* level, const std::string& text) {
    std::cout << level << ' ' << text << std::endl;
    if (text.starts_with("Crash report: ")) g_done.release();
  };
  app.open_uri = [](const std::string& address) { std::cout << "OPEN " << address << std::endl; };
  faultline::install(app);
  faultline::detail::set_portal_limit(static_cast<unsigned>(std::atoi(argv[2])));
  faultline::set_report_dir(directory);
  if (argc > 3) {
    pthread_attr_t huge;
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, std::size_t{1} << 46U);
    pthread_setattr_default_np(&huge);
  }
  faultline::send(directory + "/Tester.log");
  g_done.acquire();
  if (faultline::pending(nullptr)) std::cout << "still offered\n";
  for (const auto& fd : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code closed_meanwhile;
    const std::string file = std::filesystem::read_symlink(fd, closed_meanwhile);
    if (file.starts_with(directory)) std::cout << "open: " << file << '\n';
  }
  return 0;
}
