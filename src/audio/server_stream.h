// One of our streams on the server, of either kind: owns the library's object and knows where it
// was opened. Lives as long as the program, so nothing is closed behind the sound library's back.
//
// Threads: everything with the main-loop lock held, which callbacks have.
#pragma once

#include <cstdint>
#include <string>

#include "audio_private.h"

namespace audio {

inline constexpr pa_sample_spec kFormat = {PA_SAMPLE_FLOAT32LE, kRate, kChannels};
inline constexpr std::size_t kFrameBytes = sizeof(float) * kChannels;

class ServerStream {
 public:
  ServerStream() = default;
  ServerStream(const ServerStream&) = delete;
  ServerStream& operator=(const ServerStream&) = delete;

  // Creates a stream, to be connected to the device of this name. Returns null on failure.
  //   cycle   PipeWire runs the device in cycles of at most so long, as in "512/48000" of a second.
  //           Empty: as it likes
  pa_stream* create(const LoopLock&, const char* name, const char* media_name, std::string device,
                    const std::string& cycle);
  // Waits until the stream, whose connection has been requested, is ready on its device. On failure
  // closes it and logs "Cannot `what` DEVICE: reason", once until it succeeds again.
  bool finish_opening(const LoopLock&, bool requested, const char* what);
  void close();

  [[nodiscard]] pa_stream* get() const { return stream_; }
  // Whether it is being created or ready.
  [[nodiscard]] bool good() const;
  // Whether it is ready, and the server has it on the device where it was opened. A server may put
  // a stream elsewhere when its device vanishes, or leave it alive with the old name, connected to
  // nothing, when the device is replaced by another of the same name.
  [[nodiscard]] bool in_place() const;
  // The same, and that device has this name and index.
  [[nodiscard]] bool is_on(const std::string& device, std::uint32_t index) const;

 private:
  pa_stream* stream_ = nullptr;
  std::string device_;              // empty when closed
  std::uint32_t index_ = kNoIndex;  // of the device; not known while the stream is being opened
  bool fault_logged_ = false;       // opening is tried again often and its failure logged once
};

// Releases an operation that nobody waits for.
void dismiss(pa_operation* op);
// All fields at the server's default.
pa_buffer_attr default_buffers();

}  // namespace audio
