// Inside the audio engine. Only the sources of this folder include this.
//
// clang-format off
//   engine.cpp           wishes, status, the control thread and its loop, start and stop
//   connection.cpp       the main loop and the connection; waiting for answers, within a limit
//   snapshot.cpp         reads the server, publishes status and device list
//   default_device.cpp   reading and changing it
//   requests.cpp         the other requests that change the server
//   routing.cpp          the default device, others' streams: reconcile and teardown
//   routing_rules.cpp    the decisions behind it, pure
//   virtual_sink.cpp     our sink: loaded, adopted, removed, its level
//   handover.cpp         volumes handed over to the real device and taken back: the rule, the file
//   server_stream.cpp    one stream on the server, of either kind
//   record_stream.cpp    the audio path: recording,
//   stream_path.cpp        processing,
//   device_curves.cpp        with the curve of the current device,
//   play_stream.cpp        and playing
//   equalizer.cpp        curve, crossfade and silence, pure
//   tap.cpp              newest samples and peaks for the display
//   fade.cpp             fade-in and fade-out, pure
//   play_queue.cpp       the queue in the playback stream, pure; made of
//   queue_meter.cpp        the measurement of its length,
//   cushion.cpp            the rule that keeps it at its target,
//   drift.cpp              the rule for the playing speed,
//   resampler.cpp          and the resampler that does it
//   dry_moment.cpp       why the queue ran dry, pure
//   hardware_log.cpp     the description of the server for log and crash report
//   guard_linux.cpp      the guard process
//   guard_protocol.cpp   the messages to it
//   rescue.cpp           its work when the program has died
// clang-format on
//
// Threads: the *loop thread* ("Velq-audio") belongs to the sound library and runs every callback;
// the *control thread* ("Velq-control") makes all requests but those about a stream's pace;
// *callers* are any other threads.
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

// The callers' wishes, as of one pass of the control loop.
struct Wishes {
  std::optional<bool> active;  // equalizer on or off; not set: only watch
  std::string output;
  std::string restore_hint;
  int mute = -1;  // 0 or 1: apply once
  bool takeover = false;
};

// engine.cpp ----------------------------------------------------------

// Requests a pass because something has changed. Any thread.
void mark_dirty();

// The time after which nothing is waited for any more; never, until stop() is called. Any thread.
Clock::time_point patience_ends();

// Publishes a state in which none of our streams is alive; the rest of the status stays. Any
// thread.
void publish_state(State state);

// Publishes the followed device as soon as it is known, so that it is remembered even if the server
// ends in the middle of the pass. Control thread.
void publish_follow(const std::string& device);

// Publishes a new device list and the status fields that follow from a snapshot. Control thread.
void publish_status(const Status& status, std::vector<Device> devices);

// connection.cpp ------------------------------------------------------

bool loop_start();                     // creates and starts the loop thread
void loop_stop();                      // ends it and frees everything; no LoopLock may be held
bool connection_lost();                // the server went away; any thread
pa_context* context(const LoopLock&);  // null while not connected
pa_mainloop_api* loop_api(const LoopLock&);
bool connect_locked(const LoopLock&);  // returns whether the connection is ready
void disconnect_locked(const LoopLock&);

// A second connection, for one question. `context` is null if there is none within a second.
struct SecondConnection {
  explicit SecondConnection(const LoopLock&);
  ~SecondConnection();
  SecondConnection(const SecondConnection&) = delete;
  SecondConnection& operator=(const SecondConnection&) = delete;
  pa_context* context;
};

// Starts a new pass of the control loop, in which requests may be waited for again. See wait_op.
void begin_pass(const LoopLock&);
// Whether a request of this pass was dropped because the server did not answer.
bool server_silent(const LoopLock&);

// Waits until `op` has ended, for `ms` at most. Returns false on time-out or a broken connection.
bool wait_for(const LoopLock&, pa_operation* op, int ms);
// The same with kRequestMs, or `ms`; a request that is not answered in time is cancelled and
// logged, once until the server answers again, and every later one of the same pass is dropped
// immediately. Always releases `op`; a null `op` counts as failed. Returns whether the answer
// arrived.
bool wait_op(const LoopLock&, pa_operation* op, int ms = kRequestMs);
// Waits until `stream` has been created or has failed; the next pass then tries again.
bool wait_stream_ready(const LoopLock&, pa_stream* stream);
// Releases the lock for `ms`, or until the connection breaks.
void pause_unlocked(const LoopLock&, int ms);
// Releases the lock until a callback sets `flag` and calls signal_loop, for `ms` at most. Returns
// the flag.
bool wait_flag(const LoopLock&, const bool& flag, int ms);

