// Our sink: the null sink that other programs play to. Knows the module that this run loaded or
// adopted, which is the only one it ever unloads, and the level to which the user has turned it.
//
// Thread: control.
#pragma once

#include <cstdint>
#include <string>

#include "audio_private.h"
#include "handover.h"

namespace audio {

// Whether this run has a module, and whether the snapshot's sink of our name is its.
bool has_module();
bool owns_sink(const Snapshot& s);
// Whether a sink was asked for and may yet appear.
bool load_unanswered();

// Makes the module ours and sends its index to the guard, which never removes another copy's.
void adopt_module(std::uint32_t module);
// The module is not ours any more; what is on the server stays.
void disown_module();

// Loads our sink, or adopts one that an earlier run left behind. `s` is a snapshot with the sink
// in it afterwards. Returns false when there is none.
bool ensure_sink(const LoopLock&, Snapshot* s);
// Returns whether the sink is gone.
bool remove_sink(const LoopLock&);

// The level at which a new sink starts. 100 % and not muted at first, and again after
// reset_level().
void set_level(const pa_cvolume& volume, bool muted);
void reset_level();
// Corrects a sink that has just been loaded. Returns false where the server would not: another pass
// has to try again.
bool start_at_level(const LoopLock&, const SinkInfo& ours);
// Remembers what the user has turned the sink to.
void remember_level(const Snapshot& s);

// Makes a null sink forget what it has worked ahead.
void wake_sink(const LoopLock&, const std::string& sink);

}  // namespace audio
