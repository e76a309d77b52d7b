#include "engine_test.h"

#include <map>

namespace engine_test {

std::unique_ptr<VelmoraProcess> EngineTest::launch(VelmoraOptions options) {
  return std::make_unique<VelmoraProcess>(server(), std::move(options));
}

std::unique_ptr<VelmoraProcess> EngineTest::start(VelmoraOptions options) {
  auto program = launch(std::move(options));
  EXPECT_TRUE(routed_to("speakers"));
  return program;
}

void EngineTest::end(VelmoraProcess* program, bool killed) {
  if (killed) {
    program->kill9();
  } else {
    EXPECT_EQ(program->stop(), kOk);
  }
}

std::vector<std::string> EngineTest::own_streams() {
  std::vector<std::string> result;
  const auto collect = [&](const char* what, const auto& devices, const auto& streams) {
    std::map<std::uint32_t, std::string> names;
    for (const auto& device : devices)
      names[device.index] = device.name;
    for (const Stream& stream : streams) {
      if (stream.application_name == kOurs) result.push_back(what + names[stream.device]);
    }
  };
  collect("playback: ", client().sinks(), client().sink_inputs());
  collect("recording: ", client().sources(), client().source_outputs());
  return result;
}

testing::AssertionResult EngineTest::routed_to(const std::string& device) {
  const std::vector<std::string> wanted = {"playback: " + device, "recording: velmora.monitor"};
  return eventually("our sink is the default and plays to " + device, [&](std::string& seen) {
    const std::vector<std::string> streams = own_streams();
    const std::string def = client().default_sink();
    seen = "default " + def + ", streams " + testing::PrintToString(streams);
    return def == kSink && streams == wanted;
  });
}

testing::AssertionResult EngineTest::music_is_on(const std::string& device) {
  return eventually("the music plays on " + device, [&](std::string& seen) {
    seen = client().sink_of(kMusic);
    return seen == device;
  });
}

}  // namespace engine_test
