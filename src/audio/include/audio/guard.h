// The guard: a small child process that restores the sound server when the program dies without
// doing so.
//
// It shares nothing with the program but a pipe. The program keeps it informed of what would have
// to be undone; when the pipe closes without the quit message, the guard undoes that
// (audio::rescue).
#pragma once

#include <cstdint>
#include <string>

namespace guard {

// None of these functions waits for the guard to read its messages.
//
// Starts the guard process. Call it before any thread exists and before anything on the server is
// changed. If no pipe or process can be created there is no guard, which is not reported. SIGPIPE
// is ignored from then on.
void start();

// Replaces a guard that was killed alone, or that has read nothing for two seconds. Call it every
// few seconds. Thread: any.
void tick();

// is_guard: whether this process was started as such a replacement; main asks before anything else.
// run: the guard itself; `program` is the second argument.
bool is_guard(int argc, char** argv);
[[noreturn]] void run(const char* program);

// Our sink is, or is about to be, in place: after an unexpected end `device` shall be the default
// again. Repeating the last message sends nothing. Thread: any.
void armed(const std::string& device);

// The module that owns our sink, so that the guard never removes another copy's. Thread: any.
void owns_module(std::uint32_t index);

// Whether the program took over the default device and the streams: only then is our sink's volume
// handed over to the real device. Thread: any.
void takeover(bool taken);

// Nothing is left to undo. Thread: any.
void disarmed();

// Sends the quit message and closes the pipe; the guard ends without doing anything. Safe to call
// twice.
void stop();

// Closes the pipe without the quit message, so that the guard finishes the work, for instance
// because the server does not answer. Safe to call at any time.
void abandon();

}  // namespace guard
