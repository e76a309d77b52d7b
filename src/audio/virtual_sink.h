// Our sink: the null sink that other programs play to. Keeps the module that this run loaded or
// adopted, the only one that it ever unloads, and the level that the user has set.
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
// Whether a requested sink may still appear.
bool load_unanswered();

// Makes the module ours and sends its index to the guard, which never removes another copy's.
void adopt_module(std::uint32_t module);
// Forgets the module; it stays on the server.
void disown_module();

// Loads our sink, or adopts one that an earlier run left behind. On success `s` is a snapshot that
// contains it. Returns false if there is none.
bool ensure_sink(const LoopLock&, Snapshot* s);
// Returns whether the sink is gone.
bool remove_sink(const LoopLock&);

// The level at which a new sink starts. 100 % and not muted at first, and again after
// reset_level().
void set_level(const pa_cvolume& volume, bool muted);
void reset_level();
// Sets that level on a sink that has just been loaded. Returns false if the server refused: the
// next pass tries again.
bool start_at_level(const LoopLock&, const SinkInfo& ours);
// Remembers the level that the user has set.
void remember_level(const Snapshot& s);

// Makes a null sink discard the sound that it has rendered ahead.
void wake_sink(const LoopLock&, const std::string& sink);

}  // namespace audio
