// What the server tests of the engine share: a server with two devices, and the program on it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "analysis.h"
#include "eq_dsp.h"
#include "pulse_client.h"
#include "recorder.h"
#include "sound_server.h"
#include "tone_player.h"
#include "velmora_process.h"
#include "wait_until.h"

namespace engine_test {

using namespace std::chrono_literals;
using namespace support;

inline constexpr const char* kSink = "velmora";
inline constexpr const char* kOurs = "Velmora";  // application.name of the program's streams
inline constexpr const char* kMusic = "Test player";
inline constexpr auto kPatience = 15s;  // what an action may take at most on a loaded machine
inline constexpr auto kRescue = 3s;     // what a killed program may leave undone for

class EngineTest : public testing::TestWithParam<ServerKind> {
 protected:
  void SetUp() override;

  // Starts the program and waits until the routing is in force.
  std::unique_ptr<VelmoraProcess> start(VelmoraOptions options = {});
  // Starts it without waiting.
  std::unique_ptr<VelmoraProcess> launch(VelmoraOptions options = {});
  static VelmoraOptions with(std::vector<std::string> arguments) {
    VelmoraOptions options;
    options.arguments = std::move(arguments);
    return options;
  }

  // Our sink is the default, and our streams record its monitor and play to `device`.
  testing::AssertionResult routed_to(const std::string& device);
  // The server is what it was in SetUp or at the last remember().
  testing::AssertionResult as_before(std::chrono::milliseconds limit = kPatience);
  void remember() { before_ = capture_state(client()); }

  // A tone of another program, heard on a device: its level, or -infinity.
  double heard_db(const std::string& device, double frequency_hz);
  testing::AssertionResult hears(const std::string& device, double frequency_hz, double level_db);
  testing::AssertionResult stream_is_on(const std::string& application, const std::string& device);

  SoundServer& server() { return *server_; }
  PulseClient& client() { return *client_; }

 private:
  std::unique_ptr<SoundServer> server_;
  std::unique_ptr<PulseClient> client_;
  ServerState before_;
};

// The place of the program's own streams: "playback: device" and "recording: source".
std::vector<std::string> own_streams(PulseClient& client);

}  // namespace engine_test
