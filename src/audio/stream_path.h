// Shared by the three sources of the audio path: record_stream.cpp -> stream_path.cpp ->
// play_stream.cpp. Loop thread, or with the main-loop lock held.
#pragma once

#include <cstddef>
#include <span>

#include "dry_moment.h"

namespace audio {

// stream_path.cpp -----------------------------------------------------

// A capture begins: clears the filters.
void restart_path();
// Nothing is being played: the newest curve applies to the next sound without a crossfade.
void apply_curve_unheard();
// Equalizes and plays a fragment, interleaved stereo of any length.
void process_fragment(std::span<const float> samples);
// Only shows a fragment.
void show_fragment(std::span<const float> samples);
// Whether it has been silent for so long that the device may sleep.
bool path_silent();

// Whether a block holds nothing to be heard, perhaps the filters' memory of a sound that has ended.
bool inaudible(std::span<const float> samples);
// Counts recorded sound that will not be played; silence does not count.
void count_lost(std::span<const float> samples);
void count_lost(std::size_t samples);
// Counts samples of silence inserted between sounds.
void count_inserted(std::size_t samples);
void count_underrun(const DryMoment& why);

// play_stream.cpp -----------------------------------------------------

// Plays the next block, of at most kBlockFrames frames, which is changed in place, and counts the
// part that is not played. `following` samples of the same fragment come right after it.
void play(std::span<float> block, std::size_t following);
// Whether the playback stream is corked because there is nothing to be heard.
bool play_asleep();

}  // namespace audio
