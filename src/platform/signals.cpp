// DESIGN: a request only sets a flag, which the frame loop checks between two waits. So a request
// may come from any thread, and from a signal handler.

#include <atomic>
#include <csignal>

#include "platform_private.h"

namespace {

std::atomic<bool> g_quit{false};
std::atomic<bool> g_raise{false};
static_assert(std::atomic<bool>::is_always_lock_free,
              "signal handlers may only touch lock-free atomics");

}  // namespace

namespace platform {

void request_quit() {
  g_quit.store(true);
}

void request_raise() {
  g_raise.store(true);
}

bool quit_requested() {
  return g_quit.load();
}

bool take_raise_request() {
  return g_raise.exchange(false);
}

}  // namespace platform
