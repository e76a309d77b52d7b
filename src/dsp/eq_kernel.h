// Internal: the loops behind Processor::process, so that tests and benchmarks reach every one of
// them on any machine. All give the same bits.
#pragma once

#include "dsp/eq_dsp.h"

namespace eq {

// Any number of channels, any set of active bands.
void process_plain(Processor& p, float* samples, int frames);

// True when process_stereo may be used: two channels, all bands active.
bool fits_stereo(const Processor& p);

// Widths of process_stereo, in doubles that are computed side by side. Two is the baseline.
inline constexpr int kLaneChoices[] = {2, 4, 8};

// True when this machine has the instructions for that many lanes.
bool has_lanes(int lanes);

// The fast loop. Needs fits_stereo(p) and has_lanes(lanes).
void process_stereo(Processor& p, float* samples, int frames, int lanes);

// The number of lanes that is fastest on this machine. The first call measures it, in a fifth of a
// millisecond.
int fastest_lanes();

// Runs the loop that suits the processor and the machine best.
void process_best(Processor& p, float* samples, int frames);

}  // namespace eq
