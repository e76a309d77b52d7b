// DESIGN: everything is kept. A minute of sound is 23 MB, and a test that fails wants to look back.
#include "recorder.h"

#include <algorithm>
#include <stdexcept>

namespace support {
namespace {

constexpr std::size_t kChannels = 2;
constexpr std::size_t kFrameBytes = kChannels * sizeof(float);
constexpr std::uint32_t kMaxLengthBytes = 2 * kRate * static_cast<std::uint32_t>(kFrameBytes);

std::size_t to_frames(std::chrono::milliseconds length) {
  return static_cast<std::size_t>(length.count()) * kRate / 1000;
}

}  // namespace

Recorder::Recorder(const std::string& address, const std::string& source, const Options& options)
    : connection_(address, options.application_name) {
  const LoopLock lock = connection_.lock();
  connection_.connect(lock);
  open(lock, source, options);
}

Recorder::~Recorder() {
  const LoopLock lock = connection_.lock();
  close(lock);
}

void Recorder::open(const LoopLock& lock, const std::string& source, const Options& options) {
  const pa_sample_spec format{PA_SAMPLE_FLOAT32LE, kRate, kChannels};
  stream_ = pa_stream_new(connection_.context(lock), "record", &format, nullptr);
  if (stream_ == nullptr) throw connection_.error(lock, "new record stream");
  pa_stream_set_state_callback(stream_, on_state, this);
  pa_stream_set_read_callback(stream_, on_read, this);
  constexpr std::uint32_t kServerChooses = 0xFFFFFFFF;
  // The usual four megabytes keep a slow machine's server from everything else while it makes them.
  const pa_buffer_attr buffer{
      kMaxLengthBytes, kServerChooses, kServerChooses, kServerChooses,
      static_cast<std::uint32_t>(to_frames(options.fragment) * kFrameBytes)};
  const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
  if (pa_stream_connect_record(stream_, source.c_str(), &buffer, flags) == 0 &&
      connection_.wait_until_ready(lock, stream_))
    return;
  const std::runtime_error failure = connection_.error(lock, "record from " + source);
  close(lock);
  throw failure;
}

void Recorder::close(const LoopLock&) {
  pa_stream_set_state_callback(stream_, nullptr, nullptr);
  pa_stream_set_read_callback(stream_, nullptr, nullptr);
  pa_stream_disconnect(stream_);
  pa_stream_unref(stream_);
}

void Recorder::on_state(pa_stream*, void* self) {
  static_cast<Recorder*>(self)->connection_.signal();
}

void Recorder::on_read(pa_stream* stream, std::size_t, void* self) {
  auto& recorder = *static_cast<Recorder*>(self);
  for (;;) {
    const void* data = nullptr;
    std::size_t bytes = 0;
    if (pa_stream_peek(stream, &data, &bytes) != 0 || bytes == 0) break;
    const std::size_t count = bytes / sizeof(float);
    if (data != nullptr) {
      const auto* const samples = static_cast<const float*>(data);
      recorder.samples_.insert(recorder.samples_.end(), samples, samples + count);
    } else {  // the server has lost samples: recorded as silence
      recorder.samples_.resize(recorder.samples_.size() + count);
    }
    pa_stream_drop(stream);
  }
  recorder.connection_.signal();
}

std::size_t Recorder::frames() const {
  const LoopLock lock = connection_.lock();
  return samples_.size() / kChannels;
}

Stereo Recorder::cut(std::size_t from, std::size_t to) const {
  Stereo result;
  to = std::min(to, samples_.size() / kChannels);
  for (std::size_t i = from; i < to; ++i) {
    result.left.push_back(samples_[kChannels * i]);
    result.right.push_back(samples_[kChannels * i + 1]);
  }
  return result;
}

Stereo Recorder::window(std::size_t from, std::size_t to) const {
  const LoopLock lock = connection_.lock();
  return cut(from, to);
}

Stereo Recorder::newest(std::chrono::milliseconds length) const {
  const LoopLock lock = connection_.lock();
  const std::size_t end = samples_.size() / kChannels;
  return cut(end - std::min(end, to_frames(length)), end);
}

void Recorder::forget() {
  const LoopLock lock = connection_.lock();
  samples_.clear();
}

Stereo Recorder::next(std::chrono::milliseconds length) {
  const LoopLock lock = connection_.lock();
  const std::size_t from = samples_.size() / kChannels;
  const std::size_t to = from + to_frames(length);
  const bool arrived = connection_.wait(lock, length + kAnswerLimit,
                                        [&] { return samples_.size() / kChannels >= to; });
  if (!arrived) {
    throw std::runtime_error("recorded only " + std::to_string(samples_.size() / kChannels - from) +
                             " of " + std::to_string(to - from) + " frames");
  }
  return cut(from, to);
}

std::string Recorder::source() const {
  const LoopLock lock = connection_.lock();
  const char* const name = pa_stream_get_device_name(stream_);
  return name != nullptr ? name : "";
}

bool Recorder::failed() const {
  const LoopLock lock = connection_.lock();
  return pa_stream_get_state(stream_) != PA_STREAM_READY;
}

}  // namespace support
