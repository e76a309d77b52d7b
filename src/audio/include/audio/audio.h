// The audio engine: it puts Velmora between all programs and the real output device.
//
// Vocabulary: a *sink* is an output device of the sound server, a *monitor* the source that carries
// what is played to a sink, the *target* the real sink we play to, *routed* a capture that is
// equalized and played.
//
// Lifecycle: hand over the wishes (set_restore_hint, set_output, set_curve, set_active), then
// start(); stop() restores the server as it was found. Wishes may be changed at any time from any
// thread; each is a short store that never waits for the server. Until set_active is called the
// engine wants nothing: it connects and watches, but loads, moves and removes nothing.
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
  std::string name;   // the server's sink name, what settings and command line hold
  std::string label;  // text to show, one line: the description, or the name where that is empty
};

enum State : std::int32_t {
  kConnecting = 0,
  kRunning = 1,
  kNoServer = 2,
  kPassive = 3,  // another copy of the program owns the routing
};

// What the engine is doing, as shown to the user.
struct Status {
  std::int32_t state = kConnecting;
  bool streams_alive = false;  // recording and playback stream are being created or ready
  std::string target;          // sink name of the real device we play to
  std::string target_label;    // its label, empty when it is not in the device list
  bool active = false;         // the equalizer is applied
  std::string follow;          // the real device followed, which gets the streams back
  bool muted = false;          // target muted, or the virtual sink while the streams are alive
  // The user must choose our sink as output in the desktop's settings.
  bool select_output = false;
  bool setup_needed = false;       // always false on this platform
  bool permission_needed = false;  // always false on this platform
  // What the target and its port are recognised by when they come back, under whatever name.
  std::string target_id;

  bool operator==(const Status&) const = default;
};

// Starts the engine; it connects by itself and reconnects whenever the connection is lost.
//   takeover   the engine may change the default device and move other programs' streams
// Returns false when there are no threads to be had: the state is kNoServer then, and whoever asks
// for the status makes it try again every other second.
bool start(bool takeover);

// Restores the server (default device, streams, virtual sink), disconnects and frees everything. A
// server that does not answer holds it up for a few seconds at most; the guard process then
// finishes the work. No-op when not started.
void stop();

// Wishes --------------------------------------------------------------

// Equalizer on or off.
void set_active(bool active);

// Name of the sink to play to; empty follows the server's default device.
void set_output(const std::string& name);

// Sets up what Status::setup_needed or permission_needed asks for. Nothing ever needs it on this
// platform, and it does nothing.
void setup_devices();

// Mutes or unmutes the target, once; the status shows it at once.
void set_mute(bool mute);

// The default device before the program took over, from an earlier run: what to restore when the
// server itself cannot tell.
void set_restore_hint(const std::string& name);

// The curve to apply from the next block on. Several calls between two blocks: the newest counts.
void set_curve(const eq::Curve& curve);

// A curve for each output device. Where a device is played to that has one, that is the curve to
// apply from then on, as by set_curve, and before the first sound reaches the device.
struct DeviceCurve {
  std::string device;  // as Status::target_id
  eq::Curve curve;
};
void set_device_curves(const std::vector<DeviceCurve>& curves);  // instead of all earlier ones
// Changes or adds one: heard at once where that device is played to, as by set_curve.
void set_device_curve(const std::string& device, const eq::Curve& curve);

// Results -------------------------------------------------------------

Status status();
// The same into a status that is kept: allocates only for names longer than any that it has held.
void read_status(Status* status);

// The real output devices in the server's order.
std::vector<Device> devices();

// Copies the newest min(n, 8192) frames, oldest first, into left and right.
//   rate    receives the sample rate in Hz; may be null
//   serial  receives the number of blocks since the start; may be null
// Returns false, and writes no samples, while no audio has ever arrived.
bool tap(float* left, float* right, int n, float* rate, std::uint64_t* serial);

// Largest absolute sample (linear, 1 = full scale) of each channel since the last call.
void take_peaks(float* left, float* right);

}  // namespace audio
