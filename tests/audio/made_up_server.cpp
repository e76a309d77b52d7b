// DESIGN: an operation ends, and its callback is called, when somebody waits; where nothing is left
// to end, ten milliseconds pass, which bring a fragment of sound.
#include "made_up_server.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <memory>
#include <stdexcept>

using made_up::server;
using made_up::Sink;
using made_up::Stream;
using namespace std::string_literals;

struct pa_threaded_mainloop {};
struct pa_mainloop {};
struct pa_time_event {};

struct pa_operation {
  int references = 1;
  pa_operation_state_t state = PA_OPERATION_RUNNING;
  std::function<void()> end;
  const pa_context* of = nullptr;
};

struct pa_context {
  pa_context_state_t state = PA_CONTEXT_UNCONNECTED;
  bool main = false;
  std::uint32_t index = 0;
  std::string name;
  pa_context_notify_cb_t on_state = nullptr;
  pa_context_subscribe_cb_t on_event = nullptr;
};

struct pa_stream {
  int references = 1;
  pa_stream_state_t state = PA_STREAM_UNCONNECTED;
  pa_context* context;
  std::string name;
  std::string device;
  std::uint32_t device_index = PA_INVALID_INDEX;
  std::uint32_t index = PA_INVALID_INDEX;
  bool recording = false;
  bool corked = false;
  std::size_t fragment = 3840;  // bytes
  std::size_t waiting = 0;      // bytes to be read
  std::size_t fill = 0;         // bytes not played
  bool playing = false;
  std::vector<float> data;
  std::size_t recorded = 0;  // samples
  std::map<std::string, std::string> properties;
  pa_timing_info timing{};
  pa_stream_notify_cb_t on_state = nullptr;
  pa_stream_request_cb_t on_read = nullptr;
  pa_stream_notify_cb_t on_underflow = nullptr;
  pa_stream_notify_cb_t on_timing = nullptr;
};

