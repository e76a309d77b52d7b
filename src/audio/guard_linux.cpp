// DESIGN: the child is forked before the program has threads or a connection to the server, so it
// starts clean. It lives as long as the pipe. Signals that end a whole session or terminal job must
// not end it before the program, or nothing would be left to restore the sound; it ends with the
// pipe anyway.
//
// If a guard is killed alone, or stopped so that it reads nothing, a new process of our own
// executable replaces it, because by then the program has threads and a connection and cannot
// simply fork. It is sent the state that the lost one had. The program never waits for a guard to
// read.

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "app/logger.h"
#include "audio/guard.h"
#include "guard_protocol.h"
#include "rescue.h"

namespace guard {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kProcessName = "Velq-waechter";
constexpr int kLastInheritedFd = 1023;
constexpr int kReapTries = 250;                // of 2 ms each
constexpr int kSpawnedFd = 3;                  // read end of the pipe in a guard that was spawned
constexpr std::chrono::seconds kUnread{2};     // then a guard that reads nothing counts as lost
constexpr std::chrono::seconds kTryAgain{10};  // if replacements do not last, or do not start

std::mutex g_mtx;        // guards all below
bool g_wanted = false;   // between start and stop
int g_fd = -1;           // write end of the pipe, -1 when no guard runs
pid_t g_pid = -1;        // the guard, -1 once it has been reaped
std::string g_pending;   // not yet accepted by the pipe
std::string g_last;      // the last message about the device or the end
std::string g_module;    // the last message about the module
std::string g_takeover;  // and about the takeover
std::optional<Clock::time_point> g_unread_since;
std::optional<Clock::time_point> g_replaced_at;

void close_all_but(int kept) {
  for (int fd = STDERR_FILENO + 1; fd <= kLastInheritedFd; ++fd) {
    if (fd != kept) close(fd);
  }
}

// Never returns.
[[noreturn]] void child(int fd, pid_t program) {
  // Its own session, so that SIGKILL to the program's whole job does not end it.
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

void flush_locked() {
  while (g_fd >= 0 && !g_pending.empty()) {
    const ssize_t n = write(g_fd, g_pending.data(), g_pending.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return;
    g_pending.erase(0, static_cast<std::size_t>(n));
  }
}

void write_locked(const std::string& msg) {
  if (g_fd < 0 || msg.empty()) return;
  // A line break in a device name must not look like a second message.
  std::string line = msg;
  std::ranges::replace(line, '\n', ' ');
  g_pending += line + '\n';
  flush_locked();
}

// `last` is the last message on the same subject, which need not be repeated.
void send_locked(const std::string& msg, std::string* last) {
  if (!g_wanted || msg == *last) return;
  *last = msg;
  write_locked(msg);
}

void send(const std::string& msg) {
  const std::lock_guard lock(g_mtx);
  send_locked(msg, &g_last);
}

void close_locked() {
  if (g_fd >= 0) close(g_fd);
  g_fd = -1;
  g_pending.clear();
  g_unread_since.reset();
}

void forget_locked() {
  close_locked();
  g_wanted = false;
  g_last.clear();
  g_module.clear();
  g_takeover.clear();
}

// Reaps a guard that has ended. Its number may then be another process's, so it is forgotten at
// once.
bool ended_locked() {
  if (g_pid > 0 && waitpid(g_pid, nullptr, WNOHANG) != 0) g_pid = -1;
  return g_pid <= 0;
}

// It must not remain as a zombie, nor wake up later and undo a routing that is in order.
void reap_locked() {
  for (int i = 0; i < kReapTries; ++i) {
    if (ended_locked()) break;
    poll(nullptr, 0, 2);
    if (i == kReapTries / 2) kill(g_pid, SIGKILL);
  }
  g_pid = -1;
}

bool unread_locked() {
  int bytes = 0;
  return !g_pending.empty() || (ioctl(g_fd, FIONREAD, &bytes) == 0 && bytes > 0);
}

bool lost_locked(Clock::time_point now) {
  if (g_fd < 0 || ended_locked()) return true;
  if (!unread_locked()) {
    g_unread_since.reset();
    return false;
  }
  if (!g_unread_since) g_unread_since = now;
  return now - *g_unread_since >= kUnread;
}

bool spawn_locked() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return false;
  fcntl(ends[1], F_SETFL, O_NONBLOCK);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[0], kSpawnedFd);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  std::string name = kProcessName;
  std::string program = std::to_string(getpid());
  const std::array<char*, 3> arguments = {name.data(), program.data(), nullptr};
  pid_t pid = -1;
  const int error =
      posix_spawn(&pid, "/proc/self/exe", &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[0]);
  if (error != 0) {
    close(ends[1]);
    return false;
  }
  g_fd = ends[1];
  g_pid = pid;
  return true;
}

bool replace_locked(Clock::time_point now) {
  g_replaced_at = now;
  if (!ended_locked()) {
    kill(g_pid, SIGKILL);
    reap_locked();
  }
  close_locked();
  if (!spawn_locked()) return false;
  for (const std::string& msg : {g_takeover, g_last, g_module})
    write_locked(msg);
  return true;
}

}  // namespace

void start() {
  const std::lock_guard lock(g_mtx);
  if (g_wanted) return;
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
    close_all_but(ends[0]);
    child(ends[0], program);
  }
  close(ends[0]);
  fcntl(ends[1], F_SETFD, FD_CLOEXEC);
  fcntl(ends[1], F_SETFL, O_NONBLOCK);
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  g_wanted = true;
  g_fd = ends[1];
  g_pid = pid;
}

bool is_guard(int argc, char** argv) {
  return argc == 2 && std::string_view(argv[0]) == kProcessName;
}

void run(const char* program) {
  close_all_but(kSpawnedFd);
  child(kSpawnedFd, static_cast<pid_t>(std::strtol(program, nullptr, 10)));
}

void tick() {
  {
    const std::lock_guard lock(g_mtx);
    if (!g_wanted) return;
    flush_locked();
    const auto now = Clock::now();
    if (!lost_locked(now) || (g_replaced_at && now - *g_replaced_at < kTryAgain)) return;
    if (!replace_locked(now)) return;
  }
  logger::warn("The guard process was lost and has been replaced");
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
  if (!g_wanted) return;
  send_locked("Q", &g_last);
  if (!ended_locked()) kill(g_pid, g_pending.empty() ? SIGCONT : SIGKILL);
  forget_locked();
  reap_locked();
}

void abandon() {
  const std::lock_guard lock(g_mtx);
  if (!g_wanted) return;
  if (const auto now = Clock::now(); lost_locked(now)) replace_locked(now);
  if (!ended_locked()) kill(g_pid, SIGCONT);
  forget_locked();
  g_pid = -1;
}

}  // namespace guard
