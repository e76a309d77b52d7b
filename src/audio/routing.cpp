// DESIGN: reconcile compares a fresh snapshot with what is wanted and does the difference, so it
// can be run at any time, any number of times. What this run did to the server is two facts: the
// module that it loaded or adopted (g_module) and the device that gets everything back (g_follow).
// Only that module is ever unloaded.
//
// Two orders matter. The default device is changed before streams are moved, on the way in and on
// the way out: a server takes a stream that is moved onto the default device for one that follows
// the default, and otherwise pins it to the device for good. And the guard is told before the sink
// is loaded, not after: the program may be killed in between.

#include <utility>

#include "app/logger.h"
#include "audio/guard.h"
#include "audio_private.h"
#include "handover.h"

namespace audio {

namespace {

constexpr const char* kModuleName = "module-null-sink";
constexpr const char* kModuleArguments =
    " rate=48000 channels=2 channel_map=front-left,front-right "
    "sink_properties='device.description=Velmora monitor.channel-volumes=true "
    "device.icon_name=velmora'";
constexpr int kPolls = 10;  // for what the server has promised and does a moment later
constexpr int kPollMs = 100;
constexpr int kTries = 3;  // to become the default device, before it counts as refused
constexpr std::chrono::seconds kTryEvery{2};
constexpr std::chrono::seconds kRememberedLevel{
    1};                              // in which a server brings back an earlier sink's level
constexpr int kFirstSoundMs = 50;    // many fragments
constexpr int kFirstLinkMs = 1000;   // where the session manager has to be awaited
constexpr int kRestrictedMs = 1000;  // what a server that refuses default changes gets to answer

// Control thread only.
std::uint32_t g_module = kNoIndex;
bool g_load_unanswered = false;  // a sink was asked for and may yet appear
std::string g_load_fault;        // why the last one could not be loaded, empty when it could
Follow g_follow;
Clock::time_point g_loaded_at;
struct Level {
  pa_volume_t volume = PA_VOLUME_NORM;
  bool muted = false;
};
Level g_level;  // to which the person has turned our sink
// While our sink is being removed, and until what was handed over has been taken back.
std::optional<Handover> g_handed_over;
int g_tries = 0;  // to become the default device in vain
Clock::time_point g_tried_at;
bool g_restricted = false;
bool g_restricted_said = false;
bool g_passive_said = false;

void on_module_loaded(pa_context* /*c*/, std::uint32_t index, void* user) {
  *static_cast<std::uint32_t*>(user) = index;
  signal_loop();
}

// A request whose answer is yes or no. Returns whether the server said yes.
template <typename Request>
bool granted(const LoopLock& lock, int ms, Request request) {
  bool yes = false;
  return wait_op(lock, request(context(lock), &yes), ms) && yes;
}

bool set_default(const LoopLock& lock, const std::string& name, int ms) {
  return granted(lock, ms, [&](pa_context* c, bool* yes) {
    return pa_context_set_default_sink(c, name.c_str(), on_success, yes);
  });
}

// The server may agree and change the default later, or never. Returns whether it did.
bool poll_default(const LoopLock& lock, const std::string& name) {
  for (int i = 0; i < kPolls; ++i) {
    if (i > 0) pause_unlocked(lock, kPollMs);
    const auto now = query_default(lock);
    if (!now || *now == name) return now.has_value();
  }
  return false;
}

// Streams end at any time, so a move that fails is no failure of ours: the next snapshot tells.
void move_streams(const LoopLock& lock, const std::vector<std::uint32_t>& streams,
                  std::uint32_t sink) {
  for (const std::uint32_t stream : streams) {
    granted(lock, kRequestMs, [&](pa_context* c, bool* yes) {
      return pa_context_move_sink_input_by_index(c, stream, sink, on_success, yes);
    });
  }
}

bool set_mute_of(const LoopLock& lock, const std::string& sink, bool mute) {
  return granted(lock, kRequestMs, [&](pa_context* c, bool* yes) {
    return pa_context_set_sink_mute_by_name(c, sink.c_str(), mute ? 1 : 0, on_success, yes);
  });
}

bool set_volume_of(const LoopLock& lock, const std::string& sink, const pa_cvolume& volume) {
  return granted(lock, kRequestMs, [&](pa_context* c, bool* yes) {
    return pa_context_set_sink_volume_by_name(c, sink.c_str(), &volume, on_success, yes);
  });
}

bool owns_sink(const Snapshot& s) {
  const SinkInfo* ours = s.find(kSinkName);
  return ours != nullptr && g_module != kNoIndex && ours->module == g_module;
}

// Servers round.
bool has_volume(const SinkInfo& sink, pa_volume_t volume) {
  constexpr pa_volume_t kNear = PA_VOLUME_NORM / 1000;
  if (volume == PA_VOLUME_NORM) return sink.full_volume;
  return sink.volume + kNear >= volume && sink.volume <= volume + kNear;
}

void take_module(std::uint32_t module) {
  g_module = module;
  g_tries = 0;
  guard::owns_module(module);
}

// What the server remembers of an earlier virtual sink (a low volume, a mute) is not what the
// person hears now, and on the way out a low volume is handed to the real device: without this it
// would sink from run to run. Some servers bring it back a moment after the sink has appeared. But
// where our sink was lost, with its server or by others' doing, nothing was handed over, and the
// new one must not be louder.
void start_at_level(const LoopLock& lock, const SinkInfo& ours) {
  if (Clock::now() - g_loaded_at > kRememberedLevel) return;
  if (!has_volume(ours, g_level.volume)) {
    pa_cvolume volume;
    pa_cvolume_set(&volume, kChannels, g_level.volume);
    set_volume_of(lock, kSinkName, volume);
  }
  if (ours.muted != g_level.muted) set_mute_of(lock, kSinkName, g_level.muted);
}

void remember_level(const Snapshot& s) {
  if (Clock::now() - g_loaded_at <= kRememberedLevel) return;
  const SinkInfo* ours = s.find(kSinkName);
  g_level = {ours->volume, ours->muted};
}

bool unload(const LoopLock& lock, std::uint32_t module) {
  const bool unloaded = granted(lock, kRequestMs, [module](pa_context* c, bool* yes) {
    return pa_context_unload_module(c, module, on_success, yes);
  });
  if (unloaded) logger::info("Virtual sink removed (module " + std::to_string(module) + ")");
  return unloaded;
}

// The snapshot in which the sink of our new module is there; a server may need a moment to show it.
std::optional<Snapshot> query_with_sink(const LoopLock& lock) {
  std::optional<Snapshot> s;
  for (int i = 0; i < kPolls; ++i) {
    if (i > 0) pause_unlocked(lock, kPollMs);
    s = query(lock);
    if (!s || owns_sink(*s)) break;
  }
  return s;
}

// Loads our sink. `s` becomes the snapshot after that.
bool load_sink(const LoopLock& lock, Snapshot* s) {
  std::uint32_t module = kNoIndex;
  const std::string arguments = std::string("sink_name=") + kSinkName + kModuleArguments;
  const bool answered =
      wait_op(lock, pa_context_load_module(context(lock), kModuleName, arguments.c_str(),
                                           on_module_loaded, &module));
  g_load_unanswered = !answered;
  if (!answered || module == kNoIndex) {
    // It is tried again every second.
    const std::string fault = error_text(lock);
    if (std::exchange(g_load_fault, fault) != fault)
      logger::error("Virtual sink cannot be loaded: " + fault);
    return false;
  }
  g_load_fault.clear();
  take_module(module);
  logger::info("Virtual sink loaded (module " + std::to_string(module) + ")");
  auto now = query_with_sink(lock);
  if (!now) return false;
  *s = std::move(*now);
  if (!owns_sink(*s)) {
    // Another copy was faster and has the name; the server gave our sink a different one.
    unload(lock, module);
    take_module(kNoIndex);
    return false;
  }
  g_loaded_at = Clock::now();
  return true;
}

bool ensure_sink(const LoopLock& lock, Snapshot* s) {
  const SinkInfo* ours = s->find(kSinkName);
  if (ours == nullptr) return load_sink(lock, s);
  if (g_module == kNoIndex) {
    take_module(ours->module);
    g_load_unanswered = false;
    logger::info("Virtual sink taken over from the last run");
  }
  return true;
}

void restrict() {
  g_restricted = true;
  if (std::exchange(g_restricted_said, true)) return;
  logger::warn(
      "Default device cannot be set here (restricted environment) - the user picks the sink");
}

// Whether the server would not change the default device although our sink was there all the time.
void count_try(const LoopLock& lock) {
  if (Clock::now() - g_tried_at < kTryEvery) return;
  const auto now = query(lock);
  if (!now || !owns_sink(*now)) return;
  g_tried_at = Clock::now();
  if (++g_tries >= kTries) restrict();
}

// Returns whether our sink is the default device now, or never will be. A busy server may look for
// the sink before it is quite there, and looks again only for another request than the last one: so
// every further try asks for the present device first.
bool become_default(const LoopLock& lock, const std::string& present) {
  if (g_restricted) {
    set_default(lock, kSinkName, kRestrictedMs);
    return true;
  }
  if (g_tries > 0) set_default(lock, present, kRequestMs);
  const bool agreed = set_default(lock, kSinkName, kRequestMs);
  if (!agreed && !server_silent(lock) && access_denied(lock)) {
    restrict();
    return true;
  }
  if (agreed && poll_default(lock, kSinkName)) {
    g_tries = 0;
    return true;
  }
  if (server_silent(lock)) return false;
  // Where the user has chosen another device meanwhile, the next pass follows it.
  const auto now = query_default(lock);
  if (now && *now == present) count_try(lock);
  return g_restricted;
}

struct SinkLevel {
  pa_cvolume volume{};
  bool muted = false;
  bool found = false;
};

void on_level(pa_context* /*c*/, const pa_sink_info* info, int eol, void* user) {
  if (eol == 0) *static_cast<SinkLevel*>(user) = {info->volume, info->mute != 0, true};
  signal_loop();
}

SinkLevel level_of(const LoopLock& lock, const std::string& sink) {
  SinkLevel level;
  wait_op(lock, pa_context_get_sink_info_by_name(context(lock), sink.c_str(), on_level, &level));
  return level;
}

// The person turned down "the default device", which was our sink. Without it the same sound must
// not be louder.
void hand_over_volume(const LoopLock& lock, const std::string& target) {
  const SinkLevel ours = level_of(lock, kSinkName);
  if (!ours.found) return;
  const pa_volume_t volume = pa_cvolume_max(&ours.volume);
  if (volume == PA_VOLUME_NORM && !ours.muted) return;
  SinkLevel real = level_of(lock, target);
  if (!real.found) return;
  // The pass before may have come this far.
  const pa_volume_t before = pa_cvolume_max(&real.volume);
  if (g_handed_over && g_handed_over->device == target &&
      still_as_left(*g_handed_over, before, real.muted))
    return;
  g_handed_over = {target, before, volume, ours.muted};
  pa_sw_cvolume_multiply_scalar(&real.volume, &real.volume, volume);
  set_volume_of(lock, target, real.volume);
  if (ours.muted) set_mute_of(lock, target, true);
}

// What can be taken back of that, now that our sink is there again.
std::optional<Handover> taken_back(const Snapshot& s) {
  auto handover = take_handover();
  if (!handover || handover->device != g_follow.device) return std::nullopt;
  const SinkInfo* device = s.find(handover->device);
  if (device == nullptr || !still_as_left(*handover, device->volume, device->muted))
    return std::nullopt;
  return handover;
}

// Our sink is turned down and has the music, so nothing gets louder.
void turn_up_again(const LoopLock& lock, const Handover& handover) {
  SinkLevel device = level_of(lock, handover.device);
  if (!device.found) return;
  pa_cvolume_scale(&device.volume, handover.before);
  set_volume_of(lock, handover.device, device.volume);
  if (handover.muted) set_mute_of(lock, handover.device, false);
}

// Gives the default device and the streams back to `target`.
void hand_back(const LoopLock& lock, const Snapshot& s, const SinkInfo& target, bool takeover) {
  hand_over_volume(lock, target.name);
  if (takeover && s.default_sink == kSinkName) {
    set_default(lock, target.name, g_restricted ? kRestrictedMs : kRequestMs);
    if (!g_restricted) poll_default(lock, target.name);
  }
  if (g_restricted) return;
  // Streams may have come since the snapshot was taken.
  const auto now = query(lock);
  if (now) move_streams(lock, streams_to_return(*now), target.index);
}

// Removes our sink and puts back what it changed. Returns false when that could not be completed.
bool teardown(const LoopLock& lock, const Snapshot& s, const std::string& target_name,
              bool takeover) {
  const SinkInfo* target = is_reserved(target_name) ? nullptr : s.find(target_name);
  close_play(lock);
  if (!owns_sink(s)) {
    g_module = kNoIndex;
    guard::disarmed();
    return true;
  }
  if (target != nullptr) hand_back(lock, s, *target, takeover);
  close_record(lock);
  const bool unloaded = unload(lock, g_module);
  if (server_silent(lock)) return false;
  if (!unloaded) logger::warn("Virtual sink cannot be removed: " + error_text(lock));
  g_module = kNoIndex;
  g_level = {};
  guard::disarmed();
  // Last, for a disk may take its time.
  if (g_handed_over) keep_handover(*g_handed_over);
  g_handed_over.reset();
  return unloaded;
}

void apply_mute(const LoopLock& lock, int mute, const std::string& target) {
  if (mute < 0 || target.empty()) return;
  if (!set_mute_of(lock, target, mute == 1)) return;
  if (mute == 0) set_mute_of(lock, kSinkName, false);
  logger::info(mute == 1 ? "Muted" : "Unmuted");
}

void stay_passive(const LoopLock& lock) {
  g_level = {};
  guard::disarmed();
  close_play(lock);
  close_record(lock);
  update_status([](Status& s) {
    s.state = kPassive;
    s.streams_alive = false;
  });
  if (!g_passive_said) logger::warn("Another installation is running - this one stays passive");
  g_passive_said = true;
}

void suspend(const LoopLock& lock, const std::string& sink, bool suspended) {
  granted(lock, kRequestMs, [&](pa_context* c, bool* yes) {
    return pa_context_suspend_sink_by_name(c, sink.c_str(), suspended ? 1 : 0, on_success, yes);
  });
}

// A virtual sink that nobody hurries works off two seconds at once, as soon as it exists, and then
// sleeps that long: whatever is played to it meanwhile would be heard late or never. A stream of
// ours hurries it, but only from the next time it wakes up on. Suspending it for a moment makes it
// forget what it has worked ahead. Not for other servers' sinks, which from then on hand silence to
// whoever recorded them before.
void wake_sink(const LoopLock& lock, const std::string& sink) {
  for (const bool suspended : {true, false})
    suspend(lock, sink, suspended);
}

bool ensure_play(const LoopLock& lock, const Snapshot& s, const std::string& target) {
  if (target.empty()) {
    close_play(lock);
    return true;
  }
  const SinkInfo* sink = s.find(target);
  if (sink != nullptr && play_alive(lock, *sink)) return true;
  // Where the person chose another default, the music has left us already.
  if (s.default_sink == kSinkName) fade_play_out(lock);
  if (!open_play(lock, target)) return false;
  // Where the person's own "device" is a virtual sink, and silent.
  if (sink != nullptr && sink->works_ahead && is_idle(s, *sink)) wake_sink(lock, target);
  return true;
}

bool ensure_record(const LoopLock& lock, const SinkInfo& ours) {
  // Not by itself, as we record it: what is played to it would be lost.
  if (ours.works_ahead && ours.suspended) suspend(lock, kSinkName, false);
  if (record_alive(lock, ours, true)) return true;
  if (!open_record(lock, ours, true)) return false;
  // Elsewhere the first sound tells that the server's session manager knows the sink: one that is
  // to be the default before that may be overlooked for good.
  const bool delivers = record_delivers(lock, ours.works_ahead ? kFirstSoundMs : kFirstLinkMs);
  if (ours.works_ahead && !delivers) wake_sink(lock, kSinkName);
  return true;
}

bool reconcile_off(const LoopLock& lock, const Snapshot& s, const std::string& target,
                   bool takeover) {
  // A sink that a run left behind is ours to clear away, and nobody else's: no other copy is
  // running.
  const SinkInfo* leftover = s.find(kSinkName);
  if (leftover != nullptr && g_module == kNoIndex) take_module(leftover->module);
  bool done = teardown(lock, s, g_follow.device, takeover);
  const SinkInfo* heard = s.find(target);
  if (heard == nullptr) {
    close_record(lock);
  } else if (!record_alive(lock, *heard, false)) {
    done = open_record(lock, *heard, false) && done;
  } else {
    rest_spectrum(lock, heard->in_use);
  }
  auto now = query(lock);
  if (!now) return false;
  publish(*now, target, g_follow.device, false, streams_alive(lock), false);
  return done;
}

bool reconcile_on(const LoopLock& lock, Snapshot s, const std::string& target, bool takeover) {
  guard::armed(g_follow.device);
  const bool anew = s.find(kSinkName) == nullptr;
  if (!ensure_sink(lock, &s)) {
    publish(s, target, g_follow.device, false, false, false);
    return false;
  }
  if (anew && takeover && !g_restricted) {
    g_handed_over = taken_back(s);
    if (g_handed_over) g_level = {g_handed_over->ours, g_handed_over->muted};
  }
  const SinkInfo* ours = s.find(kSinkName);
  start_at_level(lock, *ours);
  bool done = ensure_play(lock, s, target);
  done = ensure_record(lock, *ours) && done;
  if (takeover) {
    const bool settled = s.default_sink == kSinkName || become_default(lock, s.default_sink);
    done = settled && done;
    if (settled && !g_restricted) {
      move_streams(lock, streams_to_take(s, g_follow.device), ours->index);
      if (const auto handover = std::exchange(g_handed_over, {})) turn_up_again(lock, *handover);
    }
  }
  auto now = query(lock);
  if (!now) return false;
  const bool elsewhere =
      takeover && now->default_sink != kSinkName && now->default_sink != kSiblingSink;
  publish(*now, target, g_follow.device, true, streams_alive(lock), elsewhere);
  return done;
}

}  // namespace

// The guard, too: a new one is not to be mistaken for somebody else's.
void forget_module() {
  take_module(kNoIndex);
  g_load_unanswered = false;
}

bool reconcile(const LoopLock& lock, const Wishes& wishes) {
  auto s = query(lock);
  if (!s) return false;
  // A sink of our name in another module than ours is another copy's: ours has been removed by
  // someone.
  if (g_module != kNoIndex && !owns_sink(*s)) forget_module();
  if (g_module != kNoIndex) remember_level(*s);
  if (g_module != kNoIndex && must_yield(*s)) {
    g_module = kNoIndex;
    guard::disarmed();
  }
  if (wishes.active && s->other_instance && g_module == kNoIndex) {
    stay_passive(lock);
    return true;
  }
  g_follow = next_follow(*s, g_follow, wishes.restore_hint);
  const std::string target = choose_target(*s, wishes.output, g_follow.device);
  apply_mute(lock, wishes.mute, target);
  if (!wishes.active) {
    publish(*s, target, g_follow.device, false, false, false);
    return true;
  }
  return *wishes.active ? reconcile_on(lock, std::move(*s), target, wishes.takeover)
                        : reconcile_off(lock, *s, target, wishes.takeover);
}

bool restore_server(const LoopLock& lock, bool takeover) {
  if (g_module == kNoIndex) return !g_load_unanswered;
  const auto s = query(lock);
  return s && teardown(lock, *s, g_follow.device, takeover);
}

void suggest_follow(const std::string& restore_hint) {
  if (g_follow.device.empty() && !is_reserved(restore_hint)) g_follow.device = restore_hint;
}

void forget_restrictions() {
  g_restricted = false;
  g_tries = 0;
}

}  // namespace audio
