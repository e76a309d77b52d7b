// Inside the audio engine. Only the sources of this folder include this.
//
// clang-format off
//   engine.cpp           wishes, status, the control thread and its loop, start and stop
//   connection.cpp       the main loop and the connection; waiting for answers, within a limit
//   snapshot.cpp         reads the server, publishes status and device list
//   default_device.cpp   which one it is, and asking for another
//   requests.cpp         what else is changed on the server, request by request
//   routing.cpp          the default device, others' streams: reconcile and teardown
//   routing_rules.cpp    the decisions behind it, pure
//   virtual_sink.cpp     our sink: loaded, adopted, removed, its level
//   handover.cpp         volumes handed over to the real device and taken back: the rule, the file
//   server_stream.cpp    one stream on the server, of either kind
//   record_stream.cpp    the audio path: what is recorded,
//   stream_path.cpp        what becomes of it,
//   device_curves.cpp        with the curve of the device that is played to,
//   play_stream.cpp        and what is played
//   equalizer.cpp        curve, crossfade and silence, pure
//   tap.cpp              newest samples and peaks for the display
//   fade.cpp             fade-in and fade-out, pure
//   play_queue.cpp       what waits in the playback stream, pure; made of
//   queue_meter.cpp        how much it is,
//   cushion.cpp            how much it should be,
//   drift.cpp              how fast it is played,
//   resampler.cpp          and the resampler that does it
//   dry_moment.cpp       why the queue ran dry, pure
//   hardware_log.cpp     the description of the server for log and crash report
//   guard_linux.cpp      the guard process
//   guard_protocol.cpp   what the program sends to it
//   rescue.cpp           what it does when the program has died
// clang-format on
//
// Threads: the *loop thread* belongs to the sound library ("Velq-audio") and runs every callback;
// the *control thread* ("Velq-control") makes every request; *callers* are any other threads.
//
// Locks: the main-loop lock (LoopLock) covers everything that belongs to the sound library;
// callbacks run with it held. The engine mutex covers wishes and status and is held for a copy
// only; it may be taken with the main-loop lock held, never the other way round. A function that
// takes `const LoopLock&` needs the lock held and may release it while it waits.
#pragma once

#include <pulse/pulseaudio.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "audio/audio.h"
#include "routing_rules.h"

