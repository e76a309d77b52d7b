// The guard: a small child process that puts the sound server back when the program dies without
// doing so.
//
// It shares nothing with the program but a pipe. The program says on it what would have to be
// undone; when the pipe closes without a farewell, the guard undoes it (audio::rescue).
#pragma once

#include <cstdint>
#include <string>

namespace guard {

// Starts the guard process. Call it before any thread exists and before anything worth guarding is
// done. Without a pipe or a process there is no guard; that is not reported. From then on SIGPIPE
// is ignored.
void start();

// Our sink is, or is about to be, in place: on an unexpected end `device` becomes the default
// again. Repeating the last message sends nothing. Thread: any.
void armed(const std::string& device);

// The module that owns our sink, so that the guard never removes another copy's. Thread: any.
void owns_module(std::uint32_t index);

// Nothing is left to undo. Thread: any.
void disarmed();

// Says farewell and closes the pipe; the guard ends without doing anything. Safe to call twice.
void stop();

// Closes the pipe without a farewell: the guard takes over what the program could not finish, for
// instance because the server does not answer. Safe to call at any time.
void abandon();

}  // namespace guard
