// DESIGN: a signal only sets a flag; the frame loop looks at the flags between two waits. Our
// signals are blocked from start-up on, so that every thread started since has them blocked, and
// let through on the main thread once the window is set up.

#include <atomic>
#include <csignal>

#include "platform_private.h"

namespace {

std::atomic<bool> g_quit{false};   // set by the signal handler
std::atomic<bool> g_raise{false};  // set by the signal handler
static_assert(std::atomic<bool>::is_always_lock_free,
              "signal handlers may only touch lock-free atomics");

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGUSR1};

void on_signal(int sig) {
  (sig == SIGUSR1 ? g_raise : g_quit).exchange(true);
}

// Started by nohup: it is to outlive its terminal.
bool outlives_terminal() {
  struct sigaction present {};
  return sigaction(SIGHUP, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

sigset_t our_signals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int sig : kSignals)
    sigaddset(&set, sig);
  return set;
}

}  // namespace

namespace platform {

void install_signal_handlers() {
  struct sigaction action {};
  action.sa_handler = on_signal;
  action.sa_flags = SA_RESTART;  // files that are being written do not notice
  sigemptyset(&action.sa_mask);
  for (const int sig : kSignals) {
    if (sig != SIGHUP || !outlives_terminal()) sigaction(sig, &action, nullptr);
  }
  const sigset_t ours = our_signals();
  pthread_sigmask(SIG_BLOCK, &ours, nullptr);
}

void let_signals_in() {
  const sigset_t ours = our_signals();
  pthread_sigmask(SIG_UNBLOCK, &ours, nullptr);
}

bool quit_requested() {
  return g_quit.load();
}

bool take_raise_request() {
  return g_raise.exchange(false);
}

}  // namespace platform
