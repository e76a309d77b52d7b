// The routing decisions: pure functions of a snapshot, testable without a server.
#pragma once

#include <pulse/volume.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace audio {

inline constexpr std::uint32_t kNoIndex = 0xFFFFFFFFU;

// Our sink's name; its monitor is what we record.
inline constexpr const char* kSinkName = "velmora";
inline constexpr const char* kMonitorName = "velmora.monitor";
// The virtual sink of a sibling program: streams that play to it stay there.
inline constexpr const char* kSiblingSink = "pellavox";
// The value of "application.name" that marks every connection and stream of this program.
inline constexpr const char* kAppName = "Velmora";

struct SinkInfo {
  std::uint32_t index = kNoIndex;
  std::string name;
  std::string description;
  std::string monitor;  // name of its monitor source
  std::uint32_t monitor_index = kNoIndex;
  std::uint32_t module = kNoIndex;  // module that owns it
  std::string link_group;  // which a filter's sink has in common with its stream; empty for others
  std::string identity;    // the same for every sink of one piece of hardware; may be empty
  std::string port{};      // the active one, such as a headphones' socket; empty where it has none
  std::uint8_t channels = 2;
  bool muted = false;
  // A null sink, which renders seconds ahead while nobody asks for a short latency.
  bool works_ahead = false;
  bool in_cycles = false;    // on PipeWire, see kCycleFrames
  bool flat_volume = false;  // a stream's volume may be the device's
  pa_cvolume volume{};
  bool running = false;  // a program plays to it, even if silence, or recently did
  bool suspended = false;
};

// A playback stream (sink input) or a recording stream (source output).
struct StreamInfo {
  std::uint32_t index = kNoIndex;
  std::uint32_t device = kNoIndex;  // sink or source index
  std::uint32_t client = kNoIndex;
  bool ours_by_name = false;        // "application.name" is kAppName: this copy's or another's
  std::uint32_t module = kNoIndex;  // module that owns it, none for a program's
  std::string link_group{};         // see SinkInfo
  bool corked = false;              // it is paused
};

// The state of the server at one moment.
struct Snapshot {
  std::string default_sink;
  std::vector<SinkInfo> sinks;  // in the server's order
  std::vector<StreamInfo> playbacks;
  std::vector<StreamInfo> recordings;
  std::uint32_t own_client = kNoIndex;
  bool other_instance = false;  // a stream of another copy of this program exists

  const SinkInfo* find(std::string_view name) const;
};

// Names that are never a real output device: ours, the older edition's and the sibling program's.
bool is_reserved(std::string_view sink_name);

// Whether any stream is marked as this program's but belongs to another connection.
bool has_other_instance(const Snapshot& s);

// Whether another copy also records our virtual sink and is the one to keep it: two copies that
// start together may both take it. All copies reach the same answer.
bool must_yield(const Snapshot& s);

// Whether sound played to the sink arrives at ours, directly or through other sinks: a filter sink
// (echo cancelling, virtual surround, ...) plays through a stream of its own. Playing to it would
// feed our own output back.
bool feeds_our_sink(const Snapshot& s, const SinkInfo& sink);

// The streams through which a filter sink plays to our sink.
std::vector<std::uint32_t> streams_of_filter(const Snapshot& s, const std::string& filter);

// The real device that is followed.
struct Follow {
  using Time = std::chrono::steady_clock::time_point;

  std::string device{};  // empty when there is none
  std::string missed{};  // the device followed before it vanished; followed again when it returns
  // The hardware of the followed or the missed device when it was last seen, and the other sinks
  // then.
  std::string identity{};
  std::vector<std::string> beside{};
  std::optional<Time> lost_at{};
};

// Whether the server's default device is what the user wants.
enum class Default {
  kChosen,
  kFallback,  // the server fell back to it, because it restarted or the followed device vanished
};

// The record for telling these two apart.
struct DefaultHistory {
  // No device was followed in it yet; after a fallback, our sink was not yet the default.
  bool new_connection = true;
  bool expected = false;  // our sink or the followed device was the default when last seen
  // The default that the server fell back to, as long as it is the default: becoming the default
  // instead may take several passes.
  std::string fallback{};
};

// `follow` is the device followed before this snapshot. Ask before choosing the next one.
Default meaning_of_default(const Snapshot& s, const std::string& follow, DefaultHistory* history);
// `follow` is the device followed from now on.
void remember_default(const Snapshot& s, const std::string& follow, DefaultHistory* history);

// The next followed device. In this order:
//   the server's default where that is a real device (the user switched);
//   a followed device that has come back; the one followed so far;
//   a new sink of the followed one's hardware, within half a minute: its profile was changed;
//   the hint; a default that the server fell back to; the first real sink.
// Without any real sink nothing changes: the device may come back.
Follow next_follow(const Snapshot& s, const Follow& now, const std::string& restore_hint,
                   Default meaning, Follow::Time time);

// The sink to play to: `output` if it is a present real sink, else the followed one; empty if
// absent.
std::string choose_target(const Snapshot& s, const std::string& output, const std::string& follow);

// Other programs' playback streams to move onto our sink: those on the followed device and those on
// the server's default device, unless that is the sibling's sink. The streams of filter sinks stay
// where they are.
std::vector<std::uint32_t> streams_to_acquire(const Snapshot& s, const std::string& follow);

// Other programs' streams that are on real devices: pairs of stream and device.
std::vector<std::pair<std::uint32_t, std::uint32_t>> streams_elsewhere(const Snapshot& s);

// Identifies a sink and its active port when they come back: by the hardware, and by the sink's
// name only if nothing else distinguishes it. One line.
std::string recognised_by(const Snapshot& s, const SinkInfo& sink);

// Whether the sink plays nothing, our own streams aside.
bool is_idle(const Snapshot& s, const SinkInfo& sink);

// Whether another program plays to the sink, even if only silence.
bool is_played_to(const Snapshot& s, const SinkInfo& sink);

// Playback streams of other programs on our sink.
std::vector<std::uint32_t> streams_to_return(const Snapshot& s);

}  // namespace audio
