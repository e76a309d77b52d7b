// DESIGN: separate from the rest of the wrapper, because only this part needs the window platform.
#include "app/addresses.h"
#include "app/logger.h"
#include "app/version.h"
#include "crash/crash_handler.h"
#include "crash/faultline.h"
#include "platform/platform.h"

namespace crash_handler {

namespace {

void log(const char* level, const std::string& message) {
  if (*level == 'W') {
    logger::warn(message);
  } else {
    logger::info(message);
  }
}

}  // namespace

void install() {
  faultline::App app;
  app.name = "Velmora";
  app.version = kVersion;
  app.build = kBuild;
  app.mail_to = kSupportMail;
  app.package_name = "velmora";
  app.log = log;
  app.open_uri = platform::open_uri;
  faultline::install(app);
}

}  // namespace crash_handler
