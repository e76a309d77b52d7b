// DESIGN: everything is kept. A minute of sound is 23 MB, and a test that fails wants to look back.
#include "recorder.h"

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace support {
namespace {

constexpr std::uint32_t kMaxLengthBytes = 2 * kRate * static_cast<std::uint32_t>(kFrameBytes);
// What is asked for at a time. It also sets the pace of a PulseAudio device that nobody else
// hurries.
constexpr std::chrono::milliseconds kFragment{10};

}  // namespace

Recorder::Recorder(const std::string& address, const std::string& source)
    : stream_(address, "Test recorder", "record") {
  const std::lock_guard lock(stream_);
  pa_stream_set_read_callback(stream_.get(), on_read, this);
  // The usual four megabytes keep a slow machine's server from everything else while it makes them.
  const pa_buffer_attr buffer{kMaxLengthBytes, kServerChooses, kServerChooses, kServerChooses,
                              static_cast<std::uint32_t>(frames_of(kFragment) * kFrameBytes)};
  const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
  stream_.wait_until_ready(pa_stream_connect_record(stream_.get(), source.c_str(), &buffer, flags),
                           "record from " + source);
}

void Recorder::on_read(pa_stream* stream, std::size_t, void* self) {
  std::vector<float>& samples = static_cast<Recorder*>(self)->samples_;
  for (;;) {
    const void* data = nullptr;
    std::size_t bytes = 0;
    if (pa_stream_peek(stream, &data, &bytes) != 0 || bytes == 0) break;
    const std::size_t count = bytes / sizeof(float);
    if (data != nullptr) {
      const auto* const read = static_cast<const float*>(data);
      samples.insert(samples.end(), read, read + count);
    } else {  // the server has lost samples: recorded as silence
      samples.resize(samples.size() + count);
    }
    pa_stream_drop(stream);
  }
}

std::size_t Recorder::frames() const {
  const std::lock_guard lock(stream_);
  return samples_.size() / kChannels;
}

Stereo Recorder::window(std::size_t from, std::size_t to) const {
  const std::lock_guard lock(stream_);
  Stereo result;
  to = std::min(to, samples_.size() / kChannels);
  for (std::size_t i = from; i < to; ++i) {
    result.left.push_back(samples_[kChannels * i]);
    result.right.push_back(samples_[kChannels * i + 1]);
  }
  return result;
}

Stereo Recorder::newest(std::chrono::milliseconds length) const {
  const std::size_t end = frames();
  return window(end - std::min(end, frames_of(length)), end);
}

void Recorder::forget() {
  const std::lock_guard lock(stream_);
  samples_.clear();
}

Stereo Recorder::next(std::chrono::milliseconds length) {
  const std::size_t from = frames();
  const std::size_t to = from + frames_of(length);
  const auto deadline = std::chrono::steady_clock::now() + length + kAnswerLimit;
  while (frames() < to && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  Stereo sound = window(from, to);
  if (sound.left.size() < to - from) {
    throw std::runtime_error("recorded only " + std::to_string(sound.left.size()) + " of " +
                             std::to_string(to - from) + " frames");
  }
  return sound;
}

}  // namespace support
