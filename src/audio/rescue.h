// Undoing the routing from outside the program; run in the guard process only.
#pragma once

#include <sys/types.h>

#include "guard_protocol.h"

namespace audio {

// If our sink is the default device, makes the device of the orders the default again; moves other
// programs' streams back and unloads our sink. Waits a moment for a sink that was still being
// created when the program died.
//   program  process id of the program that died
// A sink that another running copy has loaded or taken over is left alone. Blocks for a few
// seconds, or half a minute if the server does not answer.
void rescue(const guard::Orders& orders, pid_t program);

}  // namespace audio
