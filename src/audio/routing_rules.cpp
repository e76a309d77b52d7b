// DESIGN: everything is matched by name in a fresh snapshot and only then turned into an index,
// because indices are reused (PipeWire) or invalid (a device unplugged in between).

#include "routing_rules.h"

#include <algorithm>

#include "app/utf8.h"

namespace audio {

namespace {

constexpr const char* kBluetooth = "api.bluez5.address=";
constexpr std::size_t kMaxId = 300;  // characters
constexpr const char* kOlderSink = "tarsel";

constexpr std::chrono::seconds kProfileChange{30};  // for its new sink to appear

bool is_real(const Snapshot& s, const SinkInfo& sink) {
  return !is_reserved(sink.name) && !feeds_our_sink(s, sink);
}

const SinkInfo* find_real(const Snapshot& s, const std::string& name) {
  const SinkInfo* sink = s.find(name);
  return sink != nullptr && is_real(s, *sink) ? sink : nullptr;
}

template <typename Wanted>
const SinkInfo* find_real_if(const Snapshot& s, Wanted wanted) {
  const auto it = std::ranges::find_if(
      s.sinks, [&](const SinkInfo& sink) { return wanted(sink) && is_real(s, sink); });
  return it == s.sinks.end() ? nullptr : &*it;
}

// PulseAudio gives a filter's sink and stream the same module, PipeWire also a common group.
bool plays_for(const StreamInfo& stream, const SinkInfo& sink) {
  return (stream.module != kNoIndex && stream.module == sink.module) ||
         (!stream.link_group.empty() && stream.link_group == sink.link_group);
}

bool plays_for_a_filter(const Snapshot& s, const StreamInfo& stream) {
  return std::ranges::any_of(s.sinks,
                             [&](const SinkInfo& sink) { return plays_for(stream, sink); });
}

Follow follow(const Snapshot& s, const SinkInfo& device) {
  Follow result{.device = device.name, .identity = device.identity};
  for (const SinkInfo& sink : s.sinks)
    result.beside.push_back(sink.name);
  return result;
}

}  // namespace

const SinkInfo* Snapshot::find(std::string_view name) const {
  const auto it = std::ranges::find(sinks, name, &SinkInfo::name);
  return it == sinks.end() ? nullptr : &*it;
}

bool is_reserved(std::string_view sink_name) {
  return sink_name == kSinkName || sink_name == kOlderSink || sink_name == kSiblingSink;
}

bool has_other_instance(const Snapshot& s) {
  const auto foreign = [&s](const StreamInfo& stream) {
    return stream.ours_by_name && stream.client != s.own_client;
  };
  return std::ranges::any_of(s.playbacks, foreign) || std::ranges::any_of(s.recordings, foreign);
}

bool must_yield(const Snapshot& s) {
  const SinkInfo* ours = s.find(kSinkName);
  if (ours == nullptr) return false;
  return std::ranges::any_of(s.recordings, [&](const StreamInfo& stream) {
    return stream.ours_by_name && stream.device == ours->monitor_index &&
           stream.client < s.own_client;
  });
}

// A stream that plays for a sink is an edge from it to the sink that the stream is on. Filters may
// be chained, and may form a cycle.
bool feeds_our_sink(const Snapshot& s, const SinkInfo& sink) {
  std::vector<const SinkInfo*> reached = {&sink};
  for (std::size_t i = 0; i < reached.size(); ++i) {
    for (const StreamInfo& stream : s.playbacks) {
      if (!plays_for(stream, *reached[i])) continue;
      const auto next = std::ranges::find(s.sinks, stream.device, &SinkInfo::index);
      if (next == s.sinks.end()) continue;
      if (next->name == kSinkName) return true;
      if (std::ranges::find(reached, &*next) == reached.end()) reached.push_back(&*next);
    }
  }
  return false;
}

std::vector<std::uint32_t> streams_of_filter(const Snapshot& s, const std::string& filter) {
  std::vector<std::uint32_t> result;
  const SinkInfo* sink = is_reserved(filter) ? nullptr : s.find(filter);
  const SinkInfo* ours = s.find(kSinkName);
  if (sink == nullptr || ours == nullptr) return result;
  for (const StreamInfo& stream : s.playbacks) {
    if (stream.device == ours->index && plays_for(stream, *sink)) result.push_back(stream.index);
  }
  return result;
}

Default meaning_of_default(const Snapshot& s, const std::string& follow, DefaultHistory* history) {
  const bool vanished = !follow.empty() && s.find(follow) == nullptr;
  if (history->expected && (history->new_connection || vanished)) {
    history->fallback = s.default_sink;
  } else if (s.default_sink != history->fallback) {
    history->fallback.clear();
  }
  return history->fallback.empty() ? Default::kChosen : Default::kFallback;
}

void remember_default(const Snapshot& s, const std::string& follow, DefaultHistory* history) {
  history->expected = s.default_sink == kSinkName || s.default_sink == follow ||
                      s.default_sink == history->fallback;
}

Follow next_follow(const Snapshot& s, const Follow& now, const std::string& restore_hint,
                   Default meaning, Follow::Time time) {
  const auto present = [&s](const std::string& name) { return find_real(s, name); };
  const SinkInfo* by_default = present(s.default_sink);
  if (by_default != nullptr && meaning == Default::kChosen) return follow(s, *by_default);
  if (const SinkInfo* sink = present(now.missed)) return follow(s, *sink);
  if (now.missed.empty()) {
    if (const SinkInfo* sink = present(now.device)) return follow(s, *sink);
  }
  Follow next = now;
  if (!next.lost_at) next.lost_at = time;
  if (!now.identity.empty() && time - *next.lost_at <= kProfileChange) {
    const SinkInfo* same_hardware = find_real_if(s, [&](const SinkInfo& sink) {
      return sink.identity == now.identity &&
             std::ranges::find(now.beside, sink.name) == now.beside.end();
    });
    if (same_hardware != nullptr) return follow(s, *same_hardware);
  }
  if (present(now.device) != nullptr) return next;
  const SinkInfo* substitute = present(restore_hint);
  if (substitute == nullptr) substitute = by_default;
  if (substitute == nullptr) substitute = find_real_if(s, [](const SinkInfo&) { return true; });
  if (substitute == nullptr) return next;
  if (next.missed.empty()) next.missed = now.device;
  next.device = substitute->name;
  return next;
}

std::string choose_target(const Snapshot& s, const std::string& output, const std::string& follow) {
  if (find_real(s, output) != nullptr) return output;
  return find_real(s, follow) != nullptr ? follow : std::string();
}

std::vector<std::uint32_t> streams_to_acquire(const Snapshot& s, const std::string& follow) {
  const auto index_of = [&s](const std::string& name) {
    const SinkInfo* sink = s.find(name);
    return sink == nullptr ? kNoIndex : sink->index;
  };
  const std::uint32_t ours = index_of(kSinkName);
  const std::uint32_t followed = index_of(follow);
  const std::uint32_t by_default =
      s.default_sink == kSiblingSink ? kNoIndex : index_of(s.default_sink);
  std::vector<std::uint32_t> result;
  for (const StreamInfo& stream : s.playbacks) {
    if (stream.client == s.own_client || stream.device == ours || stream.device == kNoIndex ||
        plays_for_a_filter(s, stream)) {
      continue;
    }
    if (stream.device == followed || stream.device == by_default) result.push_back(stream.index);
  }
  return result;
}

std::vector<std::pair<std::uint32_t, std::uint32_t>> streams_elsewhere(const Snapshot& s) {
  std::vector<std::pair<std::uint32_t, std::uint32_t>> result;
  for (const StreamInfo& stream : s.playbacks) {
    if (stream.client == s.own_client || plays_for_a_filter(s, stream)) continue;
    const auto device = std::ranges::find(s.sinks, stream.device, &SinkInfo::index);
    if (device != s.sinks.end() && !is_reserved(device->name))
      result.emplace_back(stream.index, stream.device);
  }
  return result;
}

std::string recognised_by(const Snapshot& s, const SinkInfo& sink) {
  if (sink.identity.empty()) return utf8::one_line("name=" + sink.name, kMaxId);
  std::string id = sink.identity;
  // A headset names its only port after its profile.
  const bool ports = !sink.port.empty() && !sink.identity.starts_with(kBluetooth);
  if (ports) id += ", port=" + sink.port;
  const bool ambiguous = std::ranges::any_of(s.sinks, [&](const SinkInfo& other) {
    return other.name != sink.name && other.identity == sink.identity && other.port == sink.port;
  });
  if (ambiguous) id += ", name=" + sink.name;
  return utf8::one_line(id, kMaxId);
}

bool is_idle(const Snapshot& s, const SinkInfo& sink) {
  return std::ranges::none_of(s.playbacks, [&](const StreamInfo& stream) {
    return stream.client != s.own_client && stream.device == sink.index;
  });
}

bool is_played_to(const Snapshot& s, const SinkInfo& sink) {
  return std::ranges::any_of(s.playbacks, [&](const StreamInfo& stream) {
    return stream.client != s.own_client && stream.device == sink.index && !stream.corked;
  });
}

std::vector<std::uint32_t> streams_to_return(const Snapshot& s) {
  std::vector<std::uint32_t> result;
  const SinkInfo* ours = s.find(kSinkName);
  if (ours == nullptr) return result;
  for (const StreamInfo& stream : s.playbacks) {
    if (stream.client != s.own_client && stream.device == ours->index)
      result.push_back(stream.index);
  }
  return result;
}

}  // namespace audio
