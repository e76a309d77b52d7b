// DESIGN: a separate thread queries the services, because a bus may accept a connection and then
// never answer, and the sound must not wait for it. Everything on that thread can be cancelled.
//
// Real-time CPU time is limited before the privilege is asked for: RealtimeKit demands the hard
// limit, and the soft one is what catches a runaway. Its signal goes to some other thread, as the
// sound library blocks all signals on its own; the handler takes the privilege away first and then
// aborts the runaway thread, so that the crash report shows where it was. The flag that keeps the
// scheduling from being inherited stays set: only root may clear it.

#include <gio/gio.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

#include "app/environment.h"
#include "app/logger.h"
#include "bus/bus.h"
#include "crash/crash_handler.h"
#include "realtime/realtime.h"

namespace realtime {

namespace {

constexpr const char* kThreadName = "Velq-realtime";
constexpr int kPriority = 5;  // that of a sound server on a desktop
constexpr int kNice = -11;
constexpr rlim_t kSoftLimitUs = 100000;  // of computing without waiting
constexpr rlim_t kHardLimitUs = 200000;  // RealtimeKit's default limit
constexpr int kAnswerMs = 2000;

struct Service {
  std::string (*address)();  // of its bus
  const char* name;
  const char* path;
  const char* interface;
  const char* title;
};
constexpr Service kRealtimeKit = {bus::system_address, "org.freedesktop.RealtimeKit1",
                                  "/org/freedesktop/RealtimeKit1", "org.freedesktop.RealtimeKit1",
                                  "RealtimeKit"};
constexpr Service kPortal = {bus::session_address, "org.freedesktop.portal.Desktop",
                             "/org/freedesktop/portal/desktop", "org.freedesktop.portal.Realtime",
                             "the portal"};

using bus::Owned;

std::atomic<pid_t> g_realtime_thread{0};  // stopped if it runs away
std::thread g_asking;                     // request() and withdraw()
Owned<GCancellable> g_cancel;             // the same

void on_cpu_time_used_up(int /*signal*/) {
  const int error = errno;
  const pid_t thread = g_realtime_thread.exchange(0);
  if (thread != 0) {
    constexpr sched_param kNone{};
    syscall(SYS_sched_setscheduler, thread, SCHED_OTHER | SCHED_RESET_ON_FORK, &kNone);
    syscall(SYS_tgkill, getpid(), thread, SIGABRT);
  }
  errno = error;
}

// Limits the real-time CPU time of the process. Returns whether the limit is in force.
bool limit_cpu_time(rlim_t hard_us) {
  rlimit limit{};
  if (getrlimit(RLIMIT_RTTIME, &limit) != 0) return false;
  limit.rlim_max = std::min(limit.rlim_max, hard_us);
  limit.rlim_cur = std::min({limit.rlim_cur, limit.rlim_max, kSoftLimitUs});
  struct sigaction action {};
  action.sa_handler = on_cpu_time_used_up;
  action.sa_flags = SA_RESTART;
  return sigaction(SIGXCPU, &action, nullptr) == 0 && setrlimit(RLIMIT_RTTIME, &limit) == 0;
}

bool ask_kernel(pid_t thread) {
  const sched_param wanted{.sched_priority = kPriority};
  return limit_cpu_time(kHardLimitUs) &&
         sched_setscheduler(thread, SCHED_RR | SCHED_RESET_ON_FORK, &wanted) == 0;
}

// Services on a bus ---------------------------------------------------

// A service on a bus. Its calls have a time limit, and their errors are kept.
class Conversation {
 public:
  Conversation(const Service& service, GCancellable* withdrawn)
      : service_(service), withdrawn_(withdrawn), context_(g_main_context_new()) {
    const std::string address = service.address();
    if (!address.empty())
      connection_ = bus::connect_within(kAnswerMs, address, context_.get(), withdrawn, &fault_);
  }

  bool connected() const { return connection_ != nullptr; }
  const std::string& fault() const { return fault_; }

  // An integer property; none where the service is not there or does not have it. The portal's are
  // 0 where there is no RealtimeKit behind it.
  std::optional<std::int64_t> property(const char* name) {
    const Owned<GVariant> answer =
        call("org.freedesktop.DBus.Properties", "Get",
             g_variant_new("(ss)", service_.interface, name), G_VARIANT_TYPE("(v)"));
    if (!answer) return {};
    GVariant* unwrapped = nullptr;
    g_variant_get(answer.get(), "(v)", &unwrapped);
    const Owned<GVariant> value(unwrapped);
    if (g_variant_is_of_type(unwrapped, G_VARIANT_TYPE_INT64))
      return g_variant_get_int64(unwrapped);
    if (g_variant_is_of_type(unwrapped, G_VARIANT_TYPE_INT32))
      return g_variant_get_int32(unwrapped);
    return {};
  }

