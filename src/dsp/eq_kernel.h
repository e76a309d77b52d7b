// Internal: the loops behind Processor::process.
#pragma once

#include "eq_dsp.h"

namespace eq {

// Any number of channels, any set of active bands.
void process_plain(Processor& p, float* samples, int frames);

}  // namespace eq
