#include "requests.h"

namespace audio {

namespace {

// Whether the server answered yes.
template <typename Request>
bool request_ok(const LoopLock& lock, int ms, Request request) {
  bool yes = false;
  return wait_op(lock, request(context(lock), &yes), ms) && yes;
}

void on_module_loaded(pa_context* /*c*/, std::uint32_t index, void* user) {
  *static_cast<std::uint32_t*>(user) = index;
  signal_loop();
}

void on_level(pa_context* /*c*/, const pa_sink_info* info, int eol, void* user) {
  if (eol == 0)
    *static_cast<std::optional<SinkLevel>*>(user) =
        SinkLevel{info->volume, info->channel_map, info->mute != 0};
  signal_loop();
}

}  // namespace

void move_streams(const LoopLock& lock, const std::vector<std::uint32_t>& streams,
                  std::uint32_t sink) {
  for (const std::uint32_t stream : streams) {
    request_ok(lock, kRequestMs, [&](pa_context* c, bool* yes) {
      return pa_context_move_sink_input_by_index(c, stream, sink, on_success, yes);
    });
  }
}

bool set_sink_mute(const LoopLock& lock, const std::string& sink, bool mute) {
  return request_ok(lock, kRequestMs, [&](pa_context* c, bool* yes) {
    return pa_context_set_sink_mute_by_name(c, sink.c_str(), mute ? 1 : 0, on_success, yes);
  });
}

bool set_sink_volume(const LoopLock& lock, const std::string& sink, const pa_cvolume& volume) {
  return request_ok(lock, kRequestMs, [&](pa_context* c, bool* yes) {
    return pa_context_set_sink_volume_by_name(c, sink.c_str(), &volume, on_success, yes);
  });
}

std::optional<SinkLevel> query_level(const LoopLock& lock, const std::string& sink) {
  std::optional<SinkLevel> level;
  wait_op(lock, pa_context_get_sink_info_by_name(context(lock), sink.c_str(), on_level, &level));
  return level;
}

void reset_stream_level(const LoopLock& lock, std::uint32_t stream) {
  pa_cvolume full;
  pa_cvolume_set(&full, kChannels, PA_VOLUME_NORM);
  request_ok(lock, kRequestMs, [&](pa_context* c, bool* yes) {
    return pa_context_set_sink_input_volume(c, stream, &full, on_success, yes);
  });
  request_ok(lock, kRequestMs, [&](pa_context* c, bool* yes) {
    return pa_context_set_sink_input_mute(c, stream, 0, on_success, yes);
  });
}

bool suspend_sink(const LoopLock& lock, const std::string& sink, bool suspended) {
  return request_ok(lock, kRequestMs, [&](pa_context* c, bool* yes) {
    return pa_context_suspend_sink_by_name(c, sink.c_str(), suspended ? 1 : 0, on_success, yes);
  });
}

std::uint32_t load_module(const LoopLock& lock, const char* name, const std::string& arguments,
                          bool* answered) {
  std::uint32_t module = kNoIndex;
  *answered = wait_op(lock, pa_context_load_module(context(lock), name, arguments.c_str(),
                                                   on_module_loaded, &module));
  return *answered ? module : kNoIndex;
}

bool unload_module(const LoopLock& lock, std::uint32_t module) {
  return request_ok(lock, kRequestMs, [module](pa_context* c, bool* yes) {
    return pa_context_unload_module(c, module, on_success, yes);
  });
}

}  // namespace audio
