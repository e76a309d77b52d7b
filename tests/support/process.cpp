// DESIGN: fork and exec by hand, because the child has to ask the kernel to be killed with its
// parent, which posix_spawn cannot do. Between fork and exec only async-signal-safe calls are made:
// the sound library's threads may have held any lock at the moment of the fork. What exec needs is
// prepared before.
#include "process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
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
    const bool session = std::any_of(kSessionVariables.begin(), kSessionVariables.end(),
                                     [&](std::string_view p) { return text.starts_with(p); });
    if (!session && !changes.contains(std::string(text.substr(0, text.find('='))))) {
      result.emplace_back(text);
    }
  }
  for (const auto& [name, value] : changes) {
    if (!value.empty()) result.emplace_back(name).append("=").append(value);
  }
  return result;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
  std::vector<char*> result;
  result.reserve(strings.size() + 1);
  for (std::string& s : strings)
    result.push_back(s.data());
  result.push_back(nullptr);
  return result;
}

std::filesystem::path find_program(const std::string& name) {
  if (name.find('/') != std::string::npos) return name;
  const char* path = std::getenv("PATH");
  std::stringstream folders(path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin");
  for (std::string folder; std::getline(folders, folder, ':');) {
    std::filesystem::path candidate = std::filesystem::path(folder) / name;
    if (access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  return {};
}

// Runs in the child. `report` tells the parent why there is no program; exec closes it.
[[noreturn]] void become(const char* program, char* const* arguments, char* const* environment,
                         int output, int report, pid_t parent) {
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
      dup2(output, STDERR_FILENO) >= 0) {
    execve(program, arguments, environment);
  }
  const int error = errno;
  // Nobody is left to hear that this failed.
  [[maybe_unused]] const ssize_t written = write(report, &error, sizeof error);
  _exit(127);
}

ExitStatus from_wait_status(int status) {
  if (WIFSIGNALED(status)) return {-1, WTERMSIG(status)};
  return {WEXITSTATUS(status), 0};
}

std::optional<pid_t> to_pid(const std::string& text) {
  pid_t pid = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), pid);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return pid;
}

struct ProcessStat {
  char state = '?';  // as the kernel writes it; 'T' is stopped by a signal
  pid_t parent = -1;
};

ProcessStat stat_of(const std::filesystem::path& folder) {
  // "pid (name) state parent ...", where the name may hold anything, parentheses included.
  const std::string text = read_file(folder / "stat");
  ProcessStat result;
  const auto name_end = text.rfind(')');
  if (name_end == std::string::npos) return result;
  std::istringstream rest(text.substr(name_end + 1));
  rest >> result.state >> result.parent;
  return result;
}

template <class Visit>
void for_each_process(Visit&& visit) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    if (const auto pid = to_pid(entry.path().filename().string())) visit(*pid, entry.path());
  }
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const ExitStatus& status) {
  if (status.signal != 0) return out << "ended by signal " << status.signal;
  return out << "returned " << status.code;
}

Process::Process(const std::vector<std::string>& arguments, const Environment& environment,
                 std::filesystem::path output)
    : output_(std::move(output)) {
  const auto fail = [&](int error) {
    throw std::system_error(error, std::generic_category(), "cannot start " + arguments.front());
  };
  const std::string program = find_program(arguments.front()).string();
  if (program.empty()) fail(ENOENT);
  std::vector<std::string> argument_copies = arguments;
  std::vector<std::string> variables = child_environment(environment);
  const std::vector<char*> argv = pointers(argument_copies);
  const std::vector<char*> envp = pointers(variables);

  const int file = open(output_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (file < 0) fail(errno);
  std::array<int, 2> report{};
  if (pipe2(report.data(), O_CLOEXEC) != 0) {
    const int error = errno;
    close(file);
    fail(error);
  }
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) become(program.c_str(), argv.data(), envp.data(), file, report[1], parent);
  int error = pid_ < 0 ? errno : 0;
  close(file);
  close(report[1]);
  if (pid_ > 0 && read(report[0], &error, sizeof error) > 0) waitpid(pid_, nullptr, 0);
  close(report[0]);
  if (error != 0) fail(error);
}

Process::~Process() {
  kill();
}

bool Process::running() {
  return !wait(std::chrono::milliseconds(0)).has_value();
}

void Process::signal(int number) {
  if (running()) ::kill(pid_, number);
}

void Process::freeze() {
  signal(SIGSTOP);
  const std::filesystem::path folder = "/proc/" + std::to_string(pid_);
  // The signal is only a request; every thread has to reach a point where it can be stopped.
  while (running() && stat_of(folder).state != 'T')
    std::this_thread::sleep_for(kPoll);
}

void Process::thaw() {
  signal(SIGCONT);
}

std::optional<ExitStatus> Process::wait(std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!status_) {
    int status = 0;
    const pid_t ended = waitpid(pid_, &status, WNOHANG);
    if (ended == pid_) {
      status_ = from_wait_status(status);
    } else if (std::chrono::steady_clock::now() >= deadline) {
      break;
    } else {
      std::this_thread::sleep_for(kPoll);
    }
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
  if (!status_) {
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    status_ = from_wait_status(status);
  }
  return *status_;
}

std::string Process::output() const {
  return read_file(output_);
}

std::vector<pid_t> children_of(pid_t pid) {
  std::vector<pid_t> result;
  for_each_process([&](pid_t candidate, const std::filesystem::path& folder) {
    if (stat_of(folder).parent == pid) result.push_back(candidate);
  });
  return result;
}

std::vector<pid_t> processes_with(const std::string& name, const std::string& value) {
  std::vector<pid_t> result;
  for_each_process([&](pid_t candidate, const std::filesystem::path& folder) {
    if (candidate == getpid()) return;
    std::istringstream variables(read_file(folder / "environ"));
    for (std::string variable; std::getline(variables, variable, '\0');) {
      if (variable.starts_with(name + "=") && variable.find(value) != std::string::npos) {
        result.push_back(candidate);
        return;
      }
    }
  });
  return result;
}

std::string read_file(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool program_exists(const std::string& name) {
  return !find_program(name).empty();
}

void require_programs(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    if (program_exists(name)) continue;
    const char* ci = std::getenv("CI");
    if (ci != nullptr && std::string(ci) == "true") {
      FAIL() << name << " is not installed";
    }
    GTEST_SKIP() << name << " is not installed";
  }
}

}  // namespace support
