// DESIGN: one thread waits for the signals, so they are handled even if the main thread is stuck in
// a system call. It does nothing that could take long itself; a further thread restores the sound.
#include "ending.h"

#include <pthread.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <ctime>
#include <system_error>
#include <thread>

namespace ending {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char* kThreadName = "Velq-end";
constexpr milliseconds kRescueAfter{2000};
constexpr milliseconds kLeaveAfter{5000};

Watch g_watch;  // written before the thread starts
pthread_t g_thread{};
bool g_watching = false;  // main thread

sigset_t watched_signals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int sig : {SIGINT, SIGTERM, SIGHUP, SIGUSR1})
    sigaddset(&set, sig);
  // Started by nohup: the program outlives its terminal.
  struct sigaction present {};
  if (sigaction(SIGHUP, nullptr, &present) == 0 && present.sa_handler == SIG_IGN)
    sigdelset(&set, SIGHUP);
  return set;
}

void on_signal(int sig) {
  if (sig == SIGUSR1) {
    g_watch.on_raise();
  } else {
    g_watch.on_end();
  }
}

// In the background: the clock goes on.
void rescue() {
  try {
    std::thread([] {
      g_watch.prepare();
      g_watch.rescue();
    }).detach();
  } catch (const std::system_error&) {
    // The guard restores the sound once this process is gone.
  }
}

// Further signals change nothing: the end is under way.
void wait_until(const sigset_t& signals, Clock::time_point end) {
  for (auto left = end - Clock::now(); left > Clock::duration::zero(); left = end - Clock::now()) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
    const timespec timeout{
        .tv_sec = static_cast<std::time_t>(seconds.count()),
        .tv_nsec = static_cast<long>(std::chrono::nanoseconds(left - seconds).count())};
    sigtimedwait(&signals, nullptr, &timeout);
  }
}

void run_clock(const sigset_t& signals) {
  const Clock::time_point asked = Clock::now();
  wait_until(signals, asked + kRescueAfter);
  rescue();
  wait_until(signals, asked + kLeaveAfter);
  // Nothing is logged here: the log may be what hangs.
  _exit(0);
}

void wait_for_signals(sigset_t signals) {
  pthread_setname_np(pthread_self(), kThreadName);
  g_watch.prepare();
  for (;;) {
    int sig = 0;
    if (sigwait(&signals, &sig) != 0) continue;
    on_signal(sig);
    if (sig != SIGUSR1) run_clock(signals);
  }
}

// The fallback without a thread: a busy main thread only reacts late.
void install_handlers(const sigset_t& signals) {
  struct sigaction action {};
  action.sa_handler = on_signal;
  action.sa_flags = SA_RESTART;  // file operations are not interrupted
  sigemptyset(&action.sa_mask);
  for (const int sig : {SIGINT, SIGTERM, SIGHUP, SIGUSR1}) {
    if (sigismember(&signals, sig) == 1) sigaction(sig, &action, nullptr);
  }
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

}  // namespace

void watch(const Watch& watch) {
  g_watch = watch;
  const sigset_t signals = watched_signals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  try {
    std::thread thread(wait_for_signals, signals);
    g_thread = thread.native_handle();
    thread.detach();
    g_watching = true;
  } catch (const std::system_error&) {
    install_handlers(signals);
  }
}

void begin() {
  if (g_watching) pthread_kill(g_thread, SIGINT);
}

}  // namespace ending
