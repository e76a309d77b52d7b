// Who is who on the server, and what follows from it: pure decisions on a snapshot, testable
// without a server.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace audio {

inline constexpr std::uint32_t kNoIndex = 0xFFFFFFFFU;

// Our sink's name; its monitor is what we record.
inline constexpr const char* kSinkName = "velmora";
inline constexpr const char* kMonitorName = "velmora.monitor";
// The virtual sink of a sibling program: as a default device it is left alone.
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
  bool muted = false;
  bool works_ahead =
      false;  // a null sink, which runs seconds ahead while nobody asks for a short latency
  bool full_volume = true;   // neither turned down nor up
  std::uint32_t volume = 0;  // of the loudest channel, as the server counts
  bool in_use = false;       // somebody plays to it, be it silence
  bool suspended = false;
};

// A playback stream (sink input) or a recording stream (source output).
struct StreamInfo {
  std::uint32_t index = kNoIndex;
  std::uint32_t device = kNoIndex;  // sink or source index
  std::uint32_t client = kNoIndex;
  bool ours_by_name = false;  // "application.name" is kAppName: this copy's or another's
};

// What the server looks like at one moment.
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

// Whether another copy records the same virtual sink as we do, and is the one to stay: two copies
// that started together may both have taken it. Every copy comes to the same answer.
bool must_yield(const Snapshot& s);

// The real device that is followed.
struct Follow {
  std::string device;  // empty when there is none
  std::string missed;  // the device followed before it vanished; followed again when it returns
};

// The next followed device: the server's default where that is a real device (the user switched),
// else a followed device that has come back, else the one followed so far, else the hint, else the
// first real sink. With no real sink at all nothing changes: the device may come back.
Follow next_follow(const Snapshot& s, const Follow& now, const std::string& restore_hint);

// The sink to play to: `output` where that is a present real sink, else the followed one; empty
// when absent.
std::string choose_target(const Snapshot& s, const std::string& output, const std::string& follow);

// Playback streams of other programs to be moved onto our sink: those on the followed
// device and those on the server's default device, unless that is the sibling's sink.
std::vector<std::uint32_t> streams_to_acquire(const Snapshot& s, const std::string& follow);

// Whether the sink plays nothing, our own streams aside.
bool is_idle(const Snapshot& s, const SinkInfo& sink);

// Playback streams of other programs on our sink.
std::vector<std::uint32_t> streams_to_return(const Snapshot& s);

}  // namespace audio