namespace audio {

using Clock = std::chrono::steady_clock;

inline constexpr std::uint32_t kRate = 48000;
inline constexpr std::uint8_t kChannels = 2;
inline constexpr int kRequestMs = 5000;  // one request to the server
inline constexpr int kStreamMs = 3000;   // a stream to become ready

// Takes the main-loop lock for a scope. Control thread and stop().
struct LoopLock {
  LoopLock();
  ~LoopLock();
  LoopLock(const LoopLock&) = delete;
  LoopLock& operator=(const LoopLock&) = delete;
};

// What the callers want, as of one pass of the control loop.
struct Wishes {
  std::optional<bool> active;  // equalizer on or off; not yet set: only watch
  std::string output;
  std::string restore_hint;
  int mute = -1;  // 0 or 1: apply once
  bool takeover = false;
};

// engine.cpp ----------------------------------------------------------

// Something changed: reconcile soon. Any thread.
void mark_dirty();

// The time after which nothing is waited for any more: far away until stop() is called. Any thread.
Clock::time_point patience_ends();

// Publishes a state in which none of our streams is alive; the rest of the status stays. Any
// thread.
void publish_state(State state);

// Publishes the followed device as soon as it is known: should the server end in the middle of the
// pass, it is still the one to come back to. Control thread.
void publish_follow(const std::string& device);

// Publishes a new device list together with the status fields that a snapshot decides. Control
// thread.
void publish_status(const Status& status, std::vector<Device> devices);

// connection.cpp ------------------------------------------------------

bool loop_start();                     // creates and starts the loop thread
void loop_stop();                      // ends it and frees everything; no LoopLock may be held
bool connection_lost();                // the server went away; any thread
pa_context* context(const LoopLock&);  // null while not connected
pa_mainloop_api* loop_api(const LoopLock&);
bool connect_locked(const LoopLock&);  // returns whether the connection is ready
void disconnect_locked(const LoopLock&);

// A connection besides, for a question. `context` is null where there is none within a second.
struct SecondConnection {
  explicit SecondConnection(const LoopLock&);
  ~SecondConnection();
  SecondConnection(const SecondConnection&) = delete;
  SecondConnection& operator=(const SecondConnection&) = delete;
  pa_context* context;
};

// A new pass of the control loop: requests may be waited for again. See wait_op.
void begin_pass(const LoopLock&);
// Whether a request of this pass was dropped because the server did not answer.
bool server_silent(const LoopLock&);

// Waits until `op` has ended, for `ms` at most. Returns false on time-out and when the connection
// broke.
bool wait_for(const LoopLock&, pa_operation* op, int ms);
// The same with kRequestMs, or `ms`; a request that is not answered in time is cancelled and
// logged, once until the server answers again, and every later one of the same pass is dropped
// immediately. Always releases `op`; a null `op` counts as failed. Returns whether the answer
// arrived.
bool wait_op(const LoopLock&, pa_operation* op, int ms = kRequestMs);
// Waits while `stream` is being created. On failure the next pass tries again.
bool wait_stream_ready(const LoopLock&, pa_stream* stream);
// Releases the lock for `ms`, less when the connection breaks.
void pause_unlocked(const LoopLock&, int ms);
// Releases the lock until `flag` is set, by a callback that then calls signal_loop, for `ms` at
// most. Returns the flag.
bool wait_flag(const LoopLock&, const bool& flag, int ms);

// Wakes whoever waits in one of the functions above. For callbacks: loop thread.
void signal_loop();
// The user data of on_success: whether the server agreed.
void on_success(pa_context* c, int success, void* user);
void on_stream_state(pa_stream* s, void* user);
std::string error_text(const LoopLock&);
// Whether the last request failed because this program may not make it.
bool access_denied(const LoopLock&);

// The properties that mark our connection and streams. The caller frees the list (Proplist does).
struct Proplist {
  explicit Proplist(const char* media_name);
  ~Proplist();
  Proplist(const Proplist&) = delete;
  Proplist& operator=(const Proplist&) = delete;
  pa_proplist* list;
};

// snapshot.cpp --------------------------------------------------------

// Reads the server. Nothing when it did not answer completely: no decision is based on half a
// picture.
std::optional<Snapshot> query(const LoopLock&);
void publish(const Snapshot& s, const std::string& target, const std::string& follow, bool active,
             bool streams_alive, bool select_output);

// default_device.cpp --------------------------------------------------

// The server's default sink right now; nothing when it did not answer.
std::optional<std::string> query_default(const LoopLock&);

// routing.cpp ---------------------------------------------------------

// Brings the server into the wanted state. Returns false when something failed and is worth another
// try.
bool reconcile(const LoopLock&, const Wishes& wishes);
// Leaves the server as it was found. Returns false when that could not be completed.
bool restore_server(const LoopLock&, bool takeover);
// A device to follow before the server has been read. Ignored once there is one.
void suggest_follow(const std::string& restore_hint);
// A new connection: what the last server refused, this one may allow, and its default device may be
// its own choice.
void begin_connection();

// virtual_sink.cpp ----------------------------------------------------

// The module died with its server, or somebody else removed it.
void forget_module();

// record_stream.cpp ---------------------------------------------------

// Records the monitor of a sink: to be equalized and played when `routed`, else for the display.
// Replaces an earlier record stream. On failure it is logged once and false returned.
bool open_record(const LoopLock&, const SinkInfo& monitored, bool routed);
void close_record(const LoopLock&);
// Whether the record stream is ready on that very sink's monitor, in that role. A routed one must
// also deliver data, be it silence; waits for that, half a second at most.
bool record_alive(const LoopLock&, const SinkInfo& monitored, bool routed);
// Whether the stream has brought nothing for a while. There is no event for it.
bool record_missed(const LoopLock&);
// Whether it is being created or ready, wherever.
bool record_good(const LoopLock&);
// Whether it brings sound (or silence); waits for the first of it, for `ms` at most.
bool record_delivers(const LoopLock&, int ms);
// A stream of some program came or changed: sound may follow immediately. Loop thread, or with the
// main-loop lock held.
void expect_sound();
// A capture for the display rests while there is nothing to be seen and nobody plays to the device:
// on some servers any capture keeps the device from being suspended.
void rest_spectrum(const LoopLock&, bool device_running, bool played_to);

// play_stream.cpp -----------------------------------------------------

// Plays to a sink. Replaces an earlier playback stream. On failure it is logged once and false
// returned.
bool open_play(const LoopLock&, const SinkInfo& sink);
void close_play(const LoopLock&);
// Whether the playback stream is ready on that very sink, not on an earlier one of that name.
bool play_alive(const LoopLock&, const SinkInfo& sink);
// Whether both streams are being created or ready.
bool streams_alive(const LoopLock&);
// Fades out what is played; returns when the last of it has left the playback stream, which stays
// silent until it is opened again, or when nothing can be done for it.
void fade_play_out(const LoopLock&);

// stream_path.cpp -----------------------------------------------------

// Logs what was recorded and not played, how often the queue ran dry, and what silence was
// inserted: since the last call, and in all.
void report_stats();
void report_totals();
// Logs the last dry moment with its cause, at most one a minute. To be called every few seconds.
void report_dry_moment(Clock::time_point now);

// device_curves.cpp ---------------------------------------------------

// The engine is about to play to `device` (as Status::target_id): its curve is applied, where
// it has one. Control thread.
void use_curve_of(const std::string& device);

// hardware_log.cpp ----------------------------------------------------

void log_hardware(const LoopLock&);

}  // namespace audio
