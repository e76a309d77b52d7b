// What a day of odd things does to the routing:
//
//   soak_chaos [--server pulseaudio|pipewire] [--actions N] [--seed N]
//
// Does random things to the built program and to a private server: programs that play come and go,
// devices are plugged in, pulled out, renamed and made the default, volumes change, the program is
// started with this curve or that, switched off and on, ended, killed, doubled and robbed of its
// sink, the server hangs, dies and comes back. After every ten of them it keeps still and looks
// whether everything is where it belongs, and now and then whether the guard knows where that is.
// Prints the seed and what was done; exit status 1 with the first thing that is not as it should
// be, 77 where the programs for a virtual screen are missing.
#include <algorithm>
#include <cmath>
#include <set>
#include <thread>

#include "dsp/eq_dsp.h"
#include "screen.h"
#include "soak.h"

namespace {

using namespace soak;

constexpr int kActionsPerRound = 10;
constexpr auto kCalm = 3s;
constexpr auto kPatience = 12s;  // after the calm, on a busy machine
constexpr double kLevelDb = -30;
constexpr double kToleranceDb = 0.5;
constexpr auto kRescue = 3s;  // what a killed program may leave undone for
constexpr Spot kPower{504, 35};
constexpr Spot kPowerLight{468, 44};  // on its button, green while the equalizer is on

class Chaos {
 public:
  Chaos(ServerKind kind, unsigned seed) : random_(seed), server_(kind) { server_.start(); }

  void act() {
    using Deed = void (Chaos::*)();
    static constexpr std::pair<Deed, int> kDeeds[] = {
        {&Chaos::play, 6},         {&Chaos::stop_playing, 4},   {&Chaos::plug_in, 4},
        {&Chaos::pull_out, 4},     {&Chaos::switch_default, 5}, {&Chaos::turn_volume, 4},
        {&Chaos::mute, 2},         {&Chaos::start_program, 5},  {&Chaos::end_program, 2},
        {&Chaos::kill_program, 2}, {&Chaos::second_copy, 2},    {&Chaos::rob, 2},
        {&Chaos::hang, 2},         {&Chaos::restart_server, 1}, {&Chaos::rename, 2},
        {&Chaos::press_power, 4}};
    int all = 0;
    for (const auto& deed : kDeeds)
      all += deed.second;
    int at = below(all);
    const auto deed =
        std::ranges::find_if(kDeeds, [&at](const auto& d) { return (at -= d.second) < 0; });
    try {
      (this->*deed->first)();
    } catch (const std::exception& error) {
      // A server in trouble refuses; that is part of the game.
      say(std::string("refused: ") + error.what());
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(below(400)));
    ++actions_;
  }

  // Everything is where it belongs, sooner or later; throws when it is not.
  void settle() {
    std::this_thread::sleep_for(kCalm);
    const auto start = Clock::now();
    const auto ordered = wait_until("everything is where it belongs", kPatience, [&] {
      require_order();
      return true;
    });
    if (!ordered) print_logs();
    require(ordered);
    longest_ = std::max(longest_, Clock::now() - start);
  }

  // The guard knows the device that has to be the default again. To be asked when all is in order.
  void ask_guard() {
    if (below(4) != 0 || second_ != nullptr || !equalizes()) return;
    const std::string followed = played_to();
    kill_program();
    require(wait_until("the guard gives " + followed + " back", kRescue, [&](std::string& seen) {
      seen = client_.default_sink();
      return seen == followed;
    }));
  }

  // Leaves nothing behind.
  void end() {
    second_.reset();
    program_.reset();
    settle();
  }

  double longest_s() const { return std::chrono::duration<double>(longest_).count(); }

