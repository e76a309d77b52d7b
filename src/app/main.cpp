// DESIGN: start-up is one list, read from top to bottom, because its order matters: the guard is
// forked before there are threads, locks or blocked signals to inherit; the lock is taken before
// the previous run's log is touched; the engine has all its wishes before it starts.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "app/autostart.h"
#include "app/device_presets.h"
#include "app/logger.h"
#include "app/paths.h"
#include "app/settings.h"
#include "app/utf8.h"
#include "app/version.h"
#include "audio/audio.h"
#include "audio/guard.h"
#include "command_line.h"
#include "con.h"
#include "crash/crash_handler.h"
#include "desktop/desktop.h"
#include "desktop/single_instance.h"
#include "ending.h"
#include "i18n/i18n.h"
#include "platform/platform.h"
#include "selftest.h"
#include "ui/theme.h"
#include "ui/ui.h"

namespace {

using command_line::Args;

constexpr int kExitOk = 0;
constexpr int kExitNoServer = 1;
constexpr int kExitUnknownSwitch = 2;

constexpr const char* kLogName = "Velmora";
// Leaves the log of a running copy alone.
constexpr const char* kDevicesLogName = "Velmora-devices";

constexpr int kConnectPolls = 40;
constexpr std::chrono::milliseconds kConnectPoll{100};

constexpr const char* kVersionText = "Velmora %s (Build %s)\n";

// -h and the switches of another platform are left out on purpose.
constexpr const char* kHelpText =
    "Velmora %s (Build %s)\n"
    "\n"
    "  Velmora                 Fenster oeffnen\n"
    "  Velmora --compact       in der Kompaktansicht oeffnen\n"
    "  Velmora --devices       Ausgabegeraete auflisten\n"
    "  Velmora --selftest      Filter und Spektrum nachrechnen\n"
    "  Velmora --version       Fassung ausgeben\n"
    "\n"
    "  --device <kennung>          fuer diesen Lauf auf dieses Geraet spielen\n"
    "  --no-takeover               Standardgeraet und fremde Tonstroeme NICHT\n"
    "                              anfassen (Testlaeufe)\n"
    "  --off                       mit ausgeschaltetem Equalizer starten\n"
    "\n"
    "  Startzustand fuer Aufnahmen (Store-Bilder; wird wie eine Einstellung gemerkt):\n"
    "  --size <B>x<H>              Fenstergroesse\n"
    "  --theme dark|light          Design\n"
    "  --preset <name>             Voreinstellung, z. B. rock, bass, standard\n"
    "  --collapsed                 Regler eingeklappt\n"
    "  --settings                  mit geoeffneten Einstellungen (samt \"Ueber\")\n";

// If one of the three is closed, the next opened file would take its place, and console output
// would go into that file.
void open_standard_descriptors() {
  int fd = 0;
  do {
    fd = open("/dev/null", O_RDWR);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd >= 0) close(fd);
}

void open_log(const char* name) {
  logger::init(paths::config_dir(), name);
  crash_handler::set_log_path(logger::file_path());
  crash_handler::set_report_path(paths::config_dir() + "/crash_report.txt");
  autostart::migrate();
  logger::info(std::string("Velmora ") + kVersion + " (Build " + kBuild + ", " +
               paths::package_kind() + ")");
  crash_handler::record_system();
}

void wait_for_server() {
  for (int i = 0; i < kConnectPolls && audio::status().state != audio::kRunning; ++i) {
    // Continues to sleep after a signal.
    std::this_thread::sleep_for(kConnectPoll);
  }
}

int list_devices() {
  if (audio::start(false)) wait_for_server();
  const audio::Status status = audio::status();
  const bool connected = status.state == audio::kRunning;
  if (connected) {
    for (const audio::Device& device : audio::devices()) {
      con::printf("%s %-60s %s\n", device.name == status.target ? "*" : " ",
                  utf8::one_line(device.name).c_str(), device.label.c_str());
    }
  } else {
    con::print("Kein Tonserver erreichbar.\n");
  }
  audio::stop();
  guard::stop();
  return connected ? kExitOk : kExitNoServer;
}

void show_pending_report(Settings* s) {
  std::string text;
  if (!crash_handler::pending_report(&text)) return;
  logger::warn("Crash report from the last run found: " + crash_handler::report_path());
  s->compact = false;  // only the full view has room for the note
  ui::set_crash_report(text);
}

void start_audio(const Settings& s, const command_line::Start& start) {
  audio::set_restore_hint(s.last_default);
  audio::set_output(start.device.empty() ? s.output : start.device);
  audio::set_curve(s.curve);
  audio::set_active(s.active);
  audio::start(start.takeover);
}

bool g_window_runs = false;

// Held while the sound is restored. Never destroyed: the process may end meanwhile.
std::mutex& g_restoring = *new std::mutex;

void restore_sound_locked() {
  audio::stop();
  guard::stop();
}

// Safe to call twice, and from two threads: the second one waits for the first.
void restore_sound() {
  const std::lock_guard lock(g_restoring);
  restore_sound_locked();
}

void rescue_sound() {
  const std::unique_lock lock(g_restoring, std::try_to_lock);
  if (!lock) return;  // the orderly end is doing it
  logger::warn("The end takes long - restoring the sound meanwhile");
  restore_sound_locked();
}

// For an end that does not return to run_window: the X11 library calls exit when its display is
// gone, as at the end of a session.
void stop_at_exit() {
  if (std::exchange(g_window_runs, false)) {
    logger::warn("A library ends the program: its screen is gone");
    ending::begin();
    ui::persist();
  }
  restore_sound();
  settings::stop_saver();
}

int run_window(const Args& args, Settings* s, DevicePresets* devices) {
  const command_line::Start start = command_line::apply_start_switches(args, s);
  if (start.open_settings) ui::open_settings_at_start();
  if (start.theme_chosen) theme::set_dark(s->theme == "dark");
  if (!start.file.empty()) ui::import_at_start(start.file);
  show_pending_report(s);
  for (const std::string& value : start.ignored)
    logger::warn("Switch ignored: " + value);
  desktop::connect();
  ui::set_device_presets(devices, start.preset_chosen);
  start_audio(*s, start);
  std::atexit(stop_at_exit);
  settings::start_saver(crash_handler::prepare_thread);

  g_window_runs = true;
  const int exit_code = run_gui(s);
  g_window_runs = false;
  ending::begin();
  if (exit_code != kExitOk)
    con::print_error("Kein Fenster moeglich, siehe " + logger::file_path() + "\n");

  restore_sound();
  settings::save(*s);
  settings::stop_saver();
  logger::info("Quit");
  logger::shutdown();
  return exit_code;
}

int start_up(const Args& args) {
  const bool listing = command_line::has(args, "--devices");
  guard::start();
  // From here on a request to end leads to an orderly end; the guard must not inherit this.
  if (!listing) {
    platform::prepare_environment();
    ending::watch({.on_end = platform::request_quit,
                   .on_raise = platform::request_raise,
                   .rescue = rescue_sound,
                   .prepare = crash_handler::prepare_thread});
  }
  Settings s = settings::load();
  i18n::set_language(s.language);
  theme::set_dark(s.theme != "light");
  if (listing) {
    open_log(kDevicesLogName);
    return list_devices();
  }
  if (!single_instance::claim(paths::config_dir())) {
    single_instance::call_other(command_line::has(args, "--compact"),
                                command_line::file_argument(args));
    con::print("Velmora laeuft bereits — Fenster nach vorn geholt.\n");
    guard::stop();
    return kExitOk;
  }
  crash_handler::rotate_log(paths::config_dir() + "/" + kLogName + ".log");
  open_log(kLogName);
  DevicePresets devices = device_presets::load();
  return run_window(args, &s, &devices);
}

}  // namespace

int main(int argc, char** argv) {
  if (guard::is_guard(argc, argv)) guard::run(argv[1]);
  open_standard_descriptors();
  crash_handler::install();
  // A write to a closed pipe, or beyond the user's file size limit, must not end the program.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  // Some launchers ignore it, which would hide how a child process ended.
  std::signal(SIGCHLD, SIG_DFL);

  const Args args(argv + std::min(argc, 1), argv + argc);
  if (command_line::has(args, "--version")) {
    con::printf(kVersionText, kVersion, kBuild);
    return kExitOk;
  }
  if (command_line::has(args, "--help") || command_line::has(args, "-h")) {
    con::printf(kHelpText, kVersion, kBuild);
    return kExitOk;
  }
  if (command_line::has(args, "--selftest")) return selftest::run();
  if (const std::string unknown = command_line::first_unknown_switch(args); !unknown.empty()) {
    con::printf("Unbekannter Schalter: %s\n\n", unknown.c_str());
    con::printf(kHelpText, kVersion, kBuild);
    return kExitUnknownSwitch;
  }
  return start_up(args);
}
