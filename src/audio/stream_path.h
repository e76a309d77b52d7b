// What the three sources of the audio path share: record_stream.cpp -> stream_path.cpp ->
// play_stream.cpp. Loop thread, or with the main-loop lock held.
#pragma once

#include <cstddef>
#include <span>

#include "dry_moment.h"

namespace audio {

// stream_path.cpp -----------------------------------------------------

// A capture begins: nothing of the one before is left in the filters.
void restart_path();
// Nothing is played at the moment: the newest curve is the only one that what is played next is
// equalized with.
void apply_curve_unheard();
// A fragment of sound to be equalized and played, interleaved stereo of any length.
void process_fragment(std::span<const float> samples);
// A fragment of sound that is only shown.
void show_fragment(std::span<const float> samples);
// Whether it has been silent for so long that the device may sleep.
bool path_silent();

// Recorded sound that will never be played; silence does not count.
void count_lost(std::span<const float> samples);
// Samples of silence inserted between sound and sound.
void count_inserted(std::size_t samples);
void count_underrun(const DryMoment& why);

// play_stream.cpp -----------------------------------------------------

// Plays the next block, at most 10 ms, which is changed in place, and counts what of it is not
// played. `following` samples of the same fragment come right after it.
void play(std::span<float> block, std::size_t following);
// Whether the playback stream is corked because there is nothing to be heard.
bool play_asleep();

}  // namespace audio
