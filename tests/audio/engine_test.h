// What the server tests of the engine share: the program on a server of either kind.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "server_test.h"

namespace engine_test {

using namespace support;

inline constexpr const char* kOurs = "Velmora";  // application.name of the program's streams
inline constexpr auto kRescue = 3s;              // what a killed program may leave undone for
inline const std::vector<Sine> kTone = {{1000, -20}};

// On both kinds of server.
inline const auto kServers = testing::Values(ServerKind::kPulseAudio, ServerKind::kPipeWire);
inline std::string server_name(const testing::TestParamInfo<ServerKind>& info) {
  return name_of(info.param);
}

class EngineTest : public ServerTest, public testing::WithParamInterface<ServerKind> {
 protected:
  explicit EngineTest(SoundServerOptions options = {})
      : ServerTest(GetParam(), std::move(options)) {}

  // Starts the program without waiting, by default with a flat curve.
  std::unique_ptr<VelmoraProcess> launch(VelmoraOptions options = with({"--preset", "flat"}));
  // Starts it and waits until the routing is in force.
  std::unique_ptr<VelmoraProcess> start(VelmoraOptions options = with({"--preset", "flat"}));
  static VelmoraOptions with(std::vector<std::string> arguments) {
    VelmoraOptions options;
    options.arguments = std::move(arguments);
    return options;
  }
  // Kills it, or ends it in order.
  static void end(VelmoraProcess* program, bool killed);

  // A server may bring an earlier level back a moment later, and the program then corrects it once
  // more.
  static void let_the_level_settle() { std::this_thread::sleep_for(1100ms); }

  // Our sink is the default, and our streams record its monitor and play to `device`.
  testing::AssertionResult routed_to(const std::string& device);
  testing::AssertionResult music_is_on(const std::string& device);
  // The place of the program's own streams: "playback: device" and "recording: source".
  std::vector<std::string> own_streams();
};

}  // namespace engine_test
