// DESIGN: until there is a window, "running" means waiting for a signal. The three signals are
// blocked from start-up on and only let through while this thread waits for them (ppoll swaps the
// mask atomically), so none is lost and none interrupts anything else.

#include <poll.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <string>

#include "audio.h"
#include "logger.h"
#include "platform.h"
#include "settings.h"

namespace {

std::atomic<bool> g_quit{false};   // set by the signal handler
std::atomic<bool> g_raise{false};  // set by the signal handler
static_assert(std::atomic<bool>::is_always_lock_free,
              "signal handlers may only touch lock-free atomics");

constexpr long kPollNs = 1'000'000'000L;

void on_signal(int sig) {
  if (sig == SIGUSR1) {
    g_raise.store(true);
  } else {
    g_quit.store(true);
  }
}

// The device to restore after a crash of both program and guard: kept in the settings for the next
// run.
void remember_followed_device(Settings* settings) {
  const std::string follow = audio::status().follow;
  if (follow.empty() || follow == settings->last_default) return;
  settings->last_default = follow;
  audio::set_restore_hint(follow);
  settings::save(*settings);
}

}  // namespace

namespace platform {

void install_signal_handlers() {
  struct sigaction action {};
  action.sa_handler = on_signal;
  sigemptyset(&action.sa_mask);
  sigset_t ours;
  sigemptyset(&ours);
  for (const int sig : {SIGINT, SIGTERM, SIGUSR1}) {
    sigaddset(&ours, sig);
    sigaction(sig, &action, nullptr);
  }
  pthread_sigmask(SIG_BLOCK, &ours, nullptr);
}

}  // namespace platform

int run_gui(Settings* settings) {
  platform::install_signal_handlers();
  sigset_t waiting;
  pthread_sigmask(SIG_BLOCK, nullptr, &waiting);
  for (const int sig : {SIGINT, SIGTERM, SIGUSR1})
    sigdelset(&waiting, sig);
  while (!g_quit.load()) {
    const timespec timeout{0, kPollNs - 1};
    ppoll(nullptr, 0, &timeout, &waiting);
    if (g_raise.exchange(false))
      logger::info("Second start: nothing to raise, there is no window yet");
    remember_followed_device(settings);
  }
  return 0;
}
