// DESIGN: everything is matched by name in a fresh snapshot and only then turned into an index,
// because indices are reused (PipeWire) or gone (a device unplugged in between).

#include "routing_rules.h"

#include <algorithm>

namespace audio {

namespace {

constexpr const char* kOlderSink = "tarsel";

const SinkInfo* find_real(const Snapshot& s, const std::string& name) {
  return is_reserved(name) ? nullptr : s.find(name);
}

const SinkInfo* first_real(const Snapshot& s) {
  const auto it =
      std::ranges::find_if(s.sinks, [](const SinkInfo& k) { return !is_reserved(k.name); });
  return it == s.sinks.end() ? nullptr : &*it;
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

Follow next_follow(const Snapshot& s, const Follow& now, const std::string& restore_hint) {
  if (find_real(s, s.default_sink) != nullptr) return {s.default_sink, {}};
  if (!now.missed.empty() && find_real(s, now.missed) != nullptr) return {now.missed, {}};
  if (find_real(s, now.device) != nullptr) return now;

  const SinkInfo* substitute = find_real(s, restore_hint);
  if (substitute == nullptr) substitute = first_real(s);
  if (substitute == nullptr) return now;
  return {substitute->name, now.missed.empty() ? now.device : now.missed};
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
    if (stream.client == s.own_client || stream.device == ours || stream.device == kNoIndex)
      continue;
    if (stream.device == followed || stream.device == by_default) result.push_back(stream.index);
  }
  return result;
}

bool is_idle(const Snapshot& s, const SinkInfo& sink) {
  return std::ranges::none_of(s.playbacks, [&](const StreamInfo& stream) {
    return stream.client != s.own_client && stream.device == sink.index;
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
