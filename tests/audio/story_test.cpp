// Stories on a made-up server, and all that follows from each step: what is requested, where sound
// goes, what the guard, the interface and the log are told.
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

constexpr const char* kLinkGroup = "node.link-group";

using approved::Action;
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
    const bool done = audio::reconcile(lock, &wishes_);
    if (done) wishes_.mute = -1;
    server.asked.emplace_back(done ? "pass done" : "pass failed");
  }

  Lines world() {
    Lines all{"default " + server.default_sink, "unused " + server.unused()};
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

  // What others do to a sink.
  void change_sink(Action& a) {
    made_up::Sink* sink = nullptr;
    const auto of_sink = [&](const char* name) {
      if (!a.is(name)) return false;
      const std::string word = a.word();
      sink = server.find(word);
      if (sink == nullptr) throw std::runtime_error("no sink " + word);
      return true;
    };
    if (a.is("sink")) {
      sink = &server.add(a.word());
      sink->properties["device.description"] = a.rest();
    }
    if (of_sink("property")) {
      const std::string key = a.word();
      sink->properties[key] = a.rest();
    }
    if (of_sink("describe")) sink->properties["device.description"] = a.rest();
    if (of_sink("port")) sink->port = a.rest();
    if (of_sink("channels")) pa_cvolume_set(&sink->volume, a.next<unsigned>(), PA_VOLUME_NORM);
    if (of_sink("null")) sink->driver = "module-null-sink.c";
    if (of_sink("module")) a >> sink->module;
    if (of_sink("flat")) sink->flat = true;
    if (of_sink("renumber")) sink->index = server.next++;  // it went and came back
    if (of_sink("mute")) a >> sink->mute;
    if (of_sink("suspend")) a >> sink->suspended;
    if (of_sink("idle")) a >> sink->idle;
    if (of_sink("volume"))
      for (unsigned c = 0; c < sink->volume.channels; ++c)
        sink->volume.values[c] =
            static_cast<pa_volume_t>(std::lround(a.next<double>() * (PA_VOLUME_NORM / 100.0)));
    const bool copy = of_sink("other-copy");
    if (copy || of_sink("stream")) {
      made_up::Stream& stream = server.streams.emplace_back();
      stream.index = server.next++;
      stream.device = sink->index + (copy ? 1000 : 0);
      stream.recording = copy;
      a >> stream.client;
      pa_cvolume_set(&stream.volume, 2, PA_VOLUME_NORM);
      stream.properties["application.name"] = copy ? "Velmora" : a.word();
      // Of the filter that plays.
      if (const std::string name = a.word(); !name.empty()) {
        stream.module = server.find(name)->module;
        stream.properties[kLinkGroup] = server.find(name)->properties[kLinkGroup];
      }
    }
  }

  void change_server(Action& a) {
    if (a.is("remove")) server.remove(a.word());
    if (a.is("default")) server.default_sink = a.rest();
    if (a.is("holes")) a >> server.holes;
    if (a.is("shown")) server.shown = a.rest();
    if (a.is("end-client")) {
      const auto client = a.next<std::uint32_t>();
      std::erase_if(server.streams, [&](const auto& s) { return s.client == client; });
    }
    if (a.is("meanwhile")) {
      std::getline(a >> std::ws, server.meanwhile.first, ':');
      server.meanwhile.second = [this, line = a.rest()] {
        Action later(line);
        change_sink(later), change_server(later);
      };
    }
    if (a.is("server")) server.mode = a.rest();
    if (a.is("remembers")) server.remembered = a.next();
    if (a.is("flows")) server.flows = a.next() != 0;
    if (a.is("lose")) {
      server.lose_connections();
      std::erase_if(server.sinks, [](const auto& s) { return s.name == "velmora"; });
      server.streams.clear();
    }
    if (a.is("sound")) {
      a >> server.left >> server.right;
      server.pass(a.next());
    }
  }

  // What the interface, the control thread and the guard ask for.
  void ask(Action& a) {
    if (a.is("active")) wishes_.active = a.next() != 0;
    if (a.is("output")) wishes_.output = a.rest();
    if (a.is("hint")) wishes_.restore_hint = a.rest();
    if (a.is("takeover")) wishes_.takeover = a.next() != 0;
    if (a.is("wish-mute")) wishes_.mute = a.next();
    if (a.is("curve")) {
      eq::Curve c;
      a >> c.preamp >> c.gain[5];
      audio::set_curve(c);
    }
    if (a.is("no-curves")) audio::set_device_curves({});
    if (a.is("curve-of")) {
      const std::string device = a.word();
      audio::set_device_curve(device, {.preamp = a.next<float>()});
    }
    if (a.is("pass")) pass();
    if (a.is("missed")) {
      const audio::LoopLock lock;
      server.asked.push_back(audio::record_missed(lock) ? "missed" : "not missed");
    }
    if (a.is("expect")) audio::expect_sound();
    if (a.is("statistics")) {
      audio::report_stats();
      audio::report_dry_moment(audio::Clock::now());
    }
    if (a.is("totals")) audio::report_totals();
    if (a.is("restore")) {
      const audio::LoopLock lock;
      audio::begin_pass(lock);
      server.asked.emplace_back(audio::restore_server(lock, wishes_.takeover) ? "restored"
                                                                              : "not restored");
    }
    if (a.is("rescue")) {
      guard::Orders orders;
      orders.armed = true;
      a >> orders.device >> orders.takeover;
      if (const int module = a.next(); module > 0)
        orders.module = static_cast<std::uint32_t>(module);
      audio::rescue(orders, 4711);
    }
  }

  std::string act(Action& a) {
    const double before_ms = server.now_ms;
    change_sink(a);
    change_server(a);
    ask(a);
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
  for (const char* part : {"life.txt", "devices.txt", "refusals.txt"})
    approved::expect(part, [this](Action& a) { return act(a); });
}

}  // namespace
