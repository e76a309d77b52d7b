// The audio engine: it puts Velmora between all programs and the real output device.
//
// Vocabulary: a *sink* is an output device of the sound server, a *monitor* the source that carries
// what is played to a sink, the *target* the real sink we play to, *routed* a capture that is
// equalized and played.
//
// Lifecycle: set the wishes (set_restore_hint, set_output, set_curve, set_active), then start();
// stop() restores the server to the state in which it was found. Wishes may be changed at any time
// from any thread; each is a short store that never waits for the server. Until set_active is
// called the engine only connects and watches; it loads, moves and removes nothing.
//
// Threads: every function here may be called from any thread, start and stop from one thread only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "dsp/eq_dsp.h"

namespace audio {

// An output device that the user can choose.
struct Device {
  std::string name;   // the server's sink name, as in settings and on the command line
  std::string label;  // one line to show: the description, or the name if that is empty
};

enum State : std::int32_t {
  kConnecting = 0,
  kRunning = 1,
  kNoServer = 2,
  kPassive = 3,  // another copy of the program owns the routing
};

// The engine's state, as shown to the user.
struct Status {
  std::int32_t state = kConnecting;
  bool streams_alive = false;  // both streams are being created or ready
  std::string target;          // sink name of the real device we play to
  std::string target_label;    // its label, empty when it is not in the device list
  bool active = false;         // the equalizer is applied
  std::string follow;          // the real device followed; gets the streams back at the end
  bool muted = false;          // target muted, or our sink while the streams are alive
  // The user must choose our sink as output in the desktop's settings.
  bool select_output = false;
  bool setup_needed = false;       // always false on this platform
  bool permission_needed = false;  // always false on this platform
  // Identifies the target and its port when they come back, whatever their name is then.
  std::string target_id;

  bool operator==(const Status&) const = default;
};

// Starts the engine; it connects by itself and reconnects whenever the connection is lost.
//   takeover   the engine may change the default device and move other programs' streams
// Returns false if no threads can be started. The state is then kNoServer, and calls of status() or
// read_status() make it try again every two seconds.
bool start(bool takeover);

// Restores the server (default device, streams, virtual sink), disconnects and frees everything. If
// the server does not answer, stop() gives up after a few seconds and leaves the rest to the guard
// process. No-op when not started.
void stop();

// Wishes --------------------------------------------------------------

// Equalizer on or off.
void set_active(bool active);

// Name of the sink to play to; empty follows the server's default device.
void set_output(const std::string& name);

// Does nothing on this platform, where Status::setup_needed and permission_needed are always false.
void setup_devices();

// Mutes or unmutes the target, once; the status shows it at once.
void set_mute(bool mute);

// The default device of an earlier run, before the program took over: restored if the server itself
// cannot say which it was.
void set_restore_hint(const std::string& name);

// The curve to apply from the next block on; the last call before a block counts.
void set_curve(const eq::Curve& curve);

// A curve for an output device. When playback moves to a device that has one, that curve applies as
// if by set_curve, before the first sound reaches the device.
struct DeviceCurve {
  std::string device;  // as Status::target_id
  eq::Curve curve;
};
void set_device_curves(const std::vector<DeviceCurve>& curves);  // replaces all earlier ones
// Changes or adds one. If that device is being played to, it applies at once, as by set_curve.
void set_device_curve(const std::string& device, const eq::Curve& curve);

// Results -------------------------------------------------------------

Status status();
// The same into an existing record: allocates only for names longer than any it has held.
void read_status(Status* status);

// The real output devices in the server's order.
std::vector<Device> devices();

// Copies the newest min(n, 8192) frames, oldest first, into left and right.
//   rate    receives the sample rate in Hz; may be null
//   serial  receives the number of blocks since the start; may be null
// Returns false, and writes no samples, until audio has arrived for the first time.
bool tap(float* left, float* right, int n, float* rate, std::uint64_t* serial);

// Largest absolute sample (linear, 1 = full scale) of each channel since the last call; resets
// them.
void take_peaks(float* left, float* right);

}  // namespace audio
