// DESIGN: everything that a report needs is put into fixed buffers while the program is healthy;
// the handler reads them and calls nothing that could wait for a lock or allocate, as the heap, the
// stack or a held lock may be broken. A text that changes while the program runs is stored twice,
// and an atomic index selects the complete copy.
//
// Three of the handler's calls are not on the list of safe ones: `getenv` (reads memory that this
// program does not change while it has threads), `backtrace` (its library is loaded beforehand) and
// `backtrace_symbols_fd` (may wait for another thread that is loading a library). If the last one
// hangs, an alarm ends the process.
#include <execinfo.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "faultline_private.h"
#include "faultline_write.h"

namespace faultline {

namespace {

using detail::write_bytes, detail::write_field, detail::write_number, detail::write_text;

constexpr std::size_t kContexts = 3;
constexpr std::size_t kPathSize = 1024;
constexpr std::size_t kTailSize = 2500;  // bytes of the log in a report
constexpr int kMaxFrames = 48;
constexpr unsigned kPatience = 10;  // s for a whole report
// For the handler, which uses about a tenth of it.
constexpr std::size_t kStackSize = std::size_t{128} << 10U;
constexpr std::uintmax_t kMaxEarly = 1U << 20U;  // bytes of a report; ours have some thousand
constexpr mode_t kReportMode = 0600;

constexpr std::array kSignals = {SIGSEGV, SIGABRT, SIGFPE, SIGBUS, SIGILL, SIGTRAP};

template <std::size_t N>
using Text = std::array<char, N>;

struct Copies {
  std::array<Text<2048>, 2> text{};
  std::atomic<int> live{0};
};

Text<128> g_name{};
Text<64> g_version{};
Text<32> g_build{};
Text<512> g_package{};
Text<kPathSize> g_report_path{};
Text<kPathSize> g_crash_log_path{};
Text<kPathSize> g_log_path{};
std::array<Copies, kContexts> g_contexts;
std::time_t g_start = 0;
Text<kTailSize + 1> g_log_tail{};

template <std::size_t N>
void store(Text<N>* to, const char* text) {
  const std::size_t size = text == nullptr ? 0 : strnlen(text, N - 1);
  if (size > 0) std::memcpy(to->data(), text, size);
  (*to)[size] = '\0';
}

// In the handler ------------------------------------------------------

void write_head(int fd, int sig) {
  write_text(fd, "=== ");
  write_text(fd, g_name.data());
  write_text(fd, " crash report ===\nVersion: ");
  write_text(fd, g_version.data());
  write_text(fd, " (Build ");
  write_text(fd, g_build.data());
  write_text(fd, ")\n");
  write_field(fd, "Package: ", g_package.data());
  write_field(fd, "Snap revision: ", std::getenv("SNAP_REVISION"));
  write_text(fd, "Signal: ");
  write_text(fd, detail::signal_name(sig));
}

void write_surroundings(int fd) {
  const std::time_t now = std::time(nullptr);
  write_text(fd, "\nTime (unix): ");
  write_number(fd, now);
  write_text(fd, "\n");
  if (g_start != 0) {
    write_text(fd, "Running for (s): ");
    write_number(fd, now < g_start ? g_start - now : now - g_start);
    write_text(fd, "\n");
  }
  utsname kernel{};
  if (uname(&kernel) == 0) {
    write_text(fd, "System: ");
    write_text(fd, kernel.sysname);
    write_text(fd, " ");
    write_text(fd, kernel.release);
    write_text(fd, " ");
    write_text(fd, kernel.machine);
    write_text(fd, "\n");
  }
  write_field(fd, "Desktop: ", std::getenv("XDG_CURRENT_DESKTOP"));
  write_field(fd, "Session: ", std::getenv("XDG_SESSION_TYPE"));
}

void write_backtrace(int fd) {
  std::array<void*, kMaxFrames> frames{};
  write_text(fd, "\nBacktrace:\n");
  const int count = backtrace(frames.data(), kMaxFrames);
  backtrace_symbols_fd(frames.data(), count, fd);
}

void write_contexts(int fd) {
  constexpr std::array<const char*, kContexts> kTitles = {
      "\n--- Graphics ---\n", "\n--- Audio ---\n", "\n--- System ---\n"};
  for (std::size_t i = 0; i < kContexts; ++i) {
    const Copies& context = g_contexts[i];
    const char* const text = context.text[static_cast<std::size_t>(context.live.load())].data();
    if (*text == '\0') continue;
    write_text(fd, kTitles[i]);
    write_text(fd, text);
  }
}

// Fills the tail buffer from `offset` on. Returns the number of bytes in it.
std::size_t read_tail(int fd, off_t offset) {
  std::size_t size = 0;
  while (size < kTailSize) {
    const ssize_t n =
        pread(fd, &g_log_tail[size], kTailSize - size, offset + static_cast<off_t>(size));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    size += static_cast<std::size_t>(n);
  }
  return size;
}

void write_log_tail(int fd) {
  if (g_log_path[0] == '\0') return;
  const int log = files::open_regular(g_log_path.data(), O_RDONLY);
  if (log < 0) return;
  struct stat info {};
  const bool cut = fstat(log, &info) == 0 && info.st_size > static_cast<off_t>(kTailSize);
  const std::size_t size =
      read_tail(log, cut ? info.st_size - static_cast<off_t>(kTailSize) : off_t{0});
  close(log);
  std::size_t begin = 0;
  if (cut) {
    // The first line has lost its beginning.
    const void* const end = std::memchr(g_log_tail.data(), '\n', size);
    if (end != nullptr)
      begin = static_cast<std::size_t>(static_cast<const char*>(end) - g_log_tail.data()) + 1;
  } else if (size > 0 && g_log_tail[0] == '\n') {
    begin = 1;
  }
  write_bytes(fd, &g_log_tail[begin], size - begin);
}

void write_report(int fd, int sig) {
  write_head(fd, sig);
  write_surroundings(fd);
  write_backtrace(fd);
  write_contexts(fd);
  write_text(fd, "\nLog (last lines before the crash):\n");
  write_log_tail(fd);
  write_text(fd, "\nLog file:\n  ");
  write_text(fd, g_log_path[0] != '\0' ? g_log_path.data() : "(unknown)");
  write_text(fd, "\n=== end of report ===\n");
}

// The default action is in force again (SA_RESETHAND): the signal raised at the end stays pending
// until the handler returns, and then ends the process as if there had been no handler.
void on_crash(int sig) {
  alarm(kPatience);
  const int fd = files::open_own_for_writing(g_report_path.data(), kReportMode);
  if (fd >= 0) {
    static_cast<void>(fchmod(fd, kReportMode));
    write_report(fd, sig);
    close(fd);
  }
  raise(sig);
}

// Before a crash ------------------------------------------------------

// The stack for the handler on one thread; below it is a page without access rights.
class AlternateStack {
 public:
  AlternateStack() {
    stack_t present{};
    if (sigaltstack(nullptr, &present) != 0 || (present.ss_flags & SS_DISABLE) == 0) return;
    const std::size_t guard = page_size();
    void* const memory = mmap(nullptr, guard + kStackSize, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (memory == MAP_FAILED) return;
    memory_ = memory;
    static_cast<void>(mprotect(memory, guard, PROT_NONE));
    stack_t stack{};
    stack.ss_sp = static_cast<char*>(memory) + guard;
    stack.ss_size = kStackSize;
    static_cast<void>(sigaltstack(&stack, nullptr));
  }
  ~AlternateStack() {
    if (memory_ == nullptr) return;
    stack_t none{};
    none.ss_flags = SS_DISABLE;
    static_cast<void>(sigaltstack(&none, nullptr));
    munmap(memory_, page_size() + kStackSize);
  }
  AlternateStack(const AlternateStack&) = delete;
  AlternateStack& operator=(const AlternateStack&) = delete;

  // Marks the thread-local object as used.
  void keep() const {}

 private:
  static std::size_t page_size() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

  void* memory_ = nullptr;
};

std::string early_report_path() {
  const char* dir = "/tmp";
  for (const char* const variable : {"TMPDIR", "XDG_RUNTIME_DIR"}) {
    const char* const value = std::getenv(variable);
    if (value != nullptr && *value != '\0') dir = value;
  }
  return std::string(dir) + "/" + g_name.data() + "_crash.txt";
}

// A path that does not fit is refused; truncated, it would name another file.
void store_path(Text<kPathSize>* to, const std::string& path) {
  const bool fits = path.size() < kPathSize;
  store(to, fits ? path.c_str() : "");
  if (!fits) detail::log("WARN", "Crash report: path too long - not used: " + path);
}

// Moves a report from the shared directory where it was written before the final one was known. Any
// user can leave a file of this name there.
void collect_early(const std::string& early) {
  std::error_code error;
  const bool ours = files::is_own_file(early) && g_report_path[0] != '\0' &&
                    std::filesystem::file_size(early, error) <= kMaxEarly && !error;
  if (ours && files::move(early, report_path(), kMaxEarly)) return;
  detail::log("WARN", "Crash report: left alone, not ours or too large: " + early);
}

sigset_t caught_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int sig : kSignals)
    sigaddset(&signals, sig);
  return signals;
}

void catch_signals() {
  struct sigaction action {};
  action.sa_handler = on_crash;
  // SA_ONSTACK has no effect on a thread that has no such stack.
  action.sa_flags = static_cast<int>(SA_RESETHAND | static_cast<unsigned>(SA_ONSTACK));
  sigemptyset(&action.sa_mask);
  for (const int sig : kSignals)
    sigaction(sig, &action, nullptr);
}

}  // namespace

