// What is heard while something changes:
//
//   soak_transitions [--server pulseaudio|pipewire] [--rounds N] [--seed N]
//
// A tone plays through the built program while a person turns knobs, switches the equalizer off and
// on, changes devices, ends and starts the program, and while it is killed, its device vanishes and
// its server dies. What the devices play meanwhile is recorded sample by sample. Prints a row per
// kind of transition: the largest step between two samples as compared with the tone's own, the
// loudest sample as compared with the tone's, for how long it was louder than twice the tone, how
// long there was silence (least, median and most), and how many edges were hard (a step of more
// than twice the tone's own). Exit status 1 when something was louder than twice the tone, or a
// changing curve made a gap or a hard edge; 77 where a program for it is not installed.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <numbers>
#include <thread>

#include "../display/display_test.h"
#include "soak.h"

namespace {

using namespace display_test;
using namespace soak;

constexpr double kLevelDb = -18;
constexpr double kToleranceDb = 0.3;
constexpr double kAllowed = 2;  // 6 dB
constexpr double kSilent = 1e-4;
constexpr double kGrain = 2.0 / 32768;  // PulseAudio's null sinks have 16 bits
constexpr auto kSteady = 200ms;         // of the tone as it is to be, before and after
constexpr int kTries = 5;        // a busy machine may lose a cycle of its own accord, not each time
constexpr double kVolume = 0.5;  // 18 dB
constexpr Spot kPower{504, 35};
constexpr int kPreampX = 106;
constexpr float kUp = 9;  // where no preset has a knob
constexpr float kPreampUp = 6;
constexpr float kDown = -6;

struct Tone {
  double hz;
  int band;  // whose slider changes it most
};
constexpr Tone kTones[] = {{440, 4}, {100, 2}};

struct Reading {
  double step_db = -100;  // over the tone's own largest step
  double loud_db = -100;  // over the tone
  double loud_ms = 0;     // from the first to the last sample of more than twice the tone
  bool too_loud = false;
  int hard = 0;
  double silence_ms = 0;
};

struct Kind {
  bool of_the_curve = false;
  Reading worst;  // hard edges: all
  std::vector<double> silences_ms;
  int repeated = 0;
};

// Silences that a tone does not have of its own.
double silence_ms(std::span<const float> sound, double hz) {
  const auto least = static_cast<std::size_t>(kRate / hz / 4);
  std::size_t all = 0;
  std::size_t run = 0;
  for (std::size_t i = 0; i <= sound.size(); ++i) {
    if (i < sound.size() && magnitude(sound[i]) < kSilent) {
      ++run;
      continue;
    }
    if (run > least) all += run;
    run = 0;
  }
  return 1000.0 * static_cast<double>(all) / kRate;
}

// Steps larger than this; several within 2 ms are one edge.
int edges(std::span<const float> sound, double step) {
  int count = 0;
  std::size_t last = 0;
  for (std::size_t i = 1; i < sound.size(); ++i) {
    if (max_jump(sound.subspan(i - 1, 2)) <= step) continue;
    if (count == 0 || i - last > frames_of(2ms)) ++count;
    last = i;
  }
  return count;
}

double largest_step(double level, double hz) {
  return db_to_amplitude(level) * 2 * std::sin(std::numbers::pi * hz / kRate) + kGrain;
}

// `devices`: what each played, in step; `level`: the tone's, before or after, whichever is louder;
// `allowed`: a level that is not too loud, even where it is louder than that.
Reading read(const std::vector<std::vector<float>>& devices, double level, double allowed,
             double hz) {
  std::vector<float> all;
  for (const auto& sound : devices) {
    all.resize(std::max(all.size(), sound.size()));
    for (std::size_t i = 0; i < sound.size(); ++i)
      all[i] += sound[i];
  }
  const double own_peak = db_to_amplitude(level);
  const double own_step = largest_step(level, hz);
  Reading reading;
  double largest = 0;
  double loudest = 0;
  for (const auto& sound : devices) {
    largest = std::max(largest, max_jump(sound));
    loudest = std::max(loudest, peak(sound));
    reading.hard += edges(sound, kAllowed * own_step);
    const auto is_loud = [&](float x) { return magnitude(x) > kAllowed * own_peak; };
    const auto first = std::ranges::find_if(sound, is_loud);
    const auto last = std::find_if(sound.rbegin(), std::make_reverse_iterator(first), is_loud);
    reading.loud_ms =
        std::max(reading.loud_ms, static_cast<double>(last.base() - first) * 1000 / kRate);
  }
  reading.step_db = amplitude_to_db(largest / own_step);
  reading.loud_db = amplitude_to_db(loudest / own_peak);
  const double limit = kAllowed * db_to_amplitude(std::max(level, allowed));
  reading.too_loud = largest > limit || loudest > limit;
  reading.silence_ms = silence_ms(all, hz);
  return reading;
}

class Stage {
 public:
  Stage(ServerKind kind, unsigned seed) : random_(seed), server_(kind) {
    server_.start();
    curve_ = eq::preset_curve(preset_);
    launch();
  }

