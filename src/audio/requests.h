// Requests that change something on the server. All wait for the answer and return whether the
// server agreed; a request that is not answered in time counts as refused (see wait_op).
//
// Thread: control.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "audio_private.h"
#include "handover.h"

namespace audio {

inline constexpr int kPolls = 10;  // for promised changes that come a moment later
inline constexpr int kPollMs = 100;

// Streams may end at any time, so a failed move is not an error: the next snapshot shows it.
void move_streams(const LoopLock&, const std::vector<std::uint32_t>& streams, std::uint32_t sink);

bool set_sink_mute(const LoopLock&, const std::string& sink, bool mute);
bool set_sink_volume(const LoopLock&, const std::string& sink, const pa_cvolume& volume);
// Volume and mute of a sink right now; empty if there is no such sink.
std::optional<SinkLevel> query_level(const LoopLock&, const std::string& sink);

// Sets a playback stream to 100 %, unmuted.
void reset_stream_level(const LoopLock&, std::uint32_t stream);

bool suspend_sink(const LoopLock&, const std::string& sink, bool suspended);

// Returns the index of the new module, or kNoIndex. `answered` receives whether the server
// answered; if not, the module may still appear.
std::uint32_t load_module(const LoopLock&, const char* name, const std::string& arguments,
                          bool* answered);
bool unload_module(const LoopLock&, std::uint32_t module);

}  // namespace audio
