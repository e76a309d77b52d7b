// Our sink's volume is handed over to the real device when the sink is removed, so that the same
// sound does not suddenly get louder. It is remembered until our sink comes back, in this run or a
// later one, and then taken back; otherwise the device would get quieter with every run, and the
// volume keys could never turn it up again.
//
// It is stored in a small file in the configuration directory. If that cannot be written or read,
// our sink starts at full volume. No state, no locks; one thread, of the program or of its guard.
#pragma once

#include <pulse/channelmap.h>
#include <pulse/volume.h>

#include <cstdint>
#include <optional>
#include <string>

namespace audio {

// Volumes are as the server counts (PA_VOLUME_NORM is 100 %), per channel.
struct SinkLevel {
  pa_cvolume volume{};
  pa_channel_map map{};
  bool muted = false;
};

struct Handover {
  std::string device;   // name of the real device's sink
  pa_cvolume before{};  // its volume before it was multiplied by `ours`
  pa_cvolume ours{};    // our sink's volume, for each channel of the device
  bool muted = false;   // our sink was, and so is the device since
};

// The rule: where our sink is turned down or muted, `device`, which is at `level`, must be set to
// what `level` is afterwards. A balance is kept where both have the same channels; otherwise the
// loudest channel counts. Nothing to hand over otherwise, or where `earlier`, which may be null,
// has been handed over to that device already.
std::optional<Handover> hand_over(const SinkLevel& ours, const std::string& device,
                                  SinkLevel* level, const Handover* earlier);

// Stores it, replacing an earlier one.
void keep_handover(const Handover& handover);

// The stored handover. It stays until it has been taken back or is out of date: the program may be
// killed on the way.
std::optional<Handover> kept_handover();
void forget_handover();

// Whether it is being taken back: the device is as it was left, and our sink has its level again,
// or only its mute so far, as a new sink may forget the volume that it was just given.
bool being_taken_back(const Handover& handover, const SinkLevel& ours, const SinkLevel& device);

// Whether a device with this volume is as the handover left it.
bool still_as_left(const Handover& handover, const pa_cvolume& volume, bool muted);

// The server ended before the program could restore the default device: at the next start the
// server's default device will be its own choice. Stored in a second file.
void keep_unrestored();
// Returns whether that was stored, and forgets it.
bool consume_unrestored();

}  // namespace audio
