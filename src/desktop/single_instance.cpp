// DESIGN: the process id in the lock file is only a hint: it may be from an earlier run, or denote
// another process in another pid namespace. So a handle on the process is opened first, then the
// process must be seen to hold this lock, and only the handle is signalled, which a later process
// of the same id cannot inherit.
#include "desktop/single_instance.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <system_error>
#include <thread>
#include <utility>

#include "bus.h"
#include "posix/files.h"

namespace single_instance {

namespace {

namespace fs = std::filesystem;
using bus::Owned;
using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kBusPatience{1000};
constexpr const char* kLockName = "/Velmora.lock";
constexpr mode_t kMode = 0600;
// A copy that has just started holds the lock a moment before its process id is in the file.
constexpr milliseconds kSignalPatience{300};
constexpr milliseconds kSignalPause{10};

// Never closed: the kernel releases the lock when the process ends, however that happens.
int g_lock_fd = -1;
std::string g_directory;

void write_owner() {
  if (ftruncate(g_lock_fd, 0) != 0) return;
  const std::string pid = std::to_string(getpid()) + "\n";
  // Without the process id a second copy cannot signal us; the lock is still held.
  [[maybe_unused]] const ssize_t written = pwrite(g_lock_fd, pid.data(), pid.size(), 0);
}

// The signal ----------------------------------------------------------

// The process that the lock file names, or 0.
pid_t named_owner() {
  std::array<char, 32> text{};  // the last byte stays 0
  if (pread(g_lock_fd, text.data(), text.size() - 1, 0) <= 0) return 0;
  const long pid = std::strtol(text.data(), nullptr, 10);
  return pid > 1 && pid <= std::numeric_limits<pid_t>::max() ? static_cast<pid_t>(pid) : 0;
}

bool same_file(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Whether the kernel's data about a descriptor list an exclusive lock.
bool is_locked(const fs::path& descriptor_info) {
  std::ifstream info(descriptor_info);
  for (std::string line; std::getline(info, line);) {
    if (line.starts_with("lock:") && line.find(" FLOCK ") != std::string::npos &&
        line.find(" WRITE ") != std::string::npos) {
      return true;
    }
  }
  return false;
}

// Whether the process holds our lock; false if we may not inspect the process.
bool holds_lock(const fs::path& process) {
  struct stat lock {};
  if (fstat(g_lock_fd, &lock) != 0) return false;
  std::error_code error;
  for (fs::directory_iterator entry(process / "fd", error), end; !error && entry != end;
       entry.increment(error)) {
    struct stat file {};
    if (stat(entry->path().c_str(), &file) == 0 && same_file(file, lock) &&
        is_locked(process / "fdinfo" / entry->path().filename())) {
      return true;
    }
  }
  return false;
}

// The file name of a process's program; an upgrade may have replaced the file meanwhile.
std::string program_name(const fs::path& process) {
  constexpr std::string_view kDeleted = " (deleted)";
  std::error_code error;
  std::string name = fs::read_symlink(process / "exe", error).filename().string();
  if (name.ends_with(kDeleted)) name.resize(name.size() - kDeleted.size());
  return name;
}

// The signal would end another program that holds the lock, such as a shell that inherited it.
bool is_our_program(const fs::path& process) {
  const std::string name = program_name(process);
  return !name.empty() && name == program_name("/proc/self");
}

bool signal_owner() {
  const pid_t pid = named_owner();
  if (pid == 0) return false;
  const files::Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  const fs::path process = "/proc/" + std::to_string(pid);
  return handle && holds_lock(process) && is_our_program(process) &&
         syscall(SYS_pidfd_send_signal, handle.get(), SIGUSR1, nullptr, 0) == 0;
}

void signal_owner_within_patience() {
  const auto deadline = steady_clock::now() + kSignalPatience;
  while (!signal_owner() && steady_clock::now() < deadline)
    std::this_thread::sleep_for(kSignalPause);
}

// The bus -------------------------------------------------------------

// A call to the copy that has the name, and what became of it.
struct Call {
  Owned<GMainLoop> loop;
  bool accepted = false;
};

void on_answer(GObject* connection, GAsyncResult* result, void* data) {
  auto* call = static_cast<Call*>(data);
  const Owned<GVariant> answer(
      g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, nullptr));
  call->accepted = answer != nullptr;
  g_main_loop_quit(call->loop.get());
}

// The launcher's proof for bringing a window to the front, to be passed to the other copy.
desktop::Activation own_activation() {
  const auto variable = [](const char* name) {
    const char* value = std::getenv(name);
    return std::string(value != nullptr ? value : "");
  };
  return {variable("DESKTOP_STARTUP_ID"), variable("XDG_ACTIVATION_TOKEN")};
}

struct Method {
  const char* name;
  GVariant* arguments;  // floating
};

// The call to the other copy.
Method method_for(bool compact, const std::string& file) {
  GVariant* data = desktop::to_platform_data(own_activation(), g_directory);
  std::error_code unknown;
  const Owned<char> uri(
      file.empty() ? nullptr
                   : g_filename_to_uri(fs::absolute(file, unknown).c_str(), nullptr, nullptr));
  if (uri != nullptr) {
    const char* const uris[] = {uri.get(), nullptr};
    return {"Open", g_variant_new("(^as@a{sv})", uris, data)};
  }
  if (compact) return {"ActivateAction", g_variant_new("(sav@a{sv})", "compact", nullptr, data)};
  return {"Activate", g_variant_new("(@a{sv})", data)};
}

// Returns whether the copy with our settings has accepted the call.
bool call_over_bus(bool compact, const std::string& file) {
  const std::string address = bus::session_address();
  if (address.empty()) return false;
  const auto deadline = steady_clock::now() + kBusPatience;
  const Owned<GMainContext> context(g_main_context_new());
  std::string error;
  const Owned<GDBusConnection> connection = bus::connect_within(
      static_cast<int>(kBusPatience.count()), address, context.get(), nullptr, &error);
  const auto left = duration_cast<milliseconds>(deadline - steady_clock::now());
  if (connection == nullptr || left.count() <= 0) return false;

  const std::string id = desktop::application_id();
  const Method method = method_for(compact, file);
  Call call;
  call.loop.reset(g_main_loop_new(context.get(), FALSE));
  g_main_context_push_thread_default(context.get());
  g_dbus_connection_call(connection.get(), id.c_str(), desktop::application_path(id).c_str(),
                         desktop::kApplication, method.name, method.arguments, nullptr,
                         G_DBUS_CALL_FLAGS_NO_AUTO_START, static_cast<int>(left.count()), nullptr,
                         on_answer, &call);
  g_main_loop_run(call.loop.get());
  g_main_context_pop_thread_default(context.get());
  return call.accepted;
}

}  // namespace

bool claim(const std::string& directory) {
  std::error_code unknown;
  g_directory = fs::canonical(directory, unknown).string();
  const std::string path = directory + kLockName;
  g_lock_fd = files::open_regular(path.c_str(), O_RDWR | O_CREAT, kMode);
  if (g_lock_fd < 0) return true;
  if (flock(g_lock_fd, LOCK_EX | LOCK_NB) == 0) {
    write_owner();
    return true;
  }
  return errno != EWOULDBLOCK;
}

void call_other(bool compact, const std::string& file) {
  if (!call_over_bus(compact, file)) signal_owner_within_patience();
}

}  // namespace single_instance
