// The server's default device: what it is, and asking for another.
//
// Threads: control, with the main-loop lock held.
#pragma once

#include <string>

#include "audio_private.h"

namespace audio {

// Returns whether the server agreed, within `ms`.
bool set_default(const LoopLock&, const std::string& sink, int ms);
// The server may agree and change the default later, or never. Waits for it, for a second at most,
// and returns whether it did.
bool poll_default(const LoopLock&, const std::string& sink);
// Asks over a second connection. Returns whether the default device is another than the first one
// shows; from then on query() and query_default() return the right one. Logged.
bool correct_default(const LoopLock&);

}  // namespace audio