 private:
  int below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random_); }
  template <class Container>
  auto any_of(const Container& items) {
    return std::next(items.begin(), below(static_cast<int>(items.size())));
  }
  void say(const std::string& what) const { std::printf("%5d %s\n", actions_, what.c_str()); }

  std::string any_device() {
    std::vector<std::string> names = {"speakers", "headset"};
    names.insert(names.end(), plugged_.begin(), plugged_.end());
    return *any_of(names);
  }

  void play() {
    if (players_.size() >= 4) return stop_playing();
    // Thirds of an octave apart, so that each can be heard among the others.
    const double hz = 300 * std::exp2(next_tone_++ % 12 / 3.0);
    const std::string name = "Player " + std::to_string(next_tone_);
    players_.push_back({hz, name,
                        std::make_unique<TonePlayer>(server_.address(), sines({{hz, kLevelDb}}),
                                                     TonePlayerOptions{.application_name = name})});
    say("plays " + std::to_string(static_cast<int>(hz)) + " Hz");
  }
  void stop_playing() {
    if (players_.empty()) return;
    players_.erase(any_of(players_));
    say("stops playing");
  }
  void plug_in() {
    if (plugged_.size() >= 3) return pull_out();
    const std::string name = "usb" + std::to_string(next_device_++);
    client_.add_null_sink(name);
    plugged_.insert(name);
    say("plugs in " + name);
  }
  void pull_out() {
    if (plugged_.empty()) return;
    const std::string name = plugged_.extract(any_of(plugged_)).value();
    say("pulls out " + name);
    client_.remove_sink(name);
  }
  void rename() {
    if (plugged_.empty()) return;
    const std::string name = *any_of(plugged_);
    say("renames " + name);
    client_.remove_sink(name);
    client_.add_null_sink(name, "Device " + std::to_string(next_device_++));
  }
  void switch_default() {
    const std::string name = any_device();
    say("default " + name);
    client_.set_default_sink(name);
  }
  void turn_volume() {
    const std::string name = below(2) == 0 ? any_device() : kSink;
    say("volume of " + name);
    client_.set_sink_volume(name, 0.3 + 0.1 * below(8));
  }
  void mute() {
    const std::string name = below(2) == 0 ? any_device() : kSink;
    say("mute of " + name);
    client_.set_sink_mute(name, below(2) == 0);
  }
  std::unique_ptr<VelmoraProcess> launch(const TempDir& home) {
    if (!program_running(program_) && !program_running(second_)) preset_ = below(eq::kPresetCount);
    const std::string key = eq::kPresets[preset_].key;
    return std::make_unique<VelmoraProcess>(
        server_, VelmoraOptions{.arguments = {"--preset", key.substr(key.find('_') + 1)},
                                .config_home = home.path(),
                                .display = screen_.environment()});
  }
  void start_program() {
    if (program_running(program_)) return;
    program_ = launch(home_);
    say("starts the program");
  }
  void end_program() {
    if (program_ == nullptr) return;
    say("ends the program");
    program_.reset();
  }
  void kill_program() {
    if (program_ == nullptr) return;
    say("kills the program");
    program_->kill9();
    program_.reset();
  }
  void press_power() {
    if (!program_running(program_) || second_ != nullptr) return;
    const bool before = equalizes();
    Window(screen_).click(kPower);
    say(before ? "switches off" : "switches on");
  }
  void second_copy() {
    if (second_ != nullptr) {
      say("ends the second copy");
      return second_.reset();
    }
    // Beside one that is switched off, either may come out on top.
    if (program_running(program_) && !equalizes()) return;
    say("starts a second copy");
    second_ = launch(second_home_);
  }
  void rob() {
    const auto sink = client_.sink(kSink);
    if (!sink.has_value()) return;
    say("takes the virtual sink away");
    client_.unload_module(sink->owner_module);
  }
  void hang() {
    const int ms = 200 + below(3000);
    say("server hangs for " + std::to_string(ms) + " ms");
    server_.freeze();
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    server_.thaw();
  }
  void restart_server() {
    say("server dies and comes back");
    server_.kill();
    std::this_thread::sleep_for(std::chrono::milliseconds(below(2000)));
    server_.start();
    players_.clear();
    plugged_.clear();
  }

  void print_logs() const {
    for (const auto* copy : {&program_, &second_}) {
      if (*copy != nullptr) std::printf("---- log\n%s----\n", (*copy)->log().c_str());
    }
  }
  static bool program_running(const std::unique_ptr<VelmoraProcess>& program) {
    return program != nullptr && program->running();
  }
  // What its window says, where there is only one.
  bool equalizes() {
    if (!program_running(program_)) return false;
    if (second_ != nullptr) return true;
    const std::uint32_t light = Window(screen_).pixel(kPowerLight);
    return (light >> 8U & 0xFFU) > (light >> 16U & 0xFFU) + 20;
  }

  // Throws what is not as it belongs.
  void require_order() {
    std::erase_if(players_, [](const Player& p) { return p.player->failed(); });
    const bool routed = equalizes() || program_running(second_);
    const auto ours = std::ranges::count_if(client_.sinks(), [](const Sink& sink) {
      return sink.name.find(kSink) != std::string::npos;
    });
    const auto modules = std::ranges::count_if(client_.modules(), [](const Module& module) {
      return module.argument.find("sink_name=velmora") != std::string::npos;
    });
    check(ours == (routed ? 1 : 0) && modules == ours,
          std::to_string(ours) + " sinks and " + std::to_string(modules) + " modules of ours");
    const std::string def = client_.default_sink();
    check((def == kSink) == routed, "the default is " + def);
    for (const Player& p : players_) {
      const std::string on = client_.sink_of(p.name);
      check(!on.empty() && (on == kSink) == routed, p.name + " is on \"" + on + "\"");
    }
    if (routed && !players_.empty()) require_heard();
  }

  // The device of our playback stream; empty when there is not exactly one.
  std::string played_to() {
    return client_.sink_inputs_of(kOurs).size() == 1 ? client_.sink_of(kOurs) : "";
  }

  void require_heard() {
    const std::string device = played_to();
    check(!device.empty() && device != kSink, "our playback is on \"" + device + "\"");
    for (const std::string& name : {std::string(kSink), device}) {
      client_.set_sink_volume(name, 1);
      client_.set_sink_mute(name, false);
    }
    const double hz = players_.front().hz;
    const auto level_on = [&](const std::string& sink) {
      Recorder recorder(server_.address(), sink + ".monitor");
      const Stereo sound = recorder.next(500ms);
      return level_db(std::span(sound.left).last(kRate / 4), hz);
    };
    const double heard = level_on(device);
    const double wanted = kLevelDb + static_cast<double>(eq::response_db(
                                         eq::preset_curve(preset_), kRate, static_cast<float>(hz)));
    if (std::abs(heard - wanted) < kToleranceDb) return;
    throw std::runtime_error(std::to_string(heard) + " for " + std::to_string(wanted) + " dB on " +
                             device + ", " + std::to_string(level_on(kSink)) + " arrive at ours");
  }

  struct Player {
    double hz;
    std::string name;
    std::unique_ptr<TonePlayer> player;
  };

  std::mt19937 random_;
  TempDir home_;
  TempDir second_home_;
  SoundServer server_;
  Screen screen_;
  PulseClient client_{server_.address()};
  int preset_ = 0;  // of the program, and of the second copy
  std::unique_ptr<VelmoraProcess> program_;
  std::unique_ptr<VelmoraProcess> second_;
  std::vector<Player> players_;
  std::set<std::string> plugged_;
  int next_tone_ = 0;
  int next_device_ = 0;
  int actions_ = 0;
  Clock::duration longest_{};
};

}  // namespace

int main(int argc, char** argv) {
  const Arguments arguments(argc, argv);
  const int actions = static_cast<int>(arguments.number("--actions", 500));
  const ServerKind server = arguments.server(kScreenPrograms);
  return status_of([&] {
    Chaos chaos(server, arguments.seed());
    for (int done = 0; done < actions; done += kActionsPerRound) {
      for (int i = 0; i < kActionsPerRound; ++i)
        chaos.act();
      chaos.settle();
      chaos.ask_guard();
    }
    chaos.end();
    std::printf("%d actions, nothing out of order; the longest wait after the calm was %.1f s\n",
                actions, chaos.longest_s());
    return true;
  });
}
