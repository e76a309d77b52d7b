// Preloaded into the program: counts what it holds of the sound library and writes that, at its
// end, to $LAB_COUNTS.PID: streams, connections and main loops not released, whether a late error
// of the screen would have ended it, signals to processes that are gone and may be others' by then,
// requests cancelled.
#include <dlfcn.h>
#include <pulse/pulseaudio.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

bool x_errors_are_fatal() {
  void* const x11 = dlopen("libX11.so.6", RTLD_LAZY | RTLD_NOLOAD);
  if (x11 == nullptr || std::getenv("DISPLAY") == nullptr) return false;
  const auto set = reinterpret_cast<void* (*)(void*)>(dlsym(x11, "XSetErrorHandler"));
  return set(nullptr) == dlsym(x11, "_XDefaultError");
}

struct Counts {
  std::atomic<int> streams, contexts, loops, astray, cancelled;

  ~Counts() {
    const char* const file = std::getenv("LAB_COUNTS");
    if (file != nullptr)
      std::ofstream(file + ("." + std::to_string(getpid())))
          << streams << ' ' << contexts << ' ' << loops << ' ' << x_errors_are_fatal() << ' '
          << astray << ' ' << cancelled;
  }
} g_counts;

}  // namespace

// Calls the library's own after the change.
#define COUNTED(result, name, parameters, arguments, change)                             \
  extern "C" result name parameters {                                                    \
    change;                                                                              \
    static const auto real = reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name)); \
    return real arguments;                                                               \
  }

COUNTED(pa_stream*, pa_stream_new_with_proplist,
        (pa_context * c, const char* name, const pa_sample_spec* spec, const pa_channel_map* map,
         pa_proplist* list),
        (c, name, spec, map, list), ++g_counts.streams)
COUNTED(pa_stream*, pa_stream_ref, (pa_stream * s), (s), ++g_counts.streams)
COUNTED(void, pa_stream_unref, (pa_stream * s), (s), --g_counts.streams)
COUNTED(pa_context*, pa_context_new_with_proplist,
        (pa_mainloop_api * api, const char* name, const pa_proplist* list), (api, name, list),
        ++g_counts.contexts)
COUNTED(pa_context*, pa_context_ref, (pa_context * c), (c), ++g_counts.contexts)
COUNTED(void, pa_context_unref, (pa_context * c), (c), --g_counts.contexts)
COUNTED(pa_threaded_mainloop*, pa_threaded_mainloop_new, (), (), ++g_counts.loops)
COUNTED(void, pa_threaded_mainloop_free, (pa_threaded_mainloop * loop), (loop), --g_counts.loops)
COUNTED(void, pa_operation_cancel, (pa_operation * op), (op), ++g_counts.cancelled)
COUNTED(int, kill, (pid_t process, int signal), (process, signal),
        g_counts.astray += signal != 0 && syscall(SYS_kill, process, 0) != 0 ? 1 : 0)
