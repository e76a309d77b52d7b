// Stories on a made-up server, and all that follows from each step: what is requested, where sound
// goes, what the guard, the interface and the log are told.
#include <regex>

#include "app/logger.h"
#include "approved.h"
#include "audio/audio_private.h"
#include "audio/guard.h"
#include "audio/rescue.h"
#include "made_up_server.h"
#include "realtime/realtime.h"

namespace realtime {
void request(pid_t) {}
void withdraw() {}
}  // namespace realtime

namespace guard {
namespace {
void note(const std::string& what) {
  made_up::server.asked.push_back("guard " + what);
}
}  // namespace
void start() {}
void stop() {}
void tick() {}
bool is_guard(int, char**) {
  return false;
}
void run(const char*) {
  std::abort();
}
void armed(const std::string& device) {
  note("armed " + device);
}
void owns_module(std::uint32_t index) {
  note("module " + std::to_string(index));
}
void takeover(bool taken) {
  note("takeover " + std::to_string(taken));
}
void disarmed() {
  note("disarmed");
}
void abandon() {
  note("abandoned");
}
}  // namespace guard

namespace {

using approved::Lines;
using approved::number;
using made_up::server;

std::string percent(const pa_cvolume& v) {
  std::string text;
  for (unsigned c = 0; c < v.channels; ++c)
    text += " " + number(100.0 * v.values[c] / PA_VOLUME_NORM) + "%";
  return text;
}

class story : public Test {
 protected:
  story() {
    fs::create_directories(home_.config());
    server = {};
    audio::loop_start();
  }
  ~story() override {
    {
      const audio::LoopLock lock;
      audio::disconnect_locked(lock);
    }
    audio::loop_stop();
  }

  // What the control thread does in one pass.
  void pass() {
    const audio::LoopLock lock;
    audio::begin_pass(lock);
    if (audio::connection_lost()) {
      audio::disconnect_locked(lock);
      audio::forget_module();
    }
    if (audio::context(lock) == nullptr) {
      if (!audio::connect_locked(lock)) return server.asked.emplace_back("no connection"), void();
      audio::begin_connection();
      audio::suggest_follow(wishes_.restore_hint);
    }
    const bool done = audio::reconcile(lock, wishes_);
    wishes_.mute = -1;
    server.asked.emplace_back(done ? "pass done" : "pass failed");
  }

  Lines world() {
    Lines all{"default " + server.default_sink};
    for (const made_up::Sink& s : server.sinks)
      all.push_back("sink " + std::to_string(s.index) + " " + s.name + percent(s.volume) +
                    (s.mute ? " muted" : "") + (s.suspended ? " suspended" : ""));
    for (const made_up::Stream& s : server.streams)
      all.push_back((s.recording ? "recording " : "playback ") + std::to_string(s.index) + " on " +
                    std::to_string(s.device) + percent(s.volume) + (s.mute ? " muted" : "") +
                    (s.of_ours != nullptr ? " ours" : ""));
    const audio::Status s = audio::status();
    all.push_back("status " + std::to_string(s.state) + " target " + s.target + " (" +
                  s.target_label + ") follow " + s.follow + " id " + s.target_id +
                  (s.streams_alive ? " alive" : "") + (s.active ? " active" : "") +
                  (s.muted ? " muted" : "") + (s.select_output ? " select" : ""));
    for (const audio::Device& d : audio::devices())
      all.push_back("device " + d.name + " " + d.label);
    for (const auto& entry : fs::directory_iterator(home_.config()))
      all.push_back("file " + entry.path().filename().string() + ": " +
                    approved::lines_of(read_file(entry.path()) + "\n")[0]);
    std::vector<float> left(4);
    std::vector<float> right(4);
    if (audio::tap(left.data(), right.data(), 4, nullptr, nullptr))
      all.push_back("tap " + number(left[3], 3) + " " + number(right[3], 3));
    return all;
  }

