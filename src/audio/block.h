// What the path of the sound processes at once.
#pragma once

namespace audio {

// PipeWire works in cycles of a power of two of frames. Those of our sink and of the device are to
// be this long, or shorter where another program wants that: 10.7 ms.
inline constexpr int kCycleFrames = 512;
inline constexpr int kBlockFrames = kCycleFrames;  // at most

}  // namespace audio
