// DESIGN: the child is forked before the program has threads or a connection to the server, so it
// starts clean. It lives as long as the pipe. Signals that end a whole session or a whole terminal
// job must not end it before the program, or nobody would be left to restore the sound; the pipe
// bounds its life anyway.

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <string>

#include "audio/guard.h"
#include "guard_protocol.h"
#include "rescue.h"

namespace guard {

namespace {

constexpr const char* kProcessName = "Velq-waechter";
constexpr int kLastInheritedFd = 1023;
constexpr int kReapTries = 250;  // of 2 ms each

std::mutex g_mtx;        // guards all below
int g_fd = -1;           // write end of the pipe, -1 when no guard runs
pid_t g_pid = -1;        // the guard
std::string g_last;      // the last message sent about the device or the end
std::string g_module;    // the last message sent about the module
std::string g_takeover;  // and about the takeover

// Never returns.
[[noreturn]] void child(int fd, pid_t program) {
  // A session of its own: SIGKILL to the program's whole job does not end it either.
  setsid();
  for (const int sig : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE})
    static_cast<void>(std::signal(sig, SIG_IGN));
  for (const int sig : {SIGILL, SIGTRAP, SIGABRT, SIGFPE, SIGBUS, SIGSEGV}) {
    static_cast<void>(std::signal(sig, SIG_DFL));
  }
  prctl(PR_SET_NAME, kProcessName);
  LineReader reader;
  std::array<char, 512> chunk{};
  for (;;) {
    const ssize_t n = read(fd, chunk.data(), chunk.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    reader.feed(chunk.data(), static_cast<std::size_t>(n));
  }
  const Orders& orders = reader.orders();
  if (orders.armed && !orders.quit) audio::rescue(orders, program);
  _exit(0);
}

// `last` is the last message on the same subject; the guard need not be sent it again.
void send_locked(const std::string& msg, std::string* last) {
  if (g_fd < 0 || msg == *last) return;
  *last = msg;
  // A device name with a line break in it must not look like a second message.
  std::string line = msg;
  std::ranges::replace(line, '\n', ' ');
  line += '\n';
  // Nothing can be done about a guard that is gone: the result does not matter.
  while (write(g_fd, line.data(), line.size()) < 0 && errno == EINTR) {
  }
}

void send(const std::string& msg) {
  const std::lock_guard lock(g_mtx);
  send_locked(msg, &g_last);
}

void close_locked() {
  close(g_fd);
  g_fd = -1;
  g_last.clear();
  g_module.clear();
  g_takeover.clear();
}

// The guard ends immediately after "Q"; it must not stay behind as a zombie. The wait is still
// bounded.
void reap_locked() {
  for (int i = 0; i < kReapTries && waitpid(g_pid, nullptr, WNOHANG) == 0; ++i)
    poll(nullptr, 0, 2);
  g_pid = -1;
}

}  // namespace

void start() {
  const std::lock_guard lock(g_mtx);
  if (g_fd >= 0) return;
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) return;
  const pid_t program = getpid();
  const pid_t pid = fork();
  if (pid < 0) {
    close(ends[0]);
    close(ends[1]);
    return;
  }
  if (pid == 0) {
    close(ends[1]);
    for (int fd = 3; fd <= kLastInheritedFd; ++fd) {
      if (fd != ends[0]) close(fd);
    }
    child(ends[0], program);
  }
  close(ends[0]);
  fcntl(ends[1], F_SETFD, FD_CLOEXEC);
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  g_fd = ends[1];
  g_pid = pid;
}

void armed(const std::string& device) {
  send("A " + device);
}

void owns_module(std::uint32_t index) {
  const std::lock_guard lock(g_mtx);
  send_locked("M " + std::to_string(index), &g_module);
}

void takeover(bool taken) {
  const std::lock_guard lock(g_mtx);
  send_locked(taken ? "T 1" : "T 0", &g_takeover);
}

void disarmed() {
  const std::lock_guard lock(g_mtx);
  send_locked("D", &g_last);
  g_module.clear();
}

void stop() {
  const std::lock_guard lock(g_mtx);
  if (g_fd < 0) return;
  send_locked("Q", &g_last);
  close_locked();
  reap_locked();
}

void abandon() {
  const std::lock_guard lock(g_mtx);
  if (g_fd < 0) return;
  close_locked();
  g_pid = -1;
}

}  // namespace guard
