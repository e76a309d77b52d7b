// DESIGN: the samples are made in the write callback, so the buffer is as full as the server asks
// for and no thread of ours can fall behind. Sines are computed from the frame number: no phase
// error builds up.
#include "tone_player.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <numbers>
#include <random>
#include <utility>

#include "analysis.h"

namespace support {

Generator sines(std::vector<Sine> parts) {
  return [parts = std::move(parts)](std::uint64_t first_frame, std::span<float> out) {
    std::ranges::fill(out, 0.0F);
    for (const Sine& part : parts) {
      const double amplitude = db_to_amplitude(part.level_db);
      for (std::size_t i = 0; i < out.size(); ++i) {
        if (part.channel == (i % kChannels == 0 ? Sine::kRight : Sine::kLeft)) continue;
        // Whole turns are dropped before the multiplication: their number grows with time, and so
        // would the error.
        const auto frame = static_cast<double>(first_frame + i / kChannels);
        const double turns = part.frequency_hz * frame / kRate;
        const double phase = 2 * std::numbers::pi * (turns - std::floor(turns));
        out[i] += static_cast<float>(amplitude * std::sin(phase));
      }
    }
  };
}

Generator clicks(std::chrono::milliseconds interval, double level_db) {
  return [period = frames_of(interval), level = static_cast<float>(db_to_amplitude(level_db))](
             std::uint64_t first_frame, std::span<float> out) {
    for (std::size_t i = 0; i < out.size(); ++i)
      out[i] = (first_frame + i / kChannels) % period == 0 ? level : 0.0F;
  };
}

Generator noise(std::uint32_t seed, double level_db) {
  const auto level = static_cast<float>(db_to_amplitude(level_db));
  return [random = std::mt19937(seed), sample = std::uniform_real_distribution(-level, level)](
             std::uint64_t, std::span<float> out) mutable {
    for (float& x : out)
      x = sample(random);
  };
}

TonePlayer::TonePlayer(const std::string& address, Generator generator,
                       const TonePlayerOptions& options)
    : generator_(std::move(generator)),
      stream_(address, options.application_name, options.stream_name) {
  const std::lock_guard lock(stream_);
  pa_stream_set_write_callback(stream_.get(), on_write, this);
  const pa_buffer_attr buffer{kServerChooses,
                              static_cast<std::uint32_t>(frames_of(options.latency) * kFrameBytes),
                              kServerChooses, kServerChooses, kServerChooses};
  const char* const device = options.device.empty() ? nullptr : options.device.c_str();
  stream_.wait_until_ready(pa_stream_connect_playback(stream_.get(), device, &buffer,
                                                      PA_STREAM_ADJUST_LATENCY, nullptr, nullptr),
                           "play to " + options.device);
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

}  // namespace support
