// What the display tests share: a screen, a sound server on which music plays, and the program on
// both, with a settings file that outlives it.
#pragma once

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "app/settings.h"
#include "screen.h"
#include "server_test.h"

namespace display_test {

using namespace support;

inline constexpr const char* kFirstFrame = "First frame after ";
// The music: in different bands, and where neighbouring bands have a say too.
inline const std::vector<Sine> kTones = {{125, -26}, {1000, -26}, {8000, -26}};

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

class DisplayTest : public ServerTest {
 protected:
  DisplayTest() : ServerTest(ServerKind::kPulseAudio) {}

  void SetUp() override {
    require_programs(kScreenPrograms);
    if (IsSkipped() || HasFatalFailure()) return;
    ServerTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    setenv("XDG_CONFIG_HOME", home_.path().c_str(), 1);  // for the settings that the test reads
    play(kTones);
    screen_ = std::make_unique<Screen>();
  }

  // Starts the program without waiting; the same settings file every time.
  std::unique_ptr<VelmoraProcess> launch(std::vector<std::string> arguments = {},
                                         Environment environment = {}) {
    environment["TRSL_LANG"] = "en";
    return std::make_unique<VelmoraProcess>(server(),
                                            VelmoraOptions{.arguments = std::move(arguments),
                                                           .config_home = home_.path(),
                                                           .environment = std::move(environment),
                                                           .display = screen_->environment()});
  }
  // Starts it and waits for its first frame.
  std::unique_ptr<VelmoraProcess> start(std::vector<std::string> arguments = {},
                                        Environment environment = {}) {
    auto program = launch(std::move(arguments), std::move(environment));
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

  // The music arrives at "speakers" as this curve makes it.
  testing::AssertionResult hears(const eq::Curve& curve) {
    return ServerTest::hears("speakers", through(curve, kTones));
  }
  // The sound goes to this device: "velmora" while it takes its way through the program.
  testing::AssertionResult in_the_sound(const std::string& sink) {
    return eventually(sink + " is the default", [&] { return client().default_sink() == sink; });
  }
  static testing::AssertionResult has_size(const Window& window, Extent size) {
    return eventually("the window has its size", [&](std::string& seen) {
      seen = testing::PrintToString(window.size());
      return window.size() == size;
    });
  }

  Screen& screen() { return *screen_; }

 private:
  TempDir home_;
  std::unique_ptr<Screen> screen_;
};

}  // namespace display_test
