// A child process of the test: started with an environment of its own, its output kept in a file,
// ended by its process id and never left behind. Should the test itself die, the kernel kills the
// child.
//
// Thread: start children from the main thread; a child dies with the thread that started it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace support {

// Variables to set; an empty value removes the variable.
using Environment = std::map<std::string, std::string>;

// The whole of a file; empty when it cannot be read.
std::string read_file(const std::filesystem::path& path);

struct ExitStatus {
  int code = -1;   // what the program returned, -1 when a signal ended it
  int signal = 0;  // the signal that ended it, 0 when it returned

  bool operator==(const ExitStatus&) const = default;
};
std::ostream& operator<<(std::ostream& out, const ExitStatus& status);

class Process {
 public:
  // Starts a program.
  //   arguments     the program (looked up in PATH when it has no slash) and its arguments
  //   environment   on top of the test's own environment, from which everything that could lead to
  //                 the person's own session (sound, D-Bus, display) has been taken out
  //   output        file that receives standard output and standard error, created or appended to
  // Throws std::system_error when no process can be started. One whose program cannot be run
  // says so and returns 127, as in a shell.
  Process(const std::vector<std::string>& arguments, const Environment& environment,
          std::filesystem::path output);
  // Kills the process if it still runs, and waits for its end.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // The process id; it stays valid, and cannot be another process's, until the exit status has been
  // collected.
  [[nodiscard]] pid_t pid() const { return pid_; }
  [[nodiscard]] bool running() { return !wait(std::chrono::milliseconds(0)).has_value(); }

  // Sends a signal; nothing when the process has ended.
  void signal(int number);

  // Stops the process where it is (SIGSTOP), and returns when it stands still; lets it go on again
  // (SIGCONT).
  void freeze();
  void thaw() { signal(SIGCONT); }

  // Waits for the process to end by itself; empty when it still runs after the limit.
  std::optional<ExitStatus> wait(std::chrono::milliseconds limit);

  // Asks the process to end (SIGTERM); insists (SIGKILL) when it still runs after the limit, which
  // allows for the time that a silent server may cost it.
  ExitStatus stop(std::chrono::milliseconds limit = std::chrono::seconds(30));

  // Ends the process the hard way (SIGKILL), also when it is stopped.
  ExitStatus kill();

  // Everything written to the output file so far.
  [[nodiscard]] std::string output() const { return read_file(output_); }

 private:
  pid_t pid_ = -1;
  std::optional<ExitStatus> status_;
  std::filesystem::path output_;
};

// The processes whose parent is `pid`, in no particular order.
std::vector<pid_t> children_of(pid_t pid);

// The number in a line of /proc/PID/status, e.g. "VmRSS"; -1 when there is none.
long status_number(pid_t pid, const std::string& name);

// The processes, this one excepted, that have `value` in the value of the environment variable
// `name`. Used to make sure that nothing is left of a server: whatever was started in its directory
// carries it in its environment.
std::vector<pid_t> processes_with(const std::string& name, const std::string& value);

// Whether a program of this name is in PATH.
bool program_exists(const std::string& name);

// To be called in a test's SetUp: where one of the programs is not installed, the test is skipped,
// or, with CI=true in the environment, fails.
void require_programs(const std::vector<std::string>& names);

}  // namespace support
