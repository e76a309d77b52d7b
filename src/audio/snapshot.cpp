// DESIGN: a snapshot is four answers in a row. They may contradict each other when something
// changes in between; that very change is an event, which brings the next pass.

#include <cstring>
#include <utility>

#include "answers.h"
#include "app/utf8.h"
#include "audio_private.h"

namespace audio {

namespace {

constexpr const char* kNullSinkDriver = "module-null-sink.c";
constexpr const char* kPipeWireDriver = "PipeWire";
constexpr const char* kLinkGroup = "node.link-group";
constexpr std::size_t kMaxLabel = 200;  // characters

std::string text(const char* s) {
  return s == nullptr ? std::string() : std::string(s);
}

bool marked_ours(const pa_proplist* props) {
  const char* name = pa_proplist_gets(props, PA_PROP_APPLICATION_NAME);
  return name != nullptr && std::strcmp(name, kAppName) == 0;
}

std::string property(const pa_proplist* props, const char* key) {
  return text(pa_proplist_gets(props, key));
}

// What stays when a device changes its profile and appears under another name.
std::string identity(const pa_proplist* props) {
  for (const char* key : {"api.bluez5.address", "device.bus_path", "device.string"}) {
    const std::string value = property(props, key);
    if (!value.empty()) return std::string(key) + "=" + value;
  }
  return {};
}

StreamInfo stream_info(std::uint32_t index, std::uint32_t device, std::uint32_t client,
                       std::uint32_t module, const pa_proplist* props) {
  return {.index = index,
          .device = device,
          .client = client,
          .ours_by_name = marked_ours(props),
          .module = module,
          .link_group = property(props, kLinkGroup)};
}

void on_sink(pa_context* /*c*/, const pa_sink_info* info, int eol, void* user) {
  auto* answer = static_cast<Answer<std::vector<SinkInfo>>*>(user);
  if (list_ended(answer, eol)) return;
  answer->value.push_back({
      .index = info->index,
      .name = text(info->name),
      .description = text(info->description),
      .monitor = text(info->monitor_source_name),
      .monitor_index = info->monitor_source,
      .module = info->owner_module,
      .link_group = property(info->proplist, kLinkGroup),
      .identity = identity(info->proplist),
      .port = info->active_port != nullptr ? text(info->active_port->name) : std::string(),
      .channels = info->sample_spec.channels,
      .muted = info->mute != 0,
      .works_ahead = text(info->driver) == kNullSinkDriver,
      .in_cycles = text(info->driver) == kPipeWireDriver,
      .flat_volume = (info->flags & PA_SINK_FLAT_VOLUME) != 0,
      .volume = info->volume,
      .running = info->state == PA_SINK_RUNNING,
      .suspended = info->state == PA_SINK_SUSPENDED,
  });
}

void on_sink_input(pa_context* /*c*/, const pa_sink_input_info* info, int eol, void* user) {
  auto* answer = static_cast<Answer<std::vector<StreamInfo>>*>(user);
  if (list_ended(answer, eol)) return;
  answer->value.push_back(
      stream_info(info->index, info->sink, info->client, info->owner_module, info->proplist));
  answer->value.back().corked = info->corked != 0;
}

void on_source_output(pa_context* /*c*/, const pa_source_output_info* info, int eol, void* user) {
  auto* answer = static_cast<Answer<std::vector<StreamInfo>>*>(user);
  if (list_ended(answer, eol)) return;
  answer->value.push_back(
      stream_info(info->index, info->source, info->client, info->owner_module, info->proplist));
}

}  // namespace

std::optional<Snapshot> query(const LoopLock& lock) {
  pa_context* c = context(lock);
  auto default_sink = query_default(lock);
  if (!default_sink) return {};
  Answer<std::vector<SinkInfo>> sinks;
  if (!received(lock, pa_context_get_sink_info_list(c, on_sink, &sinks), sinks)) return {};
  Answer<std::vector<StreamInfo>> playbacks;
  if (!received(lock, pa_context_get_sink_input_info_list(c, on_sink_input, &playbacks), playbacks))
    return {};
  Answer<std::vector<StreamInfo>> recordings;
  if (!received(lock, pa_context_get_source_output_info_list(c, on_source_output, &recordings),
                recordings)) {
    return {};
  }
  Snapshot s;
  s.default_sink = std::move(*default_sink);
  s.sinks = std::move(sinks.value);
  s.playbacks = std::move(playbacks.value);
  s.recordings = std::move(recordings.value);
  s.own_client = pa_context_get_index(c);
  s.other_instance = has_other_instance(s);
  return s;
}

void publish(const Snapshot& s, const std::string& target, const std::string& follow, bool active,
             bool streams_alive, bool select_output) {
  Status status;
  status.state = kRunning;
  status.streams_alive = streams_alive;
  status.target = target;
  status.active = active;
  status.follow = follow;
  status.select_output = select_output;

  const SinkInfo* sink = s.find(target);
  status.muted = sink != nullptr && sink->muted;
  if (sink != nullptr) status.target_id = recognised_by(s, *sink);
  if (streams_alive && !status.muted) {
    const SinkInfo* ours = s.find(kSinkName);
    status.muted = ours != nullptr && ours->muted;
  }

  std::vector<Device> devices;
  for (const SinkInfo& real : s.sinks) {
    if (is_reserved(real.name)) continue;
    const std::string& label = real.description.empty() ? real.name : real.description;
    devices.push_back({real.name, utf8::one_line(label, kMaxLabel)});
    if (real.name == target) status.target_label = devices.back().label;
  }
  publish_status(status, std::move(devices));
}

}  // namespace audio