void install(const App& app) {
  detail::set_app(app);
  store(&g_name, app.name);
  store(&g_version, app.version);
  store(&g_build, app.build);
  store_path(&g_report_path, early_report_path());
  g_crash_log_path[0] = '\0';
  // The first call loads a library, which must not happen in the handler.
  void* frame = nullptr;
  backtrace(&frame, 1);
  g_start = std::time(nullptr);
  prepare_thread();
  catch_signals();
}

void prepare_thread() {
  thread_local const AlternateStack stack;
  stack.keep();
  // Some libraries block every signal on their threads; a fault would then end the process without
  // the handler.
  const sigset_t signals = caught_signals();
  static_cast<void>(pthread_sigmask(SIG_UNBLOCK, &signals, nullptr));
}

void set_log_file(const std::string& path) {
  store_path(&g_log_path, path);
}

void set_report_dir(const std::string& dir) {
  const std::string early = g_report_path.data();
  store_path(&g_report_path, dir + "/crash_report.txt");
  store_path(&g_crash_log_path, dir + "/crash_log.txt");
  if (early != report_path() && detail::file_exists(early)) collect_early(early);
}

std::string report_path() {
  return g_report_path.data();
}

std::string crash_log_path() {
  if (g_crash_log_path[0] != '\0') return g_crash_log_path.data();
  const std::string report = report_path();
  const std::size_t slash = report.rfind('/');
  return (slash == std::string::npos ? "." : report.substr(0, slash)) + "/crash_log.txt";
}

std::size_t detail::fitting(const std::string& text, std::size_t limit) {
  if (text.size() <= limit) return text.size();
  std::size_t end = limit;
  // A byte of the form 10xxxxxx continues a character.
  while (end > 0 && limit - end < 4 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U)
    --end;
  return end;
}

void set_context(Context context, const std::string& text) {
  if (context < 0 || static_cast<std::size_t>(context) >= kContexts) return;
  Copies& copies = g_contexts[static_cast<std::size_t>(context)];
  const int spare = 1 - copies.live.load();
  Text<2048>& copy = copies.text[static_cast<std::size_t>(spare)];
  const std::size_t size = detail::fitting(text, copy.size() - 1);
  store(&copy, text.substr(0, size).c_str());
  copies.live.exchange(spare);
}

namespace detail {

void set_header_package(const std::string& line) {
  store(&g_package, line.c_str());
}

}  // namespace detail

}  // namespace faultline