  void round(int number) {
    const bool turned_down = number % 2 == 1;
    tone_ = kTones[(number + number / 2) % static_cast<int>(std::size(kTones))];
    volume_ = turned_down ? kVolume : 1;
    play();
    turn_down();
    require(in_place());
    change_curve("Preset chosen", [this] { choose_preset(); });
    change_curve("Slider pressed", [this] {
      window_->click(knob(tone_.band, kUp));
      curve_.gain[tone_.band] = kUp;
    });
    change_curve("Preamp pressed", [this] {
      window_->click({kPreampX, knob(0, kPreampUp).y});
      curve_.preamp = kPreampUp;
    });
    change_curve("Slider dragged", [this] {
      window_->drag(knob(tone_.band, kUp), knob(tone_.band, kDown));
      curve_.gain[tone_.band] = kDown;
    });
    change_curve("Preset chosen", [this] { choose_preset(); });
    change("Switched off", [this] {
      window_->click(kPower);
      routed_ = false;
    });
    change("Switched on", [this] {
      window_->click(kPower);
      routed_ = true;
    });
    turn_down();
    change_device("headset");
    change_device("speakers");
    client_.add_null_sink("usb");
    change_device("usb");
    change("Device vanishes", [this] {
      client_.remove_sink("usb");
      device_ = "speakers";
    });
    change("Device returns", [this] {
      client_.add_null_sink("usb");
      device_ = "usb";
    });
    make_default("speakers");
    require(in_place());
    client_.remove_sink("usb");
    change("Program ended", [this] { end(false); });
    change("Program started", [this] { launch(); });
    turn_down();
    change("Program killed", [this] { end(true); });
    launch();
    // What it remembers of levels depends on when it died.
    if (!turned_down) restart_server();
  }

  // Whether nothing was too loud, and no curve was heard to change.
  bool report() {
    std::printf("%-16s %6s %8s %8s %8s %24s %6s\n", "", "rounds", "step, dB", "loud, dB", "for, ms",
                "silence, ms", "hard");
    bool good = true;
    for (auto& [name, kind] : kinds_) {
      const Reading& worst = kind.worst;
      std::vector<double>& silences = kind.silences_ms;
      std::ranges::sort(silences);
      const bool heard = silences.back() > 0 || worst.hard > 0;
      const bool ok = !worst.too_loud && !(kind.of_the_curve && heard);
      std::printf("%-16s %6zu %8.1f %8.1f %8.1f %7.1f %8.1f %7.1f %6d  %s(%d repeated)\n",
                  name.c_str(), silences.size(), worst.step_db, worst.loud_db, worst.loud_ms,
                  silences.front(), silences[silences.size() / 2], silences.back(), worst.hard,
                  ok ? "" : "NOT AS PROMISED ", kind.repeated);
      good = good && ok;
    }
    return good;
  }

