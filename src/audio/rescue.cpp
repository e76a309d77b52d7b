// DESIGN: a single-threaded main loop, iterated by hand with a deadline, because nothing else would
// end this process if the server never answered. The rescue looks several times: a request that the
// program sent just before it died may take effect after the first look.

#include "rescue.h"

#include <pulse/pulseaudio.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "handover.h"

namespace audio {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char* kContextName = "Velmora guard";
constexpr milliseconds kAnswerLimit{30000};  // for everything, if the server is slow
constexpr milliseconds kQuiet{700};          // our sink must stay away this long
constexpr milliseconds kGrace{1500};         // for another copy to take over our sink
constexpr milliseconds kLook{50};
constexpr int kPumpMs = 20;

struct Server {
  pa_mainloop* loop = nullptr;
  pa_context* context = nullptr;
  Clock::time_point deadline;

  explicit Server(Clock::time_point until) : loop(pa_mainloop_new()), deadline(until) {
    if (loop != nullptr) context = pa_context_new(pa_mainloop_get_api(loop), kContextName);
  }
  ~Server() {
    if (context != nullptr) {
      pa_context_disconnect(context);
      pa_context_unref(context);
    }
    if (loop != nullptr) pa_mainloop_free(loop);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  bool alive() const { return PA_CONTEXT_IS_GOOD(pa_context_get_state(context)); }

  // Runs the loop until `done`, a broken connection or the deadline.
  template <typename Done>
  bool pump(Clock::time_point until, Done done) {
    while (!done()) {
      if (!alive() || Clock::now() >= std::min(until, deadline)) return false;
      if (pa_mainloop_prepare(loop, kPumpMs * 1000) < 0 || pa_mainloop_poll(loop) < 0 ||
          pa_mainloop_dispatch(loop) < 0) {
        return false;
      }
    }
    return true;
  }

  bool connect() {
    if (context == nullptr) return false;
    if (pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) return false;
    return pump(deadline, [this] { return pa_context_get_state(context) == PA_CONTEXT_READY; });
  }

  bool finish(pa_operation* op) {
    if (op == nullptr) return false;
    const bool ended =
        pump(deadline, [op] { return pa_operation_get_state(op) != PA_OPERATION_RUNNING; });
    const bool done = pa_operation_get_state(op) == PA_OPERATION_DONE;
    if (!ended) pa_operation_cancel(op);
    pa_operation_unref(op);
    return ended && done;
  }

  void pause(milliseconds time) {
    pump(Clock::now() + time, [] { return false; });
  }
};

struct Stream {
  std::uint32_t index;
  std::uint32_t device;
  std::uint32_t client;
};

// The result of one look at the server.
struct View {
  bool complete = false;
  std::string default_sink;
  std::uint32_t sink = kNoIndex;  // ours
  std::uint32_t module = kNoIndex;
  std::uint32_t monitor = kNoIndex;
  SinkLevel level;
  bool device_found = false;
  SinkLevel device_level;
  std::vector<Stream> playbacks;               // on our sink
  std::vector<std::uint32_t> monitor_clients;  // who records our monitor
  std::vector<std::uint32_t> other_copies;     // clients of other running copies
};

struct Look {
  View view;
  const std::string& device;
  pid_t program;
};

bool is_program(const pa_proplist* props, pid_t program) {
  const char* id = pa_proplist_gets(props, PA_PROP_APPLICATION_PROCESS_ID);
  return id != nullptr && std::strtol(id, nullptr, 10) == program;
}

void on_server(pa_context* /*c*/, const pa_server_info* info, void* user) {
  if (info != nullptr && info->default_sink_name != nullptr) {
    static_cast<Look*>(user)->view.default_sink = info->default_sink_name;
  }
}

void on_sink(pa_context* /*c*/, const pa_sink_info* info, int eol, void* user) {
  if (eol != 0) return;
  auto* look = static_cast<Look*>(user);
  if (std::strcmp(info->name, kSinkName) == 0) {
    look->view.sink = info->index;
    look->view.module = info->owner_module;
    look->view.monitor = info->monitor_source;
    look->view.level = {info->volume, info->channel_map, info->mute != 0};
  } else if (look->device == info->name) {
    look->view.device_found = true;
    look->view.device_level = {info->volume, info->channel_map, info->mute != 0};
  }
}

void on_playback(pa_context* /*c*/, const pa_sink_input_info* info, int eol, void* user) {
  if (eol == 0)
    static_cast<Look*>(user)->view.playbacks.push_back({info->index, info->sink, info->client});
}

void on_recording(pa_context* /*c*/, const pa_source_output_info* info, int eol, void* user) {
  if (eol != 0) return;
  auto* look = static_cast<Look*>(user);
  if (info->source == look->view.monitor) look->view.monitor_clients.push_back(info->client);
}

void on_client(pa_context* /*c*/, const pa_client_info* info, int eol, void* user) {
  if (eol != 0) return;
  auto* look = static_cast<Look*>(user);
  const char* name = pa_proplist_gets(info->proplist, PA_PROP_APPLICATION_NAME);
  if (name != nullptr && std::strcmp(name, kAppName) == 0 &&
      !is_program(info->proplist, look->program)) {
    look->view.other_copies.push_back(info->index);
  }
}

View look_at(Server* server, const std::string& device, pid_t program) {
  Look look{{}, device, program};
  pa_context* c = server->context;
  look.view.complete =
      server->finish(pa_context_get_server_info(c, on_server, &look)) &&
      server->finish(pa_context_get_sink_info_list(c, on_sink, &look)) &&
      server->finish(pa_context_get_sink_input_info_list(c, on_playback, &look)) &&
      server->finish(pa_context_get_source_output_info_list(c, on_recording, &look)) &&
      server->finish(pa_context_get_client_info_list(c, on_client, &look));
  return std::move(look.view);
}

// Whether another copy records our sink: then it has taken it over and will restore everything
// itself.
bool taken_over(const View& view) {
  for (const std::uint32_t copy : view.other_copies) {
    for (const std::uint32_t client : view.monitor_clients) {
      if (copy == client) return true;
    }
  }
  return false;
}

// Sound that was turned down on our sink must not get louder on the device, nor be turned down
// twice if the program died while it was taking the volume back.
std::optional<Handover> hand_over_volume(Server* server, const View& view,
                                         const std::string& device) {
  SinkLevel level = view.device_level;
  const auto kept = kept_handover();
  if (kept && kept->device == device && being_taken_back(*kept, view.level, level))
    return std::nullopt;
  auto handover = hand_over(view.level, device, &level, nullptr);
  if (!handover) return std::nullopt;
  pa_context* c = server->context;
  server->finish(
      pa_context_set_sink_volume_by_name(c, device.c_str(), &level.volume, nullptr, nullptr));
  if (handover->muted)
    server->finish(pa_context_set_sink_mute_by_name(c, device.c_str(), 1, nullptr, nullptr));
  return handover;
}

// Returns whether our sink is not the default device any more.
bool restore_default(Server* server, const View& view, const std::string& device) {
  if (view.default_sink != kSinkName) return true;
  return view.device_found && server->finish(pa_context_set_default_sink(
                                  server->context, device.c_str(), nullptr, nullptr));
}

// Returns the same.
bool undo(Server* server, const View& view, const std::string& device) {
  pa_context* c = server->context;
  const bool restored = restore_default(server, view, device);
  if (view.device_found) {
    for (const Stream& stream : view.playbacks) {
      if (stream.device != view.sink) continue;
      server->finish(
          pa_context_move_sink_input_by_name(c, stream.index, device.c_str(), nullptr, nullptr));
    }
  }
  server->finish(pa_context_unload_module(c, view.module, nullptr, nullptr));
  return restored;
}

}  // namespace

void rescue(const guard::Orders& orders, pid_t program) {
  const std::string& device = orders.device;
  const std::uint32_t module = orders.module;
  Server server(Clock::now() + kAnswerLimit);
  if (!server.connect()) {
    keep_unrestored();
    return;
  }
  const auto began = Clock::now();
  auto last_seen = began;
  bool volume_handed_over = false;
  bool gone = false;
  bool restored = false;  // the default device
  while (Clock::now() - last_seen < kQuiet) {
    const View view = look_at(&server, device, program);
    if (!view.complete) {
      if (!restored) keep_unrestored();
      return;
    }
    // A copy that has just started may be about to take over our sink.
    const bool wait = !view.other_copies.empty() && Clock::now() - began < kGrace;
    if (view.sink == kNoIndex) {
      gone = true;
      if (!wait) {
        restored = restore_default(&server, view, device);
      } else if (view.default_sink == kSinkName) {
        last_seen = Clock::now();
      }
    } else {
      // Module indices are reused.
      const bool not_ours =
          (module != kNoIndex && view.module != module) || (gone && !view.other_copies.empty());
      if (not_ours || taken_over(view)) return;
      last_seen = Clock::now();
      if (!wait) {
        std::optional<Handover> handover;
        if (orders.takeover && view.device_found && !std::exchange(volume_handed_over, true))
          handover = hand_over_volume(&server, view, device);
        restored = undo(&server, view, device);
        // Last, because a disk may be slow.
        if (handover) keep_handover(*handover);
      }
    }
    server.pause(kLook);
  }
}

}  // namespace audio
