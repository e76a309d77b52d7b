// Undoing the routing from outside the program; run in the guard process only.
#pragma once

#include <sys/types.h>

#include "guard_protocol.h"

namespace audio {

// Makes the device of the orders the default device again where our sink is the default, hands
// other programs' streams back and unloads our sink. Waits a moment for a sink that was still being
// created when the program died.
//   program  process id of the program that died
// A sink that another running copy has loaded, or has taken over in the meantime, is left alone.
// Blocks for a few seconds; a server that does not answer is given half a minute.
void rescue(const guard::Orders& orders, pid_t program);

}  // namespace audio