namespace made_up {

Server server;

namespace {

std::deque<pa_operation*> operations;
std::size_t held_operations = 0;
bool in_callback = false;
std::vector<pa_context*> contexts;
std::vector<pa_stream*> streams;
int last_error = 0;
pa_mainloop_api api{};

pa_operation* operation(const pa_context* c, std::function<void()> end) {
  auto* op = new pa_operation{2, PA_OPERATION_RUNNING, std::move(end), c};
  operations.push_back(op);
  ++held_operations;
  return op;
}

void ask(const std::string& what) {
  server.asked.push_back(what);
  if (what == server.meanwhile.first) std::exchange(server.meanwhile, {}).second();
}

bool refused() {
  last_error = server.mode == "denies" ? PA_ERR_ACCESS : PA_ERR_NOENTITY;
  return server.mode == "refuses" || server.mode == "denies";
}

pa_operation* answer(pa_context* c, pa_context_success_cb_t cb, void* user, const std::string& what,
                     std::function<bool()> change) {
  ask(what);
  return operation(c, [=, change = std::move(change)] {
    const bool done = change();
    if (cb != nullptr) cb(c, done ? 1 : 0, user);
  });
}

Stream* find_stream(std::uint32_t index) {
  const auto found = std::ranges::find(server.streams, index, &Stream::index);
  return found == server.streams.end() ? nullptr : &*found;
}

std::string percent(const pa_cvolume& v) {
  std::string text;
  for (unsigned c = 0; c < v.channels; ++c)
    text += " " + std::to_string(std::lround(100.0 * v.values[c] / PA_VOLUME_NORM));
  return text;
}

struct Properties {
  explicit Properties(const std::map<std::string, std::string>& values) : list(pa_proplist_new()) {
    for (const auto& [key, value] : values)
      pa_proplist_sets(list, key.c_str(), value.c_str());
  }
  ~Properties() { pa_proplist_free(list); }
  Properties(const Properties&) = delete;
  Properties& operator=(const Properties&) = delete;
  pa_proplist* list;
};

void give_sink(pa_context* c, const Sink& s, pa_sink_info_cb_t cb, void* user) {
  const Properties properties(s.properties);
  const auto label = s.properties.find("device.description");
  const std::string monitor = s.name + ".monitor";
  pa_sink_port_info port{};
  port.name = s.port.c_str();
  pa_sink_info info{};
  info.index = s.index;
  info.name = s.name.c_str();
  info.description = label != s.properties.end() ? label->second.c_str() : "";
  info.monitor_source_name = monitor.c_str();
  info.monitor_source = s.index + 1000;
  info.owner_module = s.module;
  info.proplist = properties.list;
  info.active_port = s.port.empty() ? nullptr : &port;
  info.sample_spec = {PA_SAMPLE_S16LE, 48000, s.volume.channels};
  pa_channel_map_init_extend(&info.channel_map, s.volume.channels, PA_CHANNEL_MAP_DEFAULT);
  info.mute = s.mute ? 1 : 0;
  info.driver = s.driver.c_str();
  info.flags = s.flat ? PA_SINK_FLAT_VOLUME : PA_SINK_NOFLAGS;
  info.volume = s.volume;
  info.state = s.suspended ? PA_SINK_SUSPENDED : s.idle ? PA_SINK_IDLE : PA_SINK_RUNNING;
  cb(c, &info, 0, user);
}

template <class Info>
Info stream_info(const Stream& s, const Properties& properties) {
  Info info{};
  info.index = s.index;
  info.client = s.client;
  info.owner_module = s.module;
  info.proplist = properties.list;
  info.corked = s.corked ? 1 : 0;
  return info;
}

void place(pa_stream* s) {
  const auto found = std::ranges::find_if(server.sinks, [s](const Sink& k) {
    return k.name + (s->recording ? ".monitor" : "") == s->device;
  });
  if (found == server.sinks.end() || server.mode == "no-stream") {
    s->state = PA_STREAM_FAILED;
  } else {
    s->state = PA_STREAM_READY;
    s->device_index = found->index + (s->recording ? 1000 : 0);
    s->index = server.next++;
    pa_cvolume volume;
    pa_cvolume_set(&volume, 2, PA_VOLUME_NORM / 2);  // what a session manager remembers
    server.streams.push_back({s->index, s->device_index, s->context->index, s->properties,
                              PA_INVALID_INDEX, volume, false, false, s->recording, s});
  }
  if (s->on_state != nullptr) s->on_state(s, nullptr);
}

void end_stream(pa_stream* s, pa_stream_state_t state) {
  std::erase_if(server.streams, [s](const Stream& t) { return t.of_ours == s; });
  s->state = state;
  if (s->on_state != nullptr) s->on_state(s, nullptr);
}

void release(pa_stream* s) {
  if (--s->references > 0) return;
  std::erase(streams, s);
  delete s;
}

void end_operations() {
  while (!operations.empty() && server.mode != "silent") {
    pa_operation* op = operations.front();
    operations.pop_front();
    if (op->state == PA_OPERATION_RUNNING) {
      op->end();
      op->state = PA_OPERATION_DONE;
    }
    pa_operation_unref(op);
  }
}

void give_sound(pa_stream* s, double ms) {
  const auto bytes = static_cast<std::size_t>(ms * 384);
  ++s->references;
  if (s->recording && server.flows) {
    s->waiting += bytes;
    if (s->waiting >= s->fragment && s->on_read != nullptr) s->on_read(s, s->waiting, nullptr);
  } else if (!s->recording && (s->playing || s->fill >= 11520)) {
    s->playing = s->fill > bytes;
    s->fill -= std::min(s->fill, bytes);
    if (!s->playing && s->on_underflow != nullptr) s->on_underflow(s, nullptr);
  }
  release(s);
}

}  // namespace

Sink* Server::find(const std::string& name) {
  const auto found = std::ranges::find(sinks, name, &Sink::name);
  return found == sinks.end() ? nullptr : &*found;
}

Sink& Server::add(const std::string& name) {
  Sink& s = sinks.emplace_back();
  s.index = next++;
  s.name = name;
  pa_cvolume_set(&s.volume, 2, PA_VOLUME_NORM);
  return s;
}

// What played there goes to the default device, or to the first.
void Server::remove(const std::string& name) {
  if (find(name) == nullptr) throw std::runtime_error("no sink " + name);
  const std::uint32_t index = find(name)->index;
  std::erase_if(sinks, [&](const Sink& s) { return s.name == name; });
  if (default_sink == name) default_sink = sinks.empty() ? "" : sinks.front().name;
  const Sink* other = find(default_sink);
  for (const Stream& s : std::deque<Stream>(streams)) {
    if (s.device != index && s.device != index + 1000) continue;
    if (s.of_ours != nullptr)
      end_stream(s.of_ours, PA_STREAM_FAILED);
    else
      find_stream(s.index)->device = other != nullptr ? other->index : PA_INVALID_INDEX;
  }
}

void Server::pass(double ms) {
  in_callback = true;
  for (; ms > 0; ms -= 10) {
    now_ms += std::min(ms, 10.0);
    for (pa_stream* s : std::vector(made_up::streams))
      if (s->state == PA_STREAM_READY && !s->corked) give_sound(s, std::min(ms, 10.0));
    end_operations();
  }
  in_callback = false;
}

std::string Server::unused() const {
  const auto used =
      std::ranges::count_if(streams, [](const Stream& s) { return s.of_ours != nullptr; });
  const std::size_t besides = contexts.empty() ? 0 : contexts.size() - 1;
  return std::to_string(made_up::streams.size() - static_cast<std::size_t>(used)) + " streams, " +
         std::to_string(held_operations - operations.size()) + " requests, " +
         std::to_string(besides) + " connections";
}

void Server::lose_connections() {
  in_callback = true;
  for (pa_stream* s : std::vector(made_up::streams))
    if (s->state != PA_STREAM_TERMINATED) end_stream(s, PA_STREAM_FAILED);
  for (pa_context* c : std::vector(contexts)) {
    c->state = PA_CONTEXT_FAILED;
    if (c->on_state != nullptr) c->on_state(c, nullptr);
  }
  in_callback = false;
}

}  // namespace made_up

