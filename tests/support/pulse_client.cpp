// DESIGN: one template does every query. The library delivers a list as calls of a C callback, one
// per item; the callback turns each item into our own record at once, because the library's lives
// only as long as the call.
#include "pulse_client.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
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
  return {i.index, i.sink, property(i.proplist, PA_PROP_APPLICATION_NAME),
          property(i.proplist, PA_PROP_MEDIA_NAME), i.corked != 0};
}

Stream to_item(const pa_source_output_info& i) {
  return {i.index, i.source, property(i.proplist, PA_PROP_APPLICATION_NAME),
          property(i.proplist, PA_PROP_MEDIA_NAME), i.corked != 0};
}

Module to_item(const pa_module_info& i) {
  return {i.index, text(i.name), text(i.argument)};
}

template <class Item>
struct Listing {
  const PulseConnection* connection;
  std::vector<Item> items;
  bool failed = false;
};

template <class Info, class Item>
void on_item(pa_context*, const Info* info, int end, void* data) {
  auto* const listing = static_cast<Listing<Item>*>(data);
  if (end == 0) {
    listing->items.push_back(to_item(*info));
    return;
  }
  listing->failed = end < 0;
  listing->connection->signal();
}

struct Outcome {
  const PulseConnection* connection;
  bool success = false;
  std::uint32_t index = kNoIndex;
};

void on_success(pa_context*, int success, void* data) {
  auto* const outcome = static_cast<Outcome*>(data);
  outcome->success = success != 0;
  outcome->connection->signal();
}

void on_index(pa_context*, std::uint32_t index, void* data) {
  auto* const outcome = static_cast<Outcome*>(data);
  outcome->index = index;
  outcome->success = index != kNoIndex;
  outcome->connection->signal();
}

struct InfoAnswer {
  const PulseConnection* connection;
  std::string default_sink;
};

void on_info(pa_context*, const pa_server_info* info, void* data) {
  auto* const answer = static_cast<InfoAnswer*>(data);
  if (info != nullptr) answer->default_sink = text(info->default_sink_name);
  answer->connection->signal();
}

}  // namespace

PulseClient::PulseClient(const std::string& address, const std::string& application_name)
    : connection_(address, application_name) {}

template <class Item, class Info>
std::vector<Item> PulseClient::list(Query<Info> query) {
  const LoopLock lock = connection_.lock();
  connection_.connect(lock);
  Listing<Item> listing{&connection_, {}, false};
  connection_.finish(lock, query(connection_.context(lock), on_item<Info, Item>, &listing), "list");
  if (listing.failed) throw connection_.error(lock, "list");
  return std::move(listing.items);
}

template <class Request, class... Arguments>
void PulseClient::act(const std::string& what, Request&& request, Arguments... arguments) {
  const LoopLock lock = connection_.lock();
  connection_.connect(lock);
  Outcome outcome{&connection_};
  connection_.finish(lock, request(connection_.context(lock), arguments..., on_success, &outcome),
                     what);
  if (!outcome.success) throw connection_.error(lock, what);
}

std::string PulseClient::default_sink() {
  const LoopLock lock = connection_.lock();
  connection_.connect(lock);
  InfoAnswer answer{&connection_, {}};
  connection_.finish(lock, pa_context_get_server_info(connection_.context(lock), on_info, &answer),
                     "server info");
  return answer.default_sink;
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
  act("default sink " + name, pa_context_set_default_sink, name.c_str());
}

std::uint32_t PulseClient::load_module(const std::string& name, const std::string& arguments) {
  const LoopLock lock = connection_.lock();
  connection_.connect(lock);
  Outcome outcome{&connection_};
  connection_.finish(lock,
                     pa_context_load_module(connection_.context(lock), name.c_str(),
                                            arguments.c_str(), on_index, &outcome),
                     "load " + name);
  if (!outcome.success) throw connection_.error(lock, "load " + name);
  return outcome.index;
}

void PulseClient::unload_module(std::uint32_t index) {
  act("unload module", pa_context_unload_module, index);
}

void PulseClient::set_sink_volume(const std::string& sink, double volume) {
  pa_cvolume channels;
  pa_cvolume_set(&channels, 2, static_cast<pa_volume_t>(std::lround(volume * PA_VOLUME_NORM)));
  act("volume of " + sink, pa_context_set_sink_volume_by_name, sink.c_str(), &channels);
}

void PulseClient::set_sink_mute(const std::string& sink, bool mute) {
  act("mute of " + sink, pa_context_set_sink_mute_by_name, sink.c_str(), mute ? 1 : 0);
}

std::uint32_t PulseClient::add_null_sink(const std::string& name, const std::string& description) {
  // As the devices of a SoundServer.
  std::string arguments =
      "sink_name=" + name + " rate=48000 channels=2 format=float32le norewinds=true";
  if (!description.empty())
    arguments += " sink_properties=\"device.description='" + description + "'\"";
  const std::uint32_t module = load_module("module-null-sink", arguments);
  const auto there =
      wait_until("there is a sink " + name, kAnswerLimit, [&] { return sink(name).has_value(); });
  if (!there) throw std::runtime_error(there.message());
  return module;
}

void PulseClient::remove_sink(const std::string& name) {
  const std::optional<Sink> found = sink(name);
  if (!found || found->owner_module == kNoIndex)
    throw std::runtime_error("no module has a sink " + name);
  unload_module(found->owner_module);
  const auto gone =
      wait_until("there is no sink " + name, kAnswerLimit, [&] { return !sink(name); });
  if (!gone) throw std::runtime_error(gone.message());
}

ServerState capture_state(PulseClient& client) {
  ServerState state;
  const auto add = [&state](const std::string& what, const std::string& where) {
    state.lines.insert(what + ": " + where);
  };
  add("default sink", client.default_sink());
  std::map<std::uint32_t, std::string> sinks;
  std::map<std::uint32_t, std::string> sources;
  for (const Sink& s : client.sinks()) {
    sinks[s.index] = s.name;
    add("sink " + s.name + " (" + s.description + ")",
        "volume " + std::to_string(s.volume) + (s.mute ? ", muted" : ""));
  }
  for (const Source& s : client.sources())
    sources[s.index] = s.name;
  for (const Module& m : client.modules())
    add("module " + m.name, m.argument);
  for (const Stream& s : client.sink_inputs())
    add("playing " + s.application_name + ", " + s.media_name, sinks[s.device]);
  for (const Stream& s : client.source_outputs())
    add("recording " + s.application_name + ", " + s.media_name, sources[s.device]);
  return state;
}

std::string difference(const ServerState& before, const ServerState& after) {
  std::string result;
  const auto add_missing = [&result](const ServerState& from, const ServerState& in,
                                     const char* sign) {
    std::vector<std::string> lines;
    std::set_difference(from.lines.begin(), from.lines.end(), in.lines.begin(), in.lines.end(),
                        std::back_inserter(lines));
    for (const std::string& line : lines)
      result += sign + line + "\n";
  };
  add_missing(before, after, "- ");
  add_missing(after, before, "+ ");
  return result;
}

}  // namespace support
