// What a test wants to know of a sound server, and do to it: a control program in the manner of a
// desktop's sound settings. Every call asks the server and waits for the answer.
//
// Failure: calls throw std::runtime_error with the server's error text; so does a server that is
// gone or does not answer within kAnswerLimit. A lost connection is built anew by the next call, so
// that one client serves a test across server restarts. Thread: one at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "pulse_connection.h"

namespace support {

// Index of nothing: a sink without a module, a stream without a client.
constexpr std::uint32_t kNoIndex = PA_INVALID_INDEX;

struct Sink {
  std::uint32_t index = kNoIndex;
  std::string name;
  std::string description;
  std::uint32_t owner_module = kNoIndex;
  double volume = 0;  // 1 = 100 %, mean of the channels
  bool mute = false;
  pa_sink_state_t state = PA_SINK_INVALID_STATE;
  std::string monitor;  // name of the source that carries what is played to the sink
  std::uint32_t rate_hz = 0;
};

struct Source {
  std::uint32_t index = kNoIndex;
  std::string name;
};

// A stream: playback (device = index of a sink) or recording (device = index of a source).
struct Stream {
  std::uint32_t device = kNoIndex;
  std::string application_name;
  std::string media_name;
  bool corked = false;
};

struct Module {
  std::string name;
  std::string argument;
};

// The arguments of a module-null-sink that is as near to a sound card as it can be.
std::string null_sink_arguments(const std::string& name, const std::string& description);

class PulseClient {
 public:
  explicit PulseClient(const std::string& address) : connection_(address, "Test control") {}

  std::string default_sink();
  std::vector<Sink> sinks();
  std::vector<Source> sources();
  std::vector<Stream> sink_inputs();
  std::vector<Stream> source_outputs();
  std::vector<Module> modules();

  std::optional<Sink> sink(const std::string& name);
  // The playback streams of a program, and the name of the sink that a playback stream is on (empty
  // when either is not there).
  std::vector<Stream> sink_inputs_of(const std::string& application_name);
  std::string sink_of(const std::string& application_name);

  void set_default_sink(const std::string& name);
  std::uint32_t load_module(const std::string& name, const std::string& arguments);
  void unload_module(std::uint32_t index);
  void suspend_sink(const std::string& sink);
  void set_sink_volume(const std::string& sink, double volume);  // 1 = 100 %
  void set_sink_mute(const std::string& sink, bool mute);

  // Plugs a stereo device in, and waits until it is listed; returns the index of its module.
  std::uint32_t add_null_sink(const std::string& name, const std::string& description = "");
  // Pulls the device out again (any sink that belongs to a module), and waits until it is gone.
  void remove_sink(const std::string& name);

 private:
  // One of the library's requests for a list.
  template <class Info>
  using Query = pa_operation* (*)(pa_context*, void (*)(pa_context*, const Info*, int, void*),
                                  void*);
  template <class Item, class Info>
  std::vector<Item> list(Query<Info> query);
  // One that is answered with a number, of which one means that it was refused.
  template <class Answer, class Request, class... Arguments>
  Answer ask(const std::string& what, Answer refused, Request&& request, Arguments... arguments);

  PulseConnection connection_;
};

// What a person would notice of a server, and what must be the same after Velmora as before it: a
// line for every device, module, stream and the default.
using ServerState = std::multiset<std::string>;

ServerState capture_state(PulseClient& client);

// The lines in which two states differ, "- " before and "+ " after; empty when they are equal.
std::string difference(const ServerState& before, const ServerState& after);

}  // namespace support