// Wakes the thread that waits in one of the functions above. Called by callbacks, on the loop
// thread.
void signal_loop();
// The result of on_success: whether the server agreed.
void on_success(pa_context* c, int success, void* user);
void on_stream_state(pa_stream* s, void* user);
std::string error_text(const LoopLock&);
// Whether the last request failed for lack of permission.
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

// Reads the state of the server; empty if any reply is missing, so that no decision is based on
// half a picture.
std::optional<Snapshot> query(const LoopLock&);
void publish(const Snapshot& s, const std::string& target, const std::string& follow, bool active,
             bool streams_alive, bool select_output);

// default_device.cpp --------------------------------------------------

// The server's default sink right now; nothing when it did not answer.
std::optional<std::string> query_default(const LoopLock&);

// routing.cpp ---------------------------------------------------------

// Brings the server into the wanted state, and clears the mute wish once the server has taken it.
// Returns false if another try is worthwhile.
bool reconcile(const LoopLock&, Wishes* wishes);
// Restores the server to the state in which it was found. Returns false if that could not be
// completed.
bool restore_server(const LoopLock&, bool takeover);
// Suggests a device to follow before the server has been read; ignored once there is one.
void suggest_follow(const std::string& restore_hint);
// Starts a new connection: this server may allow what the last one refused, and its default device
// may be its own choice.
void begin_connection();

// virtual_sink.cpp ----------------------------------------------------

// Forgets the module, which died with its server or was removed by someone else.
void forget_module();

// record_stream.cpp ---------------------------------------------------

// Records the monitor of a sink, to be equalized and played if `routed`, else for the display.
// Replaces an earlier record stream. Returns false on failure, which is logged once.
bool open_record(const LoopLock&, const SinkInfo& monitored, bool routed);
void close_record(const LoopLock&);
// Whether the record stream is ready on this sink's monitor, in this role. A routed one must also
// deliver data, if only silence; waits for that, half a second at most.
bool record_alive(const LoopLock&, const SinkInfo& monitored, bool routed);
// Whether the stream has delivered nothing for a while, for which there is no event.
bool record_missed(const LoopLock&);
// Whether it is being created or ready, on whatever device.
bool record_good(const LoopLock&);
// Whether it delivers sound (or silence); waits for the first data, `ms` at most.
bool record_delivers(const LoopLock&, int ms);
// Some program's stream has come or changed, so sound may follow immediately. Loop thread, or with
// the main-loop lock held.
void expect_sound();
// Pauses a capture for the display while it is silent and nobody plays to the device: on some
// servers any capture keeps the device from being suspended.
void rest_spectrum(const LoopLock&, bool device_running, bool played_to);

// play_stream.cpp -----------------------------------------------------

// Plays to a sink. Replaces an earlier playback stream. Returns false on failure, which is logged
// once.
bool open_play(const LoopLock&, const SinkInfo& sink);
void close_play(const LoopLock&);
// Whether the playback stream is ready on this sink, not on an earlier one of the same name.
bool play_alive(const LoopLock&, const SinkInfo& sink);
// Whether both streams are being created or ready.
bool streams_alive(const LoopLock&);
// Fades out the playback. Returns when the last of it has left the stream, or if that cannot be
// waited for. The stream then stays silent until it is opened again.
void fade_play_out(const LoopLock&);

// stream_path.cpp -----------------------------------------------------

// Log the dropped sound, the underruns and the inserted silence: since the last call, and in total.
void report_stats();
void report_totals();
// Logs the last dry moment with its cause, at most one a minute. Call it every few seconds.
void report_dry_moment(Clock::time_point now);

// device_curves.cpp ---------------------------------------------------

// Applies the curve of `device` (a Status::target_id), if it has one. Called before playing to it.
// Control thread.
void use_curve_of(const std::string& device);

// hardware_log.cpp ----------------------------------------------------

void log_hardware(const LoopLock&);

}  // namespace audio
