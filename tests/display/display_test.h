// What the display tests share: a screen, a sound server on which music plays, and the program on
// both, with a settings file that outlives it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "pulse_client.h"
#include "recorder.h"
#include "screen.h"
#include "settings.h"
#include "sound_server.h"
#include "tone_player.h"
#include "velmora_process.h"
#include "wait_until.h"

namespace display_test {

using namespace std::chrono_literals;
using namespace support;

inline constexpr auto kPatience = 15s;  // what an action may take at most on a loaded machine
inline constexpr ExitStatus kOk{.code = 0, .signal = 0};
inline constexpr const char* kFirstFrame = "First frame after ";
// The music: in different bands, and where neighbouring bands have a say too.
inline constexpr double kPlayedDb = -26;
inline constexpr double kTones[] = {125, 1000, 8000};

// The full view at its first size, 960 x 640.
inline constexpr Extent kFull{960, 640};
inline constexpr Spot kPresets{682, 35};
inline constexpr Spot kCollapse{480, 311};
// Beside the header's buttons, where nothing moves: it changes when the menu or a dialog opens.
inline constexpr Spot kBelowPresets{690, 65};

// The knob of a band's slider (0 to 9) at this gain; half a dB is 3 pixels.
inline Spot knob(int band, double gain_db) {
  return {static_cast<int>(std::lround(210 + band * 698.0 / 9)),
          static_cast<int>(std::lround(461 - gain_db * 75.0 / 12))};
}

// The row of the presets menu, its headings counted.
inline Spot preset_row(int row) {
  return {kPresets.x, 62 + 28 * row + 14};
}

// What becomes true sooner or later.
template <class Condition>
testing::AssertionResult eventually(const std::string& what, Condition&& condition) {
  return wait_until(what, kPatience, condition);
}

class DisplayTest : public testing::Test {
 protected:
  void SetUp() override {
    require_programs(kScreenPrograms);
    if (IsSkipped() || HasFatalFailure()) return;
    require_programs(ServerKind::kPulseAudio);
    if (IsSkipped() || HasFatalFailure()) return;
    setenv("XDG_CONFIG_HOME", home_.path().c_str(), 1);  // for the settings that the test reads
    server_ = std::make_unique<SoundServer>(ServerKind::kPulseAudio);
    server_->start();
    client_ = std::make_unique<PulseClient>(server_->address());
    std::vector<Sine> parts;
    for (const double hz : kTones)
      parts.push_back({hz, kPlayedDb});
    music_ = std::make_unique<TonePlayer>(server_->address(), sines(parts));
    before_ = capture_state(client());
    screen_ = std::make_unique<Screen>();
  }

  // Starts the program without waiting; the same settings file every time.
  std::unique_ptr<VelmoraProcess> launch(std::vector<std::string> arguments = {}) {
    return std::make_unique<VelmoraProcess>(*server_,
                                            VelmoraOptions{.arguments = std::move(arguments),
                                                           .config_home = home_.path(),
                                                           .environment = {{"TRSL_LANG", "en"}},
                                                           .display = screen_->environment()});
  }
  // Starts it and waits for its first frame.
  std::unique_ptr<VelmoraProcess> start(std::vector<std::string> arguments = {}) {
    auto program = launch(std::move(arguments));
    EXPECT_TRUE(program->wait_for_log(kFirstFrame, kPatience));
    return program;
  }

  // Clicks, and waits until the pixel, which has to be at rest, is another one: what was clicked
  // for is painted now, and can be clicked itself.
  static void click_and_see(const Window& window, Spot spot, Spot changes) {
    const std::uint32_t before = window.pixel(changes);
    window.click(spot);
    EXPECT_TRUE(eventually("the click is seen", [&] { return window.pixel(changes) != before; }));
  }

  // What of the music arrives at "speakers" while this curve is in force.
  testing::AssertionResult hears(const eq::Curve& curve) {
    return eventually("the speakers play what the curve makes of it", [&](std::string& seen) {
      Recorder recorder(server_->address(), "speakers.monitor");
      const Stereo sound = recorder.next(400ms);
      bool right = true;
      for (const double hz : kTones) {
        const double heard = level_db(std::span(sound.left).last(kRate / 4), hz);
        const float gain = eq::response_db(curve, kRate, static_cast<float>(hz));
        const double wanted = kPlayedDb + static_cast<double>(gain);
        seen += std::to_string(heard) + " dB for " + std::to_string(wanted) + ", ";
        right = right && std::abs(heard - wanted) < 0.3;
      }
      return right;
    });
  }
  // The sound goes to this device: "velmora" while it takes its way through the program.
  testing::AssertionResult in_the_sound(const std::string& sink) {
    return eventually(sink + " is the default", [&] { return client().default_sink() == sink; });
  }
  testing::AssertionResult sound_system_as_before() {
    return eventually("the sound system is as before", [&](std::string& seen) {
      const ServerState now = capture_state(client());
      seen = difference(before_, now);
      return now == before_;
    });
  }
  static testing::AssertionResult has_size(const Window& window, Extent size) {
    return eventually("the window has its size", [&](std::string& seen) {
      seen = testing::PrintToString(window.size());
      return window.size() == size;
    });
  }

  SoundServer& server() { return *server_; }
  PulseClient& client() { return *client_; }
  Screen& screen() { return *screen_; }

 private:
  TempDir home_;
  std::unique_ptr<SoundServer> server_;
  std::unique_ptr<PulseClient> client_;
  std::unique_ptr<TonePlayer> music_;
  std::unique_ptr<Screen> screen_;
  ServerState before_;
};

}  // namespace display_test
