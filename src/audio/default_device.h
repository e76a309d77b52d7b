// Reading and changing the server's default device.
//
// Threads: control, with the main-loop lock held.
#pragma once

#include <string>

#include "audio_private.h"

namespace audio {

// Returns whether the server agreed, within `ms`.
bool set_default(const LoopLock&, const std::string& sink, int ms);
// Waits up to a second for the default to change, and returns whether it did. The server may agree
// to a change and make it later, or never.
bool poll_default(const LoopLock&, const std::string& sink);
// Asks over a second connection. Returns whether the default device differs from the one that the
// first connection shows; if so, logs it, and query() and query_default() return the right one.
bool correct_default(const LoopLock&);

}  // namespace audio
