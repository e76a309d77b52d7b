// DESIGN: posix_spawn, which is safe in a process with threads and reports a program that cannot be
// started. A thread waits for each child that nobody else waits for, so that it leaves no zombie.
#include "posix/child.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>

#include "posix/files.h"

namespace child {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kNotStarted = 127;
constexpr int kSignalled = 128;  // as shells report it
constexpr std::size_t kMaxOutput = 65536;
constexpr milliseconds kPoll{5};

// Returns 0 when the program cannot be started.
pid_t spawn(std::vector<std::string> arguments, int output) {
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments)
    argv.push_back(argument.data());
  argv.push_back(nullptr);

  posix_spawnattr_t attributes{};
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigfillset(&signals);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);

  posix_spawn_file_actions_t files{};
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  if (output >= 0) {
    posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  }
  posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);

  pid_t pid = 0;
  const int failed = posix_spawnp(&pid, argv.front(), &files, &attributes, argv.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&attributes);
  return failed == 0 ? pid : 0;
}

void wait_for(pid_t pid, int* status) {
  while (waitpid(pid, status, 0) < 0 && errno == EINTR) {
  }
}

int milliseconds_until(Clock::time_point end) {
  const auto left = std::chrono::ceil<milliseconds>(end - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

// Reads until the child closes its end, until there is enough, or until `end`.
void read_output(int fd, Clock::time_point end, std::string* output) {
  for (char part[4096]; output->size() < kMaxOutput;) {
    pollfd readable{.fd = fd, .events = POLLIN, .revents = 0};
    const int ready = poll(&readable, 1, milliseconds_until(end));
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return;
    const ssize_t n = read(fd, part, sizeof part);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    output->append(part, static_cast<std::size_t>(n));
  }
}

}  // namespace

bool start(const std::vector<std::string>& arguments) {
  const pid_t pid = spawn(arguments, -1);
  if (pid == 0) return false;
  try {
    std::thread([pid] {
      int status = 0;
      wait_for(pid, &status);
    }).detach();
  } catch (const std::system_error&) {
    // No thread can be started: the child leaves a zombie until this program ends.
  }
  return true;
}

int run(const std::vector<std::string>& arguments, milliseconds limit, std::string* output) {
  const Clock::time_point end = Clock::now() + limit;
  int ends[2] = {-1, -1};
  if (output != nullptr) {
    output->clear();
    if (pipe2(ends, O_CLOEXEC) != 0) return kNotStarted;
  }
  const files::Descriptor reading(ends[0]);
  files::Descriptor writing(ends[1]);
  const pid_t pid = spawn(arguments, writing.get());
  if (pid == 0) return kNotStarted;
  writing.close();
  if (output != nullptr) read_output(reading.get(), end, output);
  int status = 0;
  while (waitpid(pid, &status, WNOHANG) == 0) {
    if (Clock::now() < end) {
      std::this_thread::sleep_for(kPoll);
      continue;
    }
    kill(pid, SIGKILL);
    wait_for(pid, &status);
    break;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
}

}  // namespace child
