// What the display tests share: a screen, a sound server on which music plays, and the program on
// both, with a settings file that outlives it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "pulse_client.h"
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

// The full view at its first size, 960 x 640.
inline constexpr Spot kPresets{682, 35};
inline constexpr Spot kSave{819, 35};
inline constexpr Spot kCompact{871, 35};
inline constexpr Spot kCollapse{480, 311};
inline constexpr Spot kCollapsedCollapse{480, 324};
inline constexpr Extent kFull{960, 640};
inline constexpr Extent kCollapsed{960, 340};
// Beside the header's buttons, where nothing moves: it changes when the menu or a dialog opens.
inline constexpr Spot kBelowPresets{690, 65};
inline constexpr Spot kAutostart{447, 242};  // in the settings panel
// The compact view.
inline constexpr Spot kMiniMute{327, 18};
inline constexpr Spot kMiniPower{32, 64};
inline constexpr Spot kMiniBody{180, 70};
inline constexpr Extent kMini{420, 132};

// The knob of a band's slider (0 to 9) at this gain; half a dB is 3 pixels.
Spot knob(int band, double gain_db);
// The row of the presets menu, its headings counted.
Spot preset_row(int row);
// The same of a built-in preset.
Spot builtin_row(const std::string& key);

class DisplayTest : public testing::Test {
 protected:
  void SetUp() override;

  // Starts the program without waiting; the same settings file every time.
  std::unique_ptr<VelmoraProcess> launch(std::vector<std::string> arguments = {});
  // Starts it and waits for its first frame.
  std::unique_ptr<VelmoraProcess> start(std::vector<std::string> arguments = {});

  // The settings file as it is now, and replaced before a start.
  static Settings saved();
  static void save(const Settings& s);

  // Clicks, and waits until the pixel, which has to be at rest, is another one: what was clicked
  // for is painted now, and can be clicked itself.
  static void click_and_see(const Window& window, Spot spot, Spot changes);
  void choose_preset(const Window& window, Spot row);

  // What of a tone of `kPlayedDb` arrives at "speakers" while this curve is in force.
  testing::AssertionResult hears(const eq::Curve& curve);
  testing::AssertionResult sound_system_as_before();
  // The sound goes to this device: "velmora" while it takes its way through the program.
  testing::AssertionResult in_the_sound(const std::string& sink);
  static testing::AssertionResult has_size(const Window& window, Extent size);

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

// What becomes true sooner or later.
template <class Condition>
testing::AssertionResult eventually(const std::string& what, Condition&& condition) {
  return wait_until(what, kPatience, condition);
}

}  // namespace display_test