  bool make(const char* method, GVariant* arguments) {
    return call(service_.interface, method, arguments, nullptr) != nullptr;
  }

 private:
  // Takes the floating arguments.
  Owned<GVariant> call(const char* interface, const char* method, GVariant* arguments,
                       const GVariantType* type) {
    GError* error = nullptr;
    Owned<GVariant> answer(g_dbus_connection_call_sync(
        connection_.get(), service_.name, service_.path, interface, method, arguments, type,
        G_DBUS_CALL_FLAGS_NONE, kAnswerMs, withdrawn_, &error));
    if (error != nullptr) {
      const Owned<GError> owner(error);
      g_dbus_error_strip_remote_error(error);
      fault_ = error->message;
    }
    return answer;
  }

  const Service& service_;
  GCancellable* withdrawn_;
  Owned<GMainContext> context_;
  Owned<GDBusConnection> connection_;
  std::string fault_;
};

// The thread's new scheduling, for the log; empty if nothing was granted.
std::string ask(const Service& service, pid_t thread, GCancellable* withdrawn, std::string* fault) {
  Conversation talk(service, withdrawn);
  if (!talk.connected()) return {};
  const auto pid = static_cast<guint64>(getpid());
  const auto tid = static_cast<guint64>(thread);
  const std::string by = std::string(" (through ") + service.title + ")";
  const auto limit_us = talk.property("RTTimeUSecMax");
  const auto most = talk.property("MaxRealtimePriority");
  if (limit_us.value_or(0) > 0 && most.value_or(0) > 0 &&
      limit_cpu_time(static_cast<rlim_t>(*limit_us))) {
    const int priority = std::min(kPriority, static_cast<int>(*most));
    if (talk.make("MakeThreadRealtimeWithPID",
                  g_variant_new("(ttu)", pid, tid, static_cast<guint32>(priority))))
      return "real-time priority " + std::to_string(priority) + by;
  }
  const auto least = talk.property("MinNiceLevel");
  if (least.value_or(0) < 0) {
    const int nice = std::max(kNice, static_cast<int>(*least));
    if (talk.make("MakeThreadHighPriorityWithPID", g_variant_new("(tti)", pid, tid, nice)))
      return "nice level " + std::to_string(nice) + by;
  }
  *fault = talk.fault();
  return {};
}

std::string obtain(pid_t thread, GCancellable* withdrawn, std::string* fault) {
  // Set before the privilege is granted: the thread may run away at once.
  g_realtime_thread.store(thread);
  if (ask_kernel(thread)) return "real-time priority " + std::to_string(kPriority);
  // In a sandbox the service would see other processes under our numbers.
  const bool sandboxed = environment::is_set("FLATPAK_ID") || environment::is_set("SNAP");
  if (!sandboxed) {
    std::string result = ask(kRealtimeKit, thread, withdrawn, fault);
    if (!result.empty()) return result;
  }
  return ask(kPortal, thread, withdrawn, fault);
}

void ask_in_background(pid_t thread, GCancellable* withdrawn) {
  prctl(PR_SET_NAME, kThreadName);
  crash_handler::prepare_thread();
  std::string fault;
  const std::string result = obtain(thread, withdrawn, &fault);
  if (g_cancellable_is_cancelled(withdrawn) != 0) return;
  if (!result.empty()) {
    logger::info("Audio thread runs with " + result);
  } else {
    logger::info("Audio thread runs with normal priority" + (fault.empty() ? "" : ": " + fault));
  }
}

}  // namespace

void request(pid_t thread) {
  if (g_asking.joinable()) return;
  g_cancel.reset(g_cancellable_new());
  try {
    g_asking = std::thread(ask_in_background, thread, g_cancel.get());
  } catch (const std::system_error&) {
    logger::warn("Audio thread runs with normal priority: no thread could be started");
  }
}

void withdraw() {
  g_realtime_thread.store(0);
  if (!g_asking.joinable()) return;
  g_cancellable_cancel(g_cancel.get());
  g_asking.join();
}

}  // namespace realtime