 private:
  int below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random_); }

  void change(const std::string& name, const std::function<void()>& act) { add(name, watch(act)); }

  // The server itself sends the music to the device that the person chose, at that device's own
  // volume, until the program has taken it back: no louder than it would be without the program.
  void change_device(const std::string& device) {
    add("Device changed", watch([&] { make_default(device); }, kLevelDb));
  }

  void change_curve(const std::string& name, const std::function<void()>& act) {
    kinds_[name].of_the_curve = true;
    Reading reading = watch(act);
    for (int i = 1; i < kTries && (reading.hard > 0 || reading.silence_ms > 0); ++i) {
      choose_preset();  // back to where it can be done again
      ++kinds_[name].repeated;
      reading = watch(act);
    }
    add(name, reading);
  }

  void add(const std::string& name, const Reading& r) {
    std::printf(
        "  %3.0f Hz %-16s step %6.1f dB, loudest %5.1f dB, louder for %.1f ms, hard edges %d, "
        "silence %.1f ms\n",
        tone_.hz, name.c_str(), r.step_db, r.loud_db, r.loud_ms, r.hard, r.silence_ms);
    Kind& kind = kinds_[name];
    kind.silences_ms.push_back(r.silence_ms);
    kind.worst.step_db = std::max(kind.worst.step_db, r.step_db);
    kind.worst.loud_db = std::max(kind.worst.loud_db, r.loud_db);
    kind.worst.loud_ms = std::max(kind.worst.loud_ms, r.loud_ms);
    kind.worst.too_loud = kind.worst.too_loud || r.too_loud;
    kind.worst.hard += r.hard;
  }

  // What is recorded from before the deed until the tone is as it is to be after it.
  Reading watch(const std::function<void()>& act, double allowed = -100) {
    struct Ear {
      std::string device;
      std::unique_ptr<Recorder> recorder;
      std::size_t from = 0;   // frame
      std::size_t later = 0;  // frames that the others were ahead when it began
    };
    std::vector<Ear> ears;
    for (const Sink& sink : client_.sinks()) {
      if (sink.name != kSink)
        ears.push_back({sink.name, std::make_unique<Recorder>(server_.address(), sink.monitor)});
    }
    const auto on = [&](const std::string& device) {
      return std::ranges::find(ears, device, &Ear::device)->recorder.get();
    };
    require(is_steady(on(device_)));
    for (Ear& ear : ears)
      ear.from = ear.recorder->frames();
    const auto began = Clock::now();
    const double before = level();
    on(device_)->next(kSteady + std::chrono::milliseconds(below(30)));
    act();
    if (std::ranges::find(ears, device_, &Ear::device) == ears.end()) {
      const auto late = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - began);
      ears.push_back({device_, std::make_unique<Recorder>(server_.address(), device_ + ".monitor"),
                      0, frames_of(late)});
    }
    require(in_place());
    require(is_steady(on(device_)));
    std::vector<std::vector<float>> sounds;
    std::size_t length = 0;  // no further than what is heard at the end was recorded
    for (const Ear& ear : ears) {
      sounds.push_back(ear.recorder->window(ear.from, ear.recorder->frames()).left);
      sounds.back().insert(sounds.back().begin(), ear.later, 0.0F);
      if (ear.device == device_) length = sounds.back().size();
    }
    for (std::vector<float>& sound : sounds)
      sound.resize(length);
    return read(sounds, std::max(before, level()), allowed, tone_.hz);
  }

  // Of the tone, as it is to be.
  double level() const {
    const double volume_db = 60 * std::log10(volume_);
    const float curve_db =
        routed_ ? eq::response_db(curve_, kRate, static_cast<float>(tone_.hz)) : 0;
    return kLevelDb + volume_db + static_cast<double>(curve_db);
  }

  // As the person's volume keys do: the default device, and no other.
  void turn_down() {
    require(in_place());
    const auto right = [this](const Sink& sink) {
      return std::abs(sink.volume - (sink.name == kSink ? volume_ : 1)) < 0.01;
    };
    if (std::ranges::all_of(client_.sinks(), right)) return;
    // An early level is taken for one that the server remembers, and corrected.
    std::this_thread::sleep_for(1100ms);
    client_.set_sink_volume(kSink, volume_);
    for (const char* device : {"speakers", "headset"})
      client_.set_sink_volume(device, 1);
  }

  // Until the newest of what is recorded is the tone as it is to be, and nothing else.
  testing::AssertionResult is_steady(Recorder* recorder) {
    const double wanted = level();
    const std::size_t first = recorder->frames();
    return wait_until("the tone is as it is to be", kPatience, [&](std::string& seen) {
      const std::vector<float> sound = recorder->newest(kSteady).left;
      if (recorder->frames() < first + sound.size() || sound.size() < frames_of(kSteady))
        return false;
      const double heard = level_db(sound, tone_.hz);
      const double own_step = largest_step(wanted, tone_.hz);
      seen = std::to_string(heard) + " dB for " + std::to_string(wanted) + " on " + device_ +
             ", steps of " + std::to_string(max_jump(sound) / own_step);
      return std::abs(heard - wanted) < kToleranceDb && max_jump(sound) < 1.2 * own_step &&
             silence_ms(sound, tone_.hz) == 0;
    });
  }

  testing::AssertionResult in_place() {
    return wait_until("everything is in place", kPatience, [&](std::string& seen) {
      const std::string def = client_.default_sink();
      const std::string ours = client_.sink_of(kOurs);
      const std::string music = client_.sink_of(kMusic);
      seen = "default " + def + ", music on " + music + ", we on " + ours;
      return routed_ ? def == kSink && music == kSink && ours == device_
                     : def == device_ && music == device_;
    });
  }

  void play() {
    player_.reset();
    player_ = std::make_unique<TonePlayer>(server_.address(), sines({{tone_.hz, kLevelDb}}));
  }

  void launch() {
    const std::string key = eq::kPresets[preset_].key;
    program_ = std::make_unique<VelmoraProcess>(
        server_, VelmoraOptions{.arguments = {"--preset", key.substr(std::strlen("preset_"))},
                                .config_home = home_.path(),
                                .environment = {{"TRSL_LANG", "en"}},
                                .display = screen_.environment()});
    curve_ = eq::preset_curve(preset_);
    routed_ = true;
    require(program_->wait_for_log(kFirstFrame, kPatience));
    window_ = std::make_unique<Window>(screen_);
  }

  void end(bool killed) {
    window_.reset();
    if (killed) program_->kill9();
    program_.reset();
    routed_ = false;
  }

  void click_and_see(Spot spot, Spot changes) {
    const std::uint32_t before = window_->pixel(changes);
    window_->click(spot);
    require(eventually("the click is seen", [&] { return window_->pixel(changes) != before; }));
  }

  void choose_preset() {
    preset_ = (preset_ + 1 + below(eq::kPresetCount - 1)) % eq::kPresetCount;
    click_and_see(kPresets, kBelowPresets);
    click_and_see(preset_row(1 + preset_), kBelowPresets);
    curve_ = eq::preset_curve(preset_);
  }

  void make_default(const std::string& device) {
    client_.set_default_sink(device);
    device_ = device;
  }

  // From the first moment of the new server on: the program comes back by itself, the music does
  // not.
  void restart_server() {
    require(in_place());
    server_.kill();
    server_.start();
    Recorder recorder(server_.address(), "speakers.monitor");
    play();
    require(in_place());
    require(is_steady(&recorder));
    std::vector<float> sound = recorder.window(0, recorder.frames()).left;
    const auto first = std::ranges::find_if(sound, [](float x) { return x != 0.0F; });
    sound.erase(sound.begin(), first - (first == sound.begin() ? 0 : 1));
    add("Server restarted", read({sound}, std::max(kLevelDb, level()), kLevelDb, tone_.hz));
  }

  std::mt19937 random_;
  TempDir home_;
  Screen screen_;
  SoundServer server_;
  PulseClient client_{server_.address()};
  std::unique_ptr<VelmoraProcess> program_;
  std::unique_ptr<Window> window_;
  std::unique_ptr<TonePlayer> player_;
  std::map<std::string, Kind> kinds_;
  // As they are to be.
  Tone tone_ = kTones[0];
  int preset_ = eq::find_preset("preset_rock");
  eq::Curve curve_;
  double volume_ = 1;  // of the default device
  std::string device_ = "speakers";
  bool routed_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  const Arguments arguments(argc, argv);
  const int rounds = static_cast<int>(arguments.number("--rounds", 6));
  const ServerKind server = arguments.server(kScreenPrograms);
  return status_of([&] {
    Stage stage(server, arguments.seed());
    for (int i = 0; i < rounds; ++i)
      stage.round(i);
    return stage.report();
  });
}
