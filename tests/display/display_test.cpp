#include "display_test.h"

#include <cmath>
#include <cstdlib>

#include "recorder.h"

namespace display_test {
namespace {

constexpr double kPlayedDb = -26;
constexpr double kToleranceDb = 0.3;
// In different bands, and where neighbouring bands have a say too.
constexpr double kTones[] = {125, 1000, 8000};

}  // namespace

Spot knob(int band, double gain_db) {
  constexpr double kFirst = 210;
  constexpr double kStep = 698.0 / 9;
  constexpr double kMiddle = 461;
  constexpr double kPixelsPerDb = 75.0 / 12;
  return {static_cast<int>(std::lround(kFirst + band * kStep)),
          static_cast<int>(std::lround(kMiddle - gain_db * kPixelsPerDb))};
}

Spot preset_row(int row) {
  return {kPresets.x, 62 + 28 * row + 14};
}

Spot builtin_row(const std::string& key) {
  return preset_row(1 + eq::find_preset(key));
}

void DisplayTest::SetUp() {
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

std::unique_ptr<VelmoraProcess> DisplayTest::launch(std::vector<std::string> arguments) {
  return std::make_unique<VelmoraProcess>(*server_,
                                          VelmoraOptions{.arguments = std::move(arguments),
                                                         .config_home = home_.path(),
                                                         .environment = {{"TRSL_LANG", "en"}},
                                                         .display = screen_->environment()});
}

std::unique_ptr<VelmoraProcess> DisplayTest::start(std::vector<std::string> arguments) {
  auto program = launch(std::move(arguments));
  EXPECT_TRUE(program->wait_for_log(kFirstFrame, kPatience));
  return program;
}

Settings DisplayTest::saved() {
  return settings::load();
}

void DisplayTest::save(const Settings& s) {
  std::filesystem::create_directories(std::filesystem::path(settings::file_path()).parent_path());
  ASSERT_TRUE(settings::save(s));
}

void DisplayTest::click_and_see(const Window& window, Spot spot, Spot changes) {
  const std::uint32_t before = window.pixel(changes);
  window.click(spot);
  EXPECT_TRUE(eventually("the click is seen", [&] { return window.pixel(changes) != before; }));
}

void DisplayTest::choose_preset(const Window& window, Spot row) {
  click_and_see(window, kPresets, kBelowPresets);
  click_and_see(window, row, kBelowPresets);
}

testing::AssertionResult DisplayTest::hears(const eq::Curve& curve) {
  return eventually("the speakers play the tones as the curve wants them", [&](std::string& seen) {
    Recorder recorder(server_->address(), "speakers.monitor");
    const Stereo sound = recorder.next(400ms);
    bool right = true;
    for (const double hz : kTones) {
      const double heard = level_db(std::span(sound.left).last(kRate / 4), hz);
      const double wanted =
          kPlayedDb + static_cast<double>(eq::response_db(curve, kRate, static_cast<float>(hz)));
      seen += std::to_string(heard) + " dB for " + std::to_string(wanted) + ", ";
      right = right && std::abs(heard - wanted) < kToleranceDb;
    }
    return right;
  });
}

testing::AssertionResult DisplayTest::sound_system_as_before() {
  return eventually("the sound system is as before", [&](std::string& seen) {
    const ServerState now = capture_state(client());
    seen = difference(before_, now);
    return now == before_;
  });
}

testing::AssertionResult DisplayTest::in_the_sound(const std::string& sink) {
  return eventually(sink + " is the default", [&] { return client().default_sink() == sink; });
}

testing::AssertionResult DisplayTest::has_size(const Window& window, Extent size) {
  return eventually("the window has its size", [&](std::string& seen) {
    const Extent now = window.size();
    seen = testing::PrintToString(now);
    return now == size;
  });
}

}  // namespace display_test
