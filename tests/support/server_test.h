// What all tests on a sound server share: the server with its two devices, music, what arrives at a
// device, and whether everything came back.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "analysis.h"
#include "dsp/eq_dsp.h"
#include "pulse_client.h"
#include "recorder.h"
#include "sound_server.h"
#include "tone_player.h"
#include "velmora_process.h"
#include "wait_until.h"

namespace support {

using namespace std::chrono_literals;

inline constexpr auto kPatience = 15s;  // what an action may take at most on a loaded machine
inline constexpr ExitStatus kOk{.code = 0, .signal = 0};

// What becomes true sooner or later.
template <class Condition>
testing::AssertionResult eventually(const std::string& what, Condition&& condition) {
  return wait_until(what, kPatience, condition);
}

class ServerTest : public testing::Test {
 protected:
  explicit ServerTest(ServerKind kind, SoundServerOptions options = {});
  void SetUp() override;

  // Plays these tones to the default device, instead of what was played before, and remembers the
  // server with it.
  void play(const std::vector<Sine>& tones);
  // The server is what it was when that was done last.
  void remember() { before_ = capture_state(client()); }
  testing::AssertionResult as_before(std::chrono::milliseconds limit = kPatience);

  // These tones arrive at the device.
  testing::AssertionResult hears(const std::string& device, const std::vector<Sine>& tones);
  // What the curve makes of the tones.
  static std::vector<Sine> through(const eq::Curve& curve, std::vector<Sine> tones);

  SoundServer& server() { return *server_; }
  PulseClient& client() { return *client_; }

 private:
  ServerKind kind_;
  SoundServerOptions options_;
  std::unique_ptr<SoundServer> server_;
  std::unique_ptr<PulseClient> client_;
  std::unique_ptr<TonePlayer> music_;
  ServerState before_;
};

}  // namespace support
