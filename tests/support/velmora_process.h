// The program itself, as built, on a test's sound server: with a configuration directory of its
// own, and a display only where a test gives it one.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "process.h"
#include "sound_server.h"
#include "temp_dir.h"

namespace support {

inline constexpr const char* kSink = "velmora";  // of the program, on the server

struct VelmoraOptions {
  std::vector<std::string> arguments{};
  // Where its XDG_CONFIG_HOME is to be; empty = a new temporary directory. Two runs with the same
  // directory share settings, log and single-instance lock.
  std::filesystem::path config_home{};
  Environment environment{};  // further variables
  // The variables that lead to a display; see Screen::environment().
  Environment display = {{"SDL_VIDEODRIVER", "dummy"}};
};

class VelmoraProcess {
 public:
  // Starts the program. Throws std::system_error when it cannot be started.
  explicit VelmoraProcess(const SoundServer& server, VelmoraOptions options = {});
  // Ends the program, the regular way. When the test has failed, prints log and console output.
  ~VelmoraProcess();

  // Waits until the log holds this text; the failure message ends with the last lines of the log.
  testing::AssertionResult wait_for_log(const std::string& text,
                                        std::chrono::milliseconds limit = std::chrono::seconds(10));
  // This run's log (never one that an earlier run left), and how often a text occurs in it.
  [[nodiscard]] std::string log() const;
  [[nodiscard]] int count_in_log(const std::string& text) const;
  // Standard output and standard error.
  [[nodiscard]] std::string console() const { return process_->output(); }
  [[nodiscard]] const std::filesystem::path& config_home() const { return config_home_; }

  [[nodiscard]] pid_t pid() const { return process_->pid(); }
  [[nodiscard]] bool running() { return process_->running(); }
  // The guard process; empty when there is none.
  [[nodiscard]] std::optional<pid_t> guard() const;
  void signal(int number) { process_->signal(number); }
  std::optional<ExitStatus> wait(std::chrono::milliseconds limit) { return process_->wait(limit); }
  // Asks it to end and waits; see Process.
  ExitStatus stop() { return process_->stop(); }
  // SIGKILL: as a crash that leaves no time for anything.
  ExitStatus kill9() { return process_->kill(); }

 private:
  [[nodiscard]] std::filesystem::path log_path() const;

  TempDir directory_;
  std::filesystem::path config_home_;
  ino_t previous_log_ = 0;
  std::optional<Process> process_;
};

}  // namespace support
