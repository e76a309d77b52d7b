#include "server_test.h"

#include <cmath>

namespace support {

ServerTest::ServerTest(ServerKind kind, SoundServerOptions options)
    : kind_(kind), options_(std::move(options)) {}

void ServerTest::SetUp() {
  require_programs(kind_);
  if (IsSkipped() || HasFatalFailure()) return;
  server_ = std::make_unique<SoundServer>(kind_, options_);
  server_->start();
  client_ = std::make_unique<PulseClient>(server_->address());
  remember();
}

void ServerTest::play(const std::vector<Sine>& tones) {
  music_.reset();
  music_ = std::make_unique<TonePlayer>(server_->address(), sines(tones));
  remember();
}

testing::AssertionResult ServerTest::as_before(std::chrono::milliseconds limit) {
  return wait_until("the server is as before", limit, [&](std::string& seen) {
    const ServerState now = capture_state(client());
    seen = difference(before_, now);
    return now == before_;
  });
}

testing::AssertionResult ServerTest::hears(const std::string& device,
                                           const std::vector<Sine>& tones) {
  return eventually(device + " plays the tones", [&](std::string& seen) {
    Recorder recorder(server_->address(), device + ".monitor");
    const Stereo sound = recorder.next(400ms);
    bool right = true;
    for (const Sine& tone : tones) {
      const auto& channel = tone.channel == Sine::kRight ? sound.right : sound.left;
      const double heard = level_db(std::span(channel).last(kRate / 4), tone.frequency_hz);
      seen += std::to_string(heard) + " dB for " + std::to_string(tone.level_db) + ", ";
      right = right && std::abs(heard - tone.level_db) < 0.3;
    }
    return right;
  });
}

std::vector<Sine> ServerTest::through(const eq::Curve& curve, std::vector<Sine> tones) {
  for (Sine& tone : tones)
    tone.level_db += eq::response_db(curve, kRate, static_cast<float>(tone.frequency_hz));
  return tones;
}

}  // namespace support
