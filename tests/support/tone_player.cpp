// DESIGN: the samples are made in the write callback, so the buffer is as full as the server asks
// for and no thread of ours can fall behind. Sines are computed from the frame number: no phase
// error builds up.
#include "tone_player.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <stdexcept>
#include <utility>

#include "analysis.h"

namespace support {
namespace {

constexpr std::size_t kChannels = 2;
constexpr std::size_t kFrameBytes = kChannels * sizeof(float);
constexpr std::uint64_t kFramesPerMs = kRate / 1000;

}  // namespace

Generator silence() {
  return [](std::uint64_t, std::span<float> out) { std::fill(out.begin(), out.end(), 0.0F); };
}

Generator sines(std::vector<Sine> parts) {
  return [parts = std::move(parts)](std::uint64_t first_frame, std::span<float> out) {
    for (std::size_t i = 0; i < out.size() / kChannels; ++i) {
      double left = 0;
      double right = 0;
      for (const Sine& part : parts) {
        // Whole turns are dropped before the multiplication: their number grows with time, and so
        // would the error.
        const double turns = part.frequency_hz * static_cast<double>(first_frame + i) / kRate;
        const double value = db_to_amplitude(part.level_db) *
                             std::sin(2 * std::numbers::pi * (turns - std::floor(turns)));
        if (part.channel != Sine::kRight) left += value;
        if (part.channel != Sine::kLeft) right += value;
      }
      out[kChannels * i] = static_cast<float>(left);
      out[kChannels * i + 1] = static_cast<float>(right);
    }
  };
}

Generator clicks(std::chrono::milliseconds interval, double level_db) {
  const std::uint64_t period = static_cast<std::uint64_t>(interval.count()) * kFramesPerMs;
  const auto level = static_cast<float>(db_to_amplitude(level_db));
  return [period, level](std::uint64_t first_frame, std::span<float> out) {
    for (std::size_t i = 0; i < out.size() / kChannels; ++i) {
      const float value = (first_frame + i) % period == 0 ? level : 0.0F;
      out[kChannels * i] = value;
      out[kChannels * i + 1] = value;
    }
  };
}

Generator noise(std::uint32_t seed, double level_db) {
  const auto level = static_cast<float>(db_to_amplitude(level_db));
  return [random = std::mt19937(seed), level](std::uint64_t, std::span<float> out) mutable {
    for (float& sample : out) {
      // By hand: the standard fixes the generator's numbers, but not those of its distributions.
      const double unit = static_cast<double>(random()) / static_cast<double>(std::mt19937::max());
      sample = level * static_cast<float>(2 * unit - 1);
    }
  };
}

TonePlayer::TonePlayer(const std::string& address, Generator generator, Options options)
    : options_(std::move(options)),
      connection_(address, options_.application_name),
      generator_(std::move(generator)) {
  const LoopLock lock = connection_.lock();
  connection_.connect(lock);
  open(lock);
}

TonePlayer::~TonePlayer() {
  const LoopLock lock = connection_.lock();
  close(lock);
}

void TonePlayer::close(const LoopLock&) {
  pa_stream_set_state_callback(stream_, nullptr, nullptr);
  pa_stream_set_write_callback(stream_, nullptr, nullptr);
  pa_stream_set_underflow_callback(stream_, nullptr, nullptr);
  pa_stream_disconnect(stream_);
  pa_stream_unref(stream_);
}

void TonePlayer::open(const LoopLock& lock) {
  const pa_sample_spec format{PA_SAMPLE_FLOAT32LE, kRate, kChannels};
  stream_ =
      pa_stream_new(connection_.context(lock), options_.stream_name.c_str(), &format, nullptr);
  if (stream_ == nullptr) throw connection_.error(lock, "new playback stream");
  pa_stream_set_state_callback(stream_, on_state, this);
  pa_stream_set_write_callback(stream_, on_write, this);
  pa_stream_set_underflow_callback(stream_, on_underflow, this);

  constexpr std::uint32_t kServerChooses = 0xFFFFFFFF;
  pa_buffer_attr buffer{kServerChooses, kServerChooses, kServerChooses, kServerChooses,
                        kServerChooses};
  buffer.tlength = static_cast<std::uint32_t>(static_cast<std::uint64_t>(options_.latency.count()) *
                                              kFramesPerMs * kFrameBytes);
  const auto flags = static_cast<pa_stream_flags_t>(options_.flags | PA_STREAM_ADJUST_LATENCY);
  const char* const device = options_.device.empty() ? nullptr : options_.device.c_str();
  if (pa_stream_connect_playback(stream_, device, &buffer, flags, nullptr, nullptr) == 0 &&
      connection_.wait_until_ready(lock, stream_))
    return;
  const std::runtime_error failure = connection_.error(lock, "play to " + options_.device);
  close(lock);
  throw failure;
}

std::string TonePlayer::sink() const {
  const LoopLock lock = connection_.lock();
  const char* const name = pa_stream_get_device_name(stream_);
  return name != nullptr ? name : "";
}

bool TonePlayer::failed() const {
  const LoopLock lock = connection_.lock();
  return pa_stream_get_state(stream_) != PA_STREAM_READY;
}

void TonePlayer::on_state(pa_stream*, void* self) {
  static_cast<TonePlayer*>(self)->connection_.signal();
}

void TonePlayer::on_write(pa_stream* stream, std::size_t bytes, void* self) {
  auto& player = *static_cast<TonePlayer*>(self);
  const std::size_t frames = bytes / kFrameBytes;
  player.scratch_.resize(frames * kChannels);
  player.generator_(player.position_, player.scratch_);
  player.position_ += frames;
  pa_stream_write(stream, player.scratch_.data(), frames * kFrameBytes, nullptr, 0,
                  PA_SEEK_RELATIVE);
}

void TonePlayer::on_underflow(pa_stream*, void* self) {
  ++static_cast<TonePlayer*>(self)->underruns_;
}

}  // namespace support
