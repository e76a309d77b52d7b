// What the path of the sound processes at once.
#pragma once

namespace audio {

inline constexpr int kBlockFrames = 480;  // at most: 10 ms

}  // namespace audio
