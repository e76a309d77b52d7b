// What the user has turned down on our sink is handed over to the real device when the sink goes:
// the same sound must not come back louder. Kept until our sink comes again, in this run or a later
// one, it can be taken back; otherwise the device would be a little lower after each run, and the
// volume keys could never turn it up again.
//
// It is kept in a small file in the configuration directory. Where that cannot be written or read,
// our sink begins at full volume. No state, no locks; one thread, of the program or of its guard.
#pragma once

#include <pulse/volume.h>

#include <cstdint>
#include <optional>
#include <string>

namespace audio {

struct SinkLevel {
  pa_cvolume volume{};
  bool muted = false;
};

// Volumes are of the loudest channel, as the server counts (PA_VOLUME_NORM is 100 %).
struct Handover {
  std::string device;        // name of the real device's sink
  std::uint32_t before = 0;  // its volume before it was multiplied by our sink's
  std::uint32_t ours = 0;    // our sink's volume, at most 100 %
  bool muted = false;        // our sink was, and so is the device since
};

// The rule: where our sink is turned down or muted, `device`, which is at `level`, becomes what
// `level` is then. Nothing to hand over otherwise, or where `earlier`, which may be null, has been
// handed over to that device already.
std::optional<Handover> hand_over(const SinkLevel& ours, const std::string& device,
                                  SinkLevel* level, const Handover* earlier);

// Keeps it in place of an earlier one.
void keep_handover(const Handover& handover);

// What was kept, and forgets it.
std::optional<Handover> consume_handover();

// Whether a device of this volume is as the handover has left it.
bool still_as_left(const Handover& handover, std::uint32_t volume, bool muted);

}  // namespace audio