using namespace made_up;

// NOLINTNEXTLINE(cert-dcl58-cpp): time passes on the server alone
std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept {
  return time_point(std::chrono::microseconds(std::llround(server.now_ms * 1000)));
}

extern "C" {

// ---- The loop

// Who holds what its real-time thread waits for must get its priority.
int pthread_mutex_lock(pthread_mutex_t* m) noexcept {
  constexpr int kInherits = 32;  // of the C library's own
  constexpr timespec kNever{std::int64_t{1} << 40, 0};
  if (in_callback && (m->__data.__kind & kInherits) == 0) ask("a lock without its priority");
  return pthread_mutex_timedlock(m, &kNever);
}

pa_threaded_mainloop* pa_threaded_mainloop_new() {
  return new pa_threaded_mainloop;
}
void pa_threaded_mainloop_free(pa_threaded_mainloop* m) {
  delete m;
}
int pa_threaded_mainloop_start(pa_threaded_mainloop*) {
  return 0;
}
void pa_threaded_mainloop_stop(pa_threaded_mainloop*) {}
void pa_threaded_mainloop_lock(pa_threaded_mainloop*) {}
void pa_threaded_mainloop_unlock(pa_threaded_mainloop*) {}
void pa_threaded_mainloop_signal(pa_threaded_mainloop*, int) {}
void pa_threaded_mainloop_set_name(pa_threaded_mainloop*, const char*) {}
void pa_threaded_mainloop_wait(pa_threaded_mainloop*) {
  if (operations.empty() || server.mode == "silent") return server.pass(10);
  end_operations();
}
pa_mainloop_api* pa_threaded_mainloop_get_api(pa_threaded_mainloop*) {
  return &api;
}
void pa_mainloop_api_once(pa_mainloop_api* a, void (*cb)(pa_mainloop_api*, void*), void* user) {
  cb(a, user);
}
pa_time_event* pa_context_rttime_new(const pa_context*, pa_usec_t, pa_time_event_cb_t, void*) {
  return nullptr;
}
pa_mainloop* pa_mainloop_new() {
  return new pa_mainloop;
}
void pa_mainloop_free(pa_mainloop* m) {
  delete m;
}
pa_mainloop_api* pa_mainloop_get_api(pa_mainloop*) {
  return &api;
}
int pa_mainloop_prepare(pa_mainloop*, int) {
  return 0;
}
int pa_mainloop_poll(pa_mainloop*) {
  return 0;
}
int pa_mainloop_dispatch(pa_mainloop*) {
  pa_threaded_mainloop_wait(nullptr);
  return 0;
}
pa_usec_t pa_timeval_age(const timeval*) {
  return 2000;
}

// ---- Operations

void pa_operation_unref(pa_operation* op) {
  if (--op->references > 0) return;
  --held_operations;
  delete op;
}
void pa_operation_cancel(pa_operation* op) {
  ask("cancelled");
  op->state = PA_OPERATION_CANCELLED;
}
pa_operation_state_t pa_operation_get_state(const pa_operation* op) {
  return op->state;
}

// ---- Connections

pa_context* pa_context_new_with_proplist(pa_mainloop_api*, const char*, const pa_proplist* p) {
  auto* c = new pa_context;
  c->main = p != nullptr && std::ranges::none_of(contexts, &pa_context::main);
  c->index = server.next++;
  for (const char* key : {"application.name", "application.id", "application.icon_name"})
    if (c->main) c->name += " "s + pa_proplist_gets(p, key);
  contexts.push_back(c);
  return c;
}
pa_context* pa_context_new(pa_mainloop_api* a, const char* name) {
  return pa_context_new_with_proplist(a, name, nullptr);
}
int pa_context_connect(pa_context* c, const char*, pa_context_flags_t, const pa_spawn_api*) {
  ask(c->main ? "connect as" + c->name : "connect besides");
  if (server.mode == "gone") {
    c->state = PA_CONTEXT_FAILED;
    return -1;
  }
  c->state = PA_CONTEXT_CONNECTING;
  pa_operation_unref(operation(c, [c] { c->state = PA_CONTEXT_READY; }));
  return 0;
}
void pa_context_disconnect(pa_context* c) {
  ask(c->main ? "disconnect" : "disconnect besides");
  c->state = PA_CONTEXT_TERMINATED;
}
void pa_context_unref(pa_context* c) {
  for (pa_operation* op : operations)
    if (op->of == c && op->state == PA_OPERATION_RUNNING) op->state = PA_OPERATION_CANCELLED;
  std::erase(contexts, c);
  delete c;
}
pa_context_state_t pa_context_get_state(const pa_context* c) {
  return c->state;
}
std::uint32_t pa_context_get_index(const pa_context* c) {
  return c->index;
}
int pa_context_errno(const pa_context*) {
  return last_error;
}
const char* pa_context_get_server(const pa_context*) {
  return "made-up";
}
void pa_context_set_state_callback(pa_context* c, pa_context_notify_cb_t cb, void*) {
  c->on_state = cb;
}
void pa_context_set_subscribe_callback(pa_context* c, pa_context_subscribe_cb_t cb, void*) {
  c->on_event = cb;
}
pa_operation* pa_context_subscribe(pa_context* c, pa_subscription_mask_t mask,
                                   pa_context_success_cb_t cb, void* user) {
  return answer(c, cb, user, "subscribe " + std::to_string(mask), [] { return true; });
}

// ---- Questions

pa_operation* pa_context_get_server_info(pa_context* c, pa_server_info_cb_t cb, void* user) {
  return operation(c, [=] {
    pa_server_info info{};
    const std::string shown = c->main && !server.shown.empty() ? server.shown : server.default_sink;
    info.default_sink_name = shown.c_str();
    cb(c, &info, user);
  });
}
pa_operation* pa_context_get_sink_info_list(pa_context* c, pa_sink_info_cb_t cb, void* user) {
  return operation(c, [=] {
    for (const Sink& s : server.sinks)
      give_sink(c, s, cb, user);
    cb(c, nullptr, 1, user);
  });
}
pa_operation* pa_context_get_sink_info_by_name(pa_context* c, const char* name,
                                               pa_sink_info_cb_t cb, void* user) {
  return operation(c, [=, name = std::string(name)] {
    const Sink* s = server.find(name);
    if (s != nullptr) give_sink(c, *s, cb, user);
    cb(c, nullptr, s != nullptr ? 1 : -1, user);
  });
}
pa_operation* pa_context_get_sink_input_info_list(pa_context* c, pa_sink_input_info_cb_t cb,
                                                  void* user) {
  return operation(c, [=] {
    for (const Stream& s : server.streams) {
      if (s.recording) continue;
      const Properties properties(s.properties);
      auto info = stream_info<pa_sink_input_info>(s, properties);
      info.sink = s.device;
      cb(c, &info, 0, user);
    }
    cb(c, nullptr, 1, user);
  });
}
pa_operation* pa_context_get_source_output_info_list(pa_context* c, pa_source_output_info_cb_t cb,
                                                     void* user) {
  return operation(c, [=] {
    for (const Stream& s : server.streams) {
      if (!s.recording) continue;
      const Properties properties(s.properties);
      auto info = stream_info<pa_source_output_info>(s, properties);
      info.source = s.device;
      cb(c, &info, 0, user);
    }
    cb(c, nullptr, 1, user);
  });
}
pa_operation* pa_context_get_client_info_list(pa_context* c, pa_client_info_cb_t cb, void* user) {
  return operation(c, [=] {
    for (const Stream& s : server.streams) {
      const Properties properties(s.properties);
      pa_client_info info{};
      info.index = s.client;
      info.proplist = properties.list;
      cb(c, &info, 0, user);
    }
    cb(c, nullptr, 1, user);
  });
}

// ---- Requests

pa_operation* pa_context_set_default_sink(pa_context* c, const char* name,
                                          pa_context_success_cb_t cb, void* user) {
  return answer(c, cb, user, "default " + std::string(name), [name = std::string(name)] {
    if (refused() || server.find(name) == nullptr) return false;
    if (server.mode != "ignores") server.default_sink = name;
    return true;
  });
}
pa_operation* pa_context_move_sink_input_by_index(pa_context* c, std::uint32_t stream,
                                                  std::uint32_t sink, pa_context_success_cb_t cb,
                                                  void* user) {
  return answer(c, cb, user, "move " + std::to_string(stream) + " to " + std::to_string(sink), [=] {
    Stream* s = find_stream(stream);
    if (s != nullptr) s->device = sink;
    return s != nullptr;
  });
}
pa_operation* pa_context_move_sink_input_by_name(pa_context* c, std::uint32_t stream,
                                                 const char* sink, pa_context_success_cb_t cb,
                                                 void* user) {
  return pa_context_move_sink_input_by_index(c, stream, server.find(sink)->index, cb, user);
}
pa_operation* pa_context_set_sink_mute_by_name(pa_context* c, const char* sink, int mute,
                                               pa_context_success_cb_t cb, void* user) {
  return answer(c, cb, user, "mute " + std::string(sink) + " " + std::to_string(mute),
                [=, name = std::string(sink)] {
                  Sink* s = server.find(name);
                  if (s == nullptr || refused() || server.mode == "keeps-levels") return false;
                  s->mute = mute != 0;
                  return true;
                });
}
pa_operation* pa_context_set_sink_volume_by_name(pa_context* c, const char* sink,
                                                 const pa_cvolume* volume,
                                                 pa_context_success_cb_t cb, void* user) {
  return answer(c, cb, user, "volume " + std::string(sink) + percent(*volume),
                [=, name = std::string(sink), v = *volume] {
                  Sink* s = server.find(name);
                  if (s == nullptr || refused() || server.mode == "keeps-levels") return false;
                  s->volume = v;
                  return true;
                });
}
pa_operation* pa_context_set_sink_input_volume(pa_context* c, std::uint32_t index,
                                               const pa_cvolume* volume, pa_context_success_cb_t cb,
                                               void* user) {
  return answer(c, cb, user, "stream volume" + percent(*volume), [index, v = *volume] {
    if (Stream* s = find_stream(index)) s->volume = v;
    return true;
  });
}
pa_operation* pa_context_set_sink_input_mute(pa_context* c, std::uint32_t index, int mute,
                                             pa_context_success_cb_t cb, void* user) {
  return answer(c, cb, user, "stream mute " + std::to_string(mute), [=] {
    if (Stream* s = find_stream(index)) s->mute = mute != 0;
    return true;
  });
}
pa_operation* pa_context_suspend_sink_by_name(pa_context* c, const char* sink, int suspend,
                                              pa_context_success_cb_t cb, void* user) {
  return answer(c, cb, user, "suspend " + std::string(sink) + " " + std::to_string(suspend),
                [=, name = std::string(sink)] {
                  if (Sink* s = server.find(name)) s->suspended = suspend != 0;
                  return true;
                });
}
pa_operation* pa_context_load_module(pa_context* c, const char* name, const char* argument,
                                     pa_context_index_cb_t cb, void* user) {
  ask("load " + std::string(name) + " " + argument);
  return operation(c, [=] {
    std::uint32_t module = PA_INVALID_INDEX;
    if (server.mode != "no-module") {
      module = server.next++;
      Sink& s = server.add("velmora");
      s.module = module;
      s.driver = "module-null-sink.c";
      s.properties["device.description"] = "Velmora";
      if (server.remembered >= 0)
        pa_cvolume_set(&s.volume, 2,
                       PA_VOLUME_NORM / 100U * static_cast<pa_volume_t>(server.remembered));
    }
    last_error = PA_ERR_MODINITFAILED;
    cb(c, module, user);
  });
}
pa_operation* pa_context_unload_module(pa_context* c, std::uint32_t module,
                                       pa_context_success_cb_t cb, void* user) {
  return answer(c, cb, user, "unload " + std::to_string(module), [=] {
    const auto found = std::ranges::find(server.sinks, module, &Sink::module);
    if (found == server.sinks.end() || refused() || server.mode == "no-unload") return false;
    server.remove(std::string(found->name));
    return true;
  });
}

// ---- Streams

pa_stream* pa_stream_new_with_proplist(pa_context* c, const char* name, const pa_sample_spec*,
                                       const pa_channel_map*, pa_proplist* p) {
  auto* s = new pa_stream;
  s->context = c;
  s->name = name;
  for (const char* key : {"application.name", "media.name", "node.dont-fallback"})
    if (const char* value = pa_proplist_gets(p, key)) s->properties[key] = value;
  s->properties["application.process.id"] = "4711";
  streams.push_back(s);
  return s;
}
void pa_stream_unref(pa_stream* s) {
  release(s);
}
int pa_stream_disconnect(pa_stream* s) {
  ask("close " + s->name + " on " + s->device);
  end_stream(s, PA_STREAM_TERMINATED);
  return 0;
}
static int open_stream(pa_stream* s, const char* device, const pa_buffer_attr* b,
                       pa_stream_flags_t flags) {
  std::string buffers;
  for (const std::uint32_t bytes : {b->maxlength, b->tlength, b->prebuf, b->minreq, b->fragsize})
    buffers += " " + std::to_string(static_cast<std::int32_t>(bytes));
  ask("open " + s->name + " (" + s->properties["media.name"] + ") on " + device + buffers +
      " flags " + std::to_string(flags));
  s->device = device;
  s->fragment = b->fragsize;
  s->state = PA_STREAM_CREATING;
  pa_operation_unref(operation(s->context, [s] {
    if (std::ranges::count(streams, s) > 0 && s->state == PA_STREAM_CREATING) place(s);
  }));
  return 0;
}
int pa_stream_connect_playback(pa_stream* s, const char* device, const pa_buffer_attr* b,
                               pa_stream_flags_t flags, const pa_cvolume*, pa_stream*) {
  return open_stream(s, device, b, flags);
}
int pa_stream_connect_record(pa_stream* s, const char* device, const pa_buffer_attr* b,
                             pa_stream_flags_t flags) {
  s->recording = true;
  return open_stream(s, device, b, flags);
}
pa_stream_state_t pa_stream_get_state(const pa_stream* s) {
  return s->state;
}
std::uint32_t pa_stream_get_index(const pa_stream* s) {
  return s->index;
}
std::uint32_t pa_stream_get_device_index(const pa_stream* s) {
  return s->device_index;
}
const char* pa_stream_get_device_name(const pa_stream* s) {
  return s->device.c_str();
}
void pa_stream_set_state_callback(pa_stream* s, pa_stream_notify_cb_t cb, void*) {
  s->on_state = cb;
}
void pa_stream_set_moved_callback(pa_stream*, pa_stream_notify_cb_t, void*) {}
void pa_stream_set_read_callback(pa_stream* s, pa_stream_request_cb_t cb, void*) {
  s->on_read = cb;
}
void pa_stream_set_underflow_callback(pa_stream* s, pa_stream_notify_cb_t cb, void*) {
  s->on_underflow = cb;
}
void pa_stream_set_latency_update_callback(pa_stream* s, pa_stream_notify_cb_t cb, void*) {
  s->on_timing = cb;
}
pa_operation* pa_stream_cork(pa_stream* s, int cork, pa_stream_success_cb_t, void*) {
  ask((cork != 0 ? "cork " : "uncork ") + s->name);
  s->corked = cork != 0;
  return operation(s->context, [] {});
}
pa_operation* pa_stream_flush(pa_stream* s, pa_stream_success_cb_t, void*) {
  ask("flush " + s->name);
  s->fill = 0;
  return operation(s->context, [] {});
}
pa_operation* pa_stream_set_buffer_attr(pa_stream* s, const pa_buffer_attr* b,
                                        pa_stream_success_cb_t, void*) {
  ask("fragments of " + std::to_string(b->fragsize));
  s->fragment = b->fragsize;
  return operation(s->context, [] {});
}
pa_operation* pa_stream_update_timing_info(pa_stream* s, pa_stream_success_cb_t, void*) {
  return operation(s->context, [s] {
    if (std::ranges::count(streams, s) > 0 && s->on_timing != nullptr) s->on_timing(s, nullptr);
  });
}
const pa_timing_info* pa_stream_get_timing_info(pa_stream* s) {
  s->timing.write_index = static_cast<std::int64_t>(s->fill);
  s->timing.sink_usec = 15000;
  s->timing.playing = s->playing ? 1 : 0;
  return &s->timing;
}
int pa_stream_peek(pa_stream* s, const void** data, std::size_t* bytes) {
  *bytes = std::min(s->waiting, s->fragment);
  s->data.resize(*bytes / sizeof(float));
  for (std::size_t i = 0; i < s->data.size(); ++i) {  // a saw tooth
    const float wave = 1.0F - static_cast<float>(s->recorded++ / 2 % 97) / 48.0F;
    s->data[i] = wave * (i % 2 == 0 ? server.left : server.right);
  }
  *data = server.holes > 0 ? nullptr : s->data.data();
  server.holes -= server.holes > 0 ? 1 : 0;
  return 0;
}
int pa_stream_drop(pa_stream* s) {
  s->waiting -= std::min(s->waiting, s->fragment);
  return 0;
}
int pa_stream_write(pa_stream* s, const void* data, std::size_t bytes, pa_free_cb_t, std::int64_t,
                    pa_seek_mode_t) {
  const auto* samples = static_cast<const float*>(data);
  for (std::size_t i = 0; i < bytes / sizeof(float); ++i) {
    server.peak[i % 2] = std::max(server.peak[i % 2], std::abs(samples[i]));
    server.sum += static_cast<double>(samples[i]) * static_cast<double>(++server.written % 1000);
  }
  s->fill += bytes;
  return 0;
}

}  // extern "C"