  std::string act(const std::string& line) {
    std::istringstream in(line);
    std::string what;
    std::string name;
    in >> what;
    const auto next = [&in] {
      int n = 0;
      in >> n;
      return n;
    };
    const auto rest = [&in] {
      std::string all;
      std::getline(in >> std::ws, all);
      return all;
    };
    const auto sink = [&]() -> made_up::Sink& {
      in >> name;
      if (server.find(name) == nullptr) throw std::runtime_error("no sink " + name);
      return *server.find(name);
    };
    const std::map<std::string, std::function<void()>> actions{
        {"sink",
         [&] {
           in >> name;
           server.add(name).properties["device.description"] = rest();
         }},
        {"property",
         [&] {
           auto& s = sink();
           in >> name;
           s.properties[name] = rest();
         }},
        {"port",
         [&] {
           auto& s = sink();
           s.port = rest();
         }},
        {"channels",
         [&] {
           auto& s = sink();
           pa_cvolume_set(&s.volume, static_cast<unsigned>(next()), PA_VOLUME_NORM);
         }},
        {"null", [&] { sink().driver = "module-null-sink.c"; }},
        {"module",
         [&] {
           auto& s = sink();
           s.module = static_cast<std::uint32_t>(next());
         }},
        {"flat", [&] { sink().flat = true; }},
        {"describe",
         [&] {
           auto& s = sink();
           s.properties["device.description"] = std::regex_replace(rest(), std::regex(" / "), "\n");
         }},
        {"remove",
         [&] {
           in >> name;
           server.remove(name);
         }},
        {"default", [&] { server.default_sink = rest(); }},
        {"shown", [&] { server.shown = rest(); }},
        {"volume",
         [&] {
           auto& s = sink();
           for (unsigned c = 0; c < s.volume.channels; ++c)
             s.volume.values[c] =
                 static_cast<pa_volume_t>(std::lround(next() * (PA_VOLUME_NORM / 100.0)));
         }},
        {"mute",
         [&] {
           auto& s = sink();
           s.mute = next() != 0;
         }},
        {"stream",
         [&] {
           const auto& s = sink();
           made_up::Stream& stream = server.streams.emplace_back();
           stream.index = server.next++;
           stream.device = s.index;
           stream.client = static_cast<std::uint32_t>(next());
           pa_cvolume_set(&stream.volume, 2, PA_VOLUME_NORM);
           in >> name;
           stream.properties["application.name"] = name;
           if (in >> name) stream.module = server.find(name)->module;  // of the filter that plays
         }},
        {"other-copy",
         [&] {
           const auto& s = sink();
           made_up::Stream& stream = server.streams.emplace_back();
           stream.index = server.next++;
           stream.device = s.index + 1000;
           stream.client = static_cast<std::uint32_t>(next());
           stream.recording = true;
           pa_cvolume_set(&stream.volume, 2, PA_VOLUME_NORM);
           stream.properties["application.name"] = "Velmora";
         }},
        {"end-client",
         [&] {
           const int client = next();
           std::erase_if(server.streams,
                         [&](const auto& s) { return static_cast<int>(s.client) == client; });
         }},
        {"server", [&] { server.mode = rest(); }},
        {"remembers", [&] { server.remembered = next(); }},
        {"flows", [&] { server.flows = next() != 0; }},
        {"lose",
         [&] {
           server.lose_connections();
           std::erase_if(server.sinks, [](const auto& s) { return s.name == "velmora"; });
           server.streams.clear();
         }},
        {"active", [&] { wishes_.active = next() != 0; }},
        {"output", [&] { wishes_.output = rest(); }},
        {"hint", [&] { wishes_.restore_hint = rest(); }},
        {"takeover", [&] { wishes_.takeover = next() != 0; }},
        {"wish-mute", [&] { wishes_.mute = next(); }},
        {"curve",
         [&] {
           eq::Curve c;
           in >> c.preamp >> c.gain[5];
           audio::set_curve(c);
         }},
        {"curve-of",
         [&] {
           in >> name;
           eq::Curve c;
           in >> c.preamp;
           audio::set_device_curve(name, c);
         }},
        {"pass", [&] { pass(); }},
        {"sound",
         [&] {
           in >> server.left >> server.right;
           server.pass(next());
         }},
        {"missed",
         [&] {
           const audio::LoopLock lock;
           server.asked.push_back(audio::record_missed(lock) ? "missed" : "not missed");
         }},
        {"expect", [&] { audio::expect_sound(); }},
        {"statistics",
         [&] {
           audio::report_stats();
           audio::report_dry_moment(audio::Clock::now());
         }},
        {"totals", [&] { audio::report_totals(); }},
        {"restore",
         [&] {
           const audio::LoopLock lock;
           audio::begin_pass(lock);
           server.asked.emplace_back(
               audio::restore_server(lock, wishes_.takeover) ? "restored" : "not restored");
         }},
        {"rescue", [&] {
           guard::Orders orders;
           orders.armed = true;
           in >> orders.device;
           orders.takeover = next() != 0;
           if (const int module = next(); module > 0)
             orders.module = static_cast<std::uint32_t>(module);
           audio::rescue(orders, 4711);
         }}};
    const auto action = actions.find(what);
    EXPECT_NE(action, actions.end()) << line;
    if (action == actions.end()) return "";
    const double before_ms = server.now_ms;
    action->second();
    std::string result;
    for (const std::string& asked : std::exchange(server.asked, {}))
      result += asked + "\n";
    Lines now = world();
    result += approved::difference(before_, now);
    before_ = std::move(now);
    if (server.written > 0)
      result += "wrote " + std::to_string(server.written) + " samples, peaks " +
                number(server.peak[0], 3) + " " + number(server.peak[1], 3) + ", sum " +
                number(server.sum / 1e4) + "\n";
    server.written = 0;
    server.peak[0] = server.peak[1] = 0;
    server.sum = 0;
    const Lines log = logger::tail(500);
    for (; logged_ < log.size(); ++logged_)
      result += "log" + log[logged_].substr(8) + "\n";
    if (server.now_ms != before_ms)
      result += "after " + number(server.now_ms - before_ms, 0) + " ms\n";
    return result;
  }

  Home home_;
  audio::Wishes wishes_{
      .active = {}, .output = {}, .restore_hint = {}, .mute = -1, .takeover = true};
  Lines before_;
  std::size_t logged_ = 0;
};

TEST_F(story, ends_where_it_ended) {
  for (const char* part : {"life.txt", "devices.txt"})
    approved::expect(part, [this](const std::string& line) { return act(line); });
}

}  // namespace
