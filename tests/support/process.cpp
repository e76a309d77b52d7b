// DESIGN: fork and exec by hand, because the child has to ask the kernel to be killed with its
// parent, which posix_spawn cannot do. Between fork and exec nothing takes a lock (the C library's
// own posix_spawnp calls execvpe there, too): the sound library's threads may have held any at the
// moment of the fork. What exec needs is prepared before.
#include "process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <ostream>
#include <sstream>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

namespace support {
namespace {

constexpr std::chrono::milliseconds kPoll{5};

// Prefixes of the variables through which a child could reach the session of the person who runs
// the tests.
constexpr std::array<std::string_view, 9> kSessionVariables{
    "PULSE_",   "PIPEWIRE_", "WIREPLUMBER_", "XDG_",       "DBUS_",
    "DISPLAY=", "WAYLAND_",  "SDL_",         "XAUTHORITY="};

std::vector<std::string> child_environment(const Environment& changes) {
  std::vector<std::string> result;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    const bool session = std::ranges::any_of(
        kSessionVariables, [&](std::string_view prefix) { return text.starts_with(prefix); });
    if (!session && !changes.contains(std::string(text.substr(0, text.find('=')))))
      result.emplace_back(text);
  }
  for (const auto& [name, value] : changes) {
    if (!value.empty()) result.push_back(name + "=" + value);
  }
  return result;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
  std::vector<char*> result;
  for (std::string& s : strings)
    result.push_back(s.data());
  result.push_back(nullptr);
  return result;
}

// Runs in the child.
[[noreturn]] void become(char* const* arguments, char* const* environment, int output,
                         pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(127);  // the test died before the kernel knew
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  // As a session starts a program, whatever started the test.
  for (const int number : {SIGPIPE, SIGHUP})
    ::signal(number, SIG_DFL);
  const int nothing = open("/dev/null", O_RDONLY);
  if (nothing >= 0 && dup2(nothing, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0 &&
      dup2(output, STDERR_FILENO) >= 0)
    execvpe(arguments[0], arguments, environment);
  constexpr std::string_view kFailed = "cannot be run\n";
  // Nobody is left to hear that this failed as well.
  [[maybe_unused]] const ssize_t written = write(output, kFailed.data(), kFailed.size());
  _exit(127);
}

std::filesystem::path folder_of(pid_t pid) {
  return std::filesystem::path("/proc") / std::to_string(pid);
}

template <class Condition>
std::vector<pid_t> processes_where(Condition&& condition) {
  std::vector<pid_t> result;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    if (std::isdigit(static_cast<unsigned char>(name.front())) == 0) continue;
    const pid_t pid = std::stoi(name);
    if (condition(pid)) result.push_back(pid);
  }
  return result;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const ExitStatus& status) {
  if (status.signal != 0) return out << "ended by signal " << status.signal;
  return out << "returned " << status.code;
}

Process::Process(const std::vector<std::string>& arguments, const Environment& environment,
                 std::filesystem::path output)
    : output_(std::move(output)) {
  std::vector<std::string> argument_copies = arguments;
  std::vector<std::string> variables = child_environment(environment);
  const std::vector<char*> argv = pointers(argument_copies);
  const std::vector<char*> envp = pointers(variables);
  const int file = open(output_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  const pid_t parent = getpid();
  pid_ = file < 0 ? -1 : fork();
  if (pid_ == 0) become(argv.data(), envp.data(), file, parent);
  const int error = errno;
  close(file);
  if (pid_ < 0)
    throw std::system_error(error, std::generic_category(), "cannot start " + arguments.front());
}

Process::~Process() {
  kill();
}

void Process::signal(int number) {
  if (running()) ::kill(pid_, number);
}

void Process::freeze() {
  signal(SIGSTOP);
  // The signal is only a request; every thread has to reach a point where it can be stopped.
  siginfo_t ignored{};
  waitid(P_PID, static_cast<id_t>(pid_), &ignored, WSTOPPED | WEXITED | WNOWAIT);
}

std::optional<ExitStatus> Process::wait(std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (int status = 0; !status_; std::this_thread::sleep_for(kPoll)) {
    const bool last = std::chrono::steady_clock::now() >= deadline;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      if (WIFSIGNALED(status)) return status_ = ExitStatus{.signal = WTERMSIG(status)};
      return status_ = ExitStatus{.code = WEXITSTATUS(status)};
    }
    if (last) break;
  }
  return status_;
}

ExitStatus Process::stop(std::chrono::milliseconds limit) {
  signal(SIGTERM);
  if (const auto status = wait(limit)) return *status;
  return kill();
}

ExitStatus Process::kill() {
  signal(SIGKILL);
  return wait(std::chrono::hours(1)).value();
}

std::vector<pid_t> children_of(pid_t pid) {
  return processes_where(
      [pid](pid_t candidate) { return status_number(candidate, "PPid") == pid; });
}

long status_number(pid_t pid, const std::string& name) {
  std::ifstream status(folder_of(pid) / "status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name + ":")) return std::stol(line.substr(name.size() + 1));
  }
  return -1;
}

std::vector<pid_t> processes_with(const std::string& name, const std::string& value) {
  return processes_where([&](pid_t candidate) {
    std::istringstream variables(read_file(folder_of(candidate) / "environ"));
    for (std::string variable; std::getline(variables, variable, '\0');) {
      if (variable.starts_with(name + "=") && variable.find(value) != std::string::npos)
        return candidate != getpid();
    }
    return false;
  });
}

std::string read_file(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool program_exists(const std::string& name) {
  return std::system(("command -v " + name + " >/dev/null").c_str()) == 0;
}

void require_programs(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    if (program_exists(name)) continue;
    const char* ci = std::getenv("CI");
    if (ci != nullptr && std::string(ci) == "true") FAIL() << name << " is not installed";
    GTEST_SKIP() << name << " is not installed";
  }
}

}  // namespace support
