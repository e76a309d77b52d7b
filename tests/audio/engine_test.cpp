#include "engine_test.h"

#include <algorithm>
#include <map>

namespace engine_test {

void EngineTest::SetUp() {
  require_programs(GetParam());
  if (IsSkipped() || HasFatalFailure()) return;
  server_ = std::make_unique<SoundServer>(GetParam());
  server_->start();
  client_ = std::make_unique<PulseClient>(server_->address());
  remember();
}

std::unique_ptr<VelmoraProcess> EngineTest::launch(VelmoraOptions options) {
  return std::make_unique<VelmoraProcess>(*server_, std::move(options));
}

std::unique_ptr<VelmoraProcess> EngineTest::start(VelmoraOptions options) {
  auto program = launch(std::move(options));
  EXPECT_TRUE(routed_to("speakers"));
  return program;
}

std::vector<std::string> own_streams(PulseClient& client) {
  std::map<std::uint32_t, std::string> devices;
  for (const Sink& sink : client.sinks())
    devices[sink.index] = sink.name;
  std::vector<std::string> result;
  for (const Stream& stream : client.sink_inputs()) {
    if (stream.application_name == kOurs) result.push_back("playback: " + devices[stream.device]);
  }
  devices.clear();
  for (const Source& source : client.sources())
    devices[source.index] = source.name;
  for (const Stream& stream : client.source_outputs()) {
    if (stream.application_name == kOurs) result.push_back("recording: " + devices[stream.device]);
  }
  return result;
}

testing::AssertionResult EngineTest::routed_to(const std::string& device) {
  const std::vector<std::string> wanted = {"playback: " + device, "recording: velmora.monitor"};
  return wait_until("our sink is the default and plays to " + device, kPatience,
                    [&](std::string& seen) {
                      const std::vector<std::string> streams = own_streams(client());
                      const std::string def = client().default_sink();
                      seen = "default " + def + ", streams " + testing::PrintToString(streams);
                      return def == kSink && streams == wanted;
                    });
}

testing::AssertionResult EngineTest::as_before(std::chrono::milliseconds limit) {
  return wait_until("the server is as before", limit, [&](std::string& seen) {
    const ServerState now = capture_state(client());
    seen = difference(before_, now);
    return now == before_;
  });
}

double EngineTest::heard_db(const std::string& device, double frequency_hz) {
  Recorder recorder(server_->address(), device + ".monitor");
  const Stereo sound = recorder.next(400ms);
  return level_db(std::span(sound.left).last(kRate / 4), frequency_hz);
}

testing::AssertionResult EngineTest::hears(const std::string& device, double frequency_hz,
                                           double level) {
  return wait_until(device + " plays the tone", kPatience, [&](std::string& seen) {
    const double heard = heard_db(device, frequency_hz);
    seen = std::to_string(heard) + " dB";
    return std::abs(heard - level) < 0.3;
  });
}

testing::AssertionResult EngineTest::stream_is_on(const std::string& application,
                                                  const std::string& device) {
  return wait_until(application + " plays on " + device, kPatience, [&](std::string& seen) {
    seen = client().sink_of(application);
    return seen == device;
  });
}

}  // namespace engine_test
