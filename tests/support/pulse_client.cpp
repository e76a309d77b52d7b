// DESIGN: the library delivers a list as calls of a C callback, one per item; the callback turns
// each item into our own record at once, because the library's lives only as long as the call.
#include "pulse_client.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <mutex>
#include <stdexcept>

#include "wait_until.h"

namespace support {
namespace {

std::string text(const char* value) {
  return value != nullptr ? value : "";
}

std::string property(const pa_proplist* list, const char* key) {
  return text(pa_proplist_gets(list, key));
}

double mean(const pa_cvolume& volume) {
  return static_cast<double>(pa_cvolume_avg(&volume)) / PA_VOLUME_NORM;
}

Sink to_item(const pa_sink_info& i) {
  return {i.index,     text(i.name), text(i.description),         i.owner_module,    mean(i.volume),
          i.mute != 0, i.state,      text(i.monitor_source_name), i.sample_spec.rate};
}

Source to_item(const pa_source_info& i) {
  return {i.index, text(i.name)};
}

Stream to_item(const pa_sink_input_info& i) {
  return {i.sink, property(i.proplist, PA_PROP_APPLICATION_NAME),
          property(i.proplist, PA_PROP_MEDIA_NAME), i.corked != 0};
}

Stream to_item(const pa_source_output_info& i) {
  return {i.source, property(i.proplist, PA_PROP_APPLICATION_NAME),
          property(i.proplist, PA_PROP_MEDIA_NAME), i.corked != 0};
}

Module to_item(const pa_module_info& i) {
  return {text(i.name), text(i.argument)};
}

}  // namespace

template <class Item, class Info>
std::vector<Item> PulseClient::list(Query<Info> query) {
  struct Listing {
    std::vector<Item> items;
    bool failed = false;
  } listing;
  const auto on_item = [](pa_context*, const Info* info, int end, void* data) {
    auto* const taken = static_cast<Listing*>(data);
    if (end == 0) taken->items.push_back(to_item(*info));
    taken->failed = end < 0;
  };
  const std::lock_guard lock(connection_);
  connection_.finish(query(connection_.context(), on_item, &listing), "list");
  if (listing.failed) throw connection_.error("list");
  return std::move(listing.items);
}

template <class Answer, class Request, class... Arguments>
Answer PulseClient::ask(const std::string& what, Answer refused, Request&& request,
                        Arguments... arguments) {
  Answer answer = refused;
  const auto on_answer = [](pa_context*, Answer given, void* data) {
    *static_cast<Answer*>(data) = given;
  };
  const std::lock_guard lock(connection_);
  connection_.finish(request(connection_.context(), arguments..., on_answer, &answer), what);
  if (answer == refused) throw connection_.error(what);
  return answer;
}

std::string PulseClient::default_sink() {
  std::string name;
  const auto on_info = [](pa_context*, const pa_server_info* info, void* data) {
    if (info != nullptr) *static_cast<std::string*>(data) = text(info->default_sink_name);
  };
  const std::lock_guard lock(connection_);
  connection_.finish(pa_context_get_server_info(connection_.context(), on_info, &name),
                     "server info");
  return name;
}

std::vector<Sink> PulseClient::sinks() {
  return list<Sink>(pa_context_get_sink_info_list);
}

std::vector<Source> PulseClient::sources() {
  return list<Source>(pa_context_get_source_info_list);
}

std::vector<Stream> PulseClient::sink_inputs() {
  return list<Stream>(pa_context_get_sink_input_info_list);
}

std::vector<Stream> PulseClient::source_outputs() {
  return list<Stream>(pa_context_get_source_output_info_list);
}

std::vector<Module> PulseClient::modules() {
  return list<Module>(pa_context_get_module_info_list);
}

std::optional<Sink> PulseClient::sink(const std::string& name) {
  for (Sink& candidate : sinks()) {
    if (candidate.name == name) return std::move(candidate);
  }
  return std::nullopt;
}

std::vector<Stream> PulseClient::sink_inputs_of(const std::string& application_name) {
  std::vector<Stream> result = sink_inputs();
  std::erase_if(result, [&](const Stream& s) { return s.application_name != application_name; });
  return result;
}

std::string PulseClient::sink_of(const std::string& application_name) {
  const std::vector<Stream> streams = sink_inputs_of(application_name);
  if (streams.empty()) return "";
  for (const Sink& candidate : sinks()) {
    if (candidate.index == streams.front().device) return candidate.name;
  }
  return "";
}

void PulseClient::set_default_sink(const std::string& name) {
  ask("default sink " + name, 0, pa_context_set_default_sink, name.c_str());
}

std::uint32_t PulseClient::load_module(const std::string& name, const std::string& arguments) {
  return ask("load " + name, kNoIndex, pa_context_load_module, name.c_str(), arguments.c_str());
}

void PulseClient::unload_module(std::uint32_t index) {
  ask("unload module", 0, pa_context_unload_module, index);
}

void PulseClient::suspend_sink(const std::string& sink) {
  ask("suspend " + sink, 0, pa_context_suspend_sink_by_name, sink.c_str(), 1);
}

void PulseClient::set_sink_volume(const std::string& sink, double volume) {
  pa_cvolume channels;
  pa_cvolume_set(&channels, 2, static_cast<pa_volume_t>(std::lround(volume * PA_VOLUME_NORM)));
  ask("volume of " + sink, 0, pa_context_set_sink_volume_by_name, sink.c_str(), &channels);
}

void PulseClient::set_sink_mute(const std::string& sink, bool mute) {
  ask("mute of " + sink, 0, pa_context_set_sink_mute_by_name, sink.c_str(), mute ? 1 : 0);
}

std::string null_sink_arguments(const std::string& name, const std::string& description) {
  // Float, so that a level measured on the monitor is the level that was played. Without rewinds,
  // because an idle null sink otherwise runs 2 s ahead and takes a new stream's samples only when
  // that time has passed; a sound card takes them within its buffer, and so does this within 50 ms.
  const std::string arguments =
      "sink_name=" + name + " rate=48000 channels=2 format=float32le norewinds=true";
  if (description.empty()) return arguments;
  return arguments + " sink_properties=\"device.description='" + description + "'\"";
}

std::uint32_t PulseClient::add_null_sink(const std::string& name, const std::string& description) {
  const std::uint32_t module =
      load_module("module-null-sink", null_sink_arguments(name, description));
  require(
      wait_until("there is a sink " + name, kAnswerLimit, [&] { return sink(name).has_value(); }));
  return module;
}

void PulseClient::remove_sink(const std::string& name) {
  const std::optional<Sink> found = sink(name);
  if (!found || found->owner_module == kNoIndex)
    throw std::runtime_error("no module has a sink " + name);
  unload_module(found->owner_module);
  require(wait_until("there is no sink " + name, kAnswerLimit, [&] { return !sink(name); }));
}

ServerState capture_state(PulseClient& client) {
  ServerState state{"default sink: " + client.default_sink()};
  std::map<std::uint32_t, std::string> devices;
  const auto add_streams = [&](const std::string& what, const std::vector<Stream>& streams) {
    for (const Stream& s : streams)
      state.insert(what + " " + s.application_name + ", " + s.media_name + ": " +
                   devices[s.device]);
  };
  for (const Sink& s : client.sinks()) {
    devices[s.index] = s.name;
    state.insert("sink " + s.name + " (" + s.description + "): volume " + std::to_string(s.volume) +
                 (s.mute ? ", muted" : ""));
  }
  add_streams("playing", client.sink_inputs());
  devices.clear();
  for (const Source& s : client.sources())
    devices[s.index] = s.name;
  add_streams("recording", client.source_outputs());
  for (const Module& m : client.modules())
    state.insert("module " + m.name + ": " + m.argument);
  return state;
}

std::string difference(const ServerState& before, const ServerState& after) {
  std::string result;
  const auto add_missing = [&result](const ServerState& from, const ServerState& in,
                                     const char* sign) {
    std::vector<std::string> lines;
    std::ranges::set_difference(from, in, std::back_inserter(lines));
    for (const std::string& line : lines)
      result += sign + line + "\n";
  };
  add_missing(before, after, "- ");
  add_missing(after, before, "+ ");
  return result;
}

}  // namespace support
