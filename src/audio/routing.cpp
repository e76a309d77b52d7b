// DESIGN: reconcile compares a fresh snapshot with the wanted state and applies the difference, so
// it can be run at any time, any number of times. Two facts describe what this run has changed on
// the server: its module (virtual_sink) and the device that gets everything back (g_follow).
//
// Two orders matter. The default device is changed before streams are moved, at the beginning and
// at the end: a server takes a stream that is moved to the default device for one that follows the
// default, and otherwise pins it to the device for good. And the guard is armed before the sink is
// loaded, not after: the program may be killed in between.

#include <utility>

#include "app/logger.h"
#include "audio/guard.h"
#include "audio_private.h"
#include "default_device.h"
#include "handover.h"
#include "requests.h"
#include "virtual_sink.h"

namespace audio {

namespace {

constexpr int kTries = 3;  // to become the default device, or to take the handed-over volume back
constexpr std::chrono::seconds kTryEvery{2};
constexpr int kFirstSoundMs = 50;    // for several fragments
constexpr int kFirstLinkMs = 1000;   // until the session manager has linked our stream
constexpr int kRestrictedMs = 1000;  // for the answer of a server that refuses default changes

// Control thread.
Follow g_follow;
// Set while our sink is being removed, and until the volume has been taken back.
std::optional<Handover> g_handed_over;
int g_take_back_tries = 0;
int g_tries = 0;  // failed tries to become the default device with this sink
Clock::time_point g_tried_at;
std::string g_asked_for;  // the device that was the default at the last try
bool g_restricted = false;
bool g_refused = false;  // and the server reported that
DefaultHistory g_history;
std::vector<std::pair<std::uint32_t, std::uint32_t>> g_elsewhere;  // see streams_elsewhere
bool g_no_device_logged = false;
bool g_surround_logged = false;
std::string g_looked_for;  // the last device that the user chose
bool g_restricted_logged = false;
bool g_passive_logged = false;

void restrict() {
  g_restricted = true;
  if (std::exchange(g_restricted_logged, true)) return;
  logger::warn(
      "Default device cannot be set here (restricted environment) - the user picks the sink");
}

// Counts a try in which the server did not change the default device although our sink was there
// all the time.
void count_try(const LoopLock& lock) {
  if (Clock::now() - g_tried_at < kTryEvery) return;
  const auto now = query(lock);
  if (!now || !owns_sink(*now)) return;
  g_tried_at = Clock::now();
  if (++g_tries >= kTries) restrict();
}

// Returns whether our sink is the default device now, or never will be. A busy server may look for
// the sink before it is complete, and looks again only if a request differs from the last one; so
// every further try first requests the present device.
bool become_default(const LoopLock& lock, const std::string& present) {
  if (g_restricted) {
    set_default(lock, kSinkName, kRestrictedMs);
    return true;
  }
  // Opening the streams took a while: if the user has chosen another device by now, the next pass
  // follows it.
  if (query_default(lock) != present) return false;
  g_asked_for = present;
  if (g_tries > 0) set_default(lock, present, kRequestMs);
  const bool agreed = set_default(lock, kSinkName, kRequestMs);
  if (!agreed && !server_silent(lock) && access_denied(lock)) {
    g_refused = true;
    restrict();
    return true;
  }
  if (agreed && poll_default(lock, kSinkName)) {
    g_tries = 0;
    return true;
  }
  if (server_silent(lock)) return false;
  if (query_default(lock) == present) count_try(lock);
  return g_restricted;
}

// While our sink is the default device, the user's volume keys turn it. Without it the same sound
// must not be louder.
void hand_over_volume(const LoopLock& lock, const std::string& device) {
  const auto ours = query_level(lock, kSinkName);
  auto real = query_level(lock, device);
  if (!ours || !real) return;
  // An earlier pass may have got this far.
  const bool was_muted = real->muted;
  const auto handover = hand_over(*ours, device, &*real, g_handed_over ? &*g_handed_over : nullptr);
  if (!handover) return;
  g_handed_over = handover;
  set_sink_volume(lock, device, real->volume);
  if (real->muted != was_muted) set_sink_mute(lock, device, true);
}

// The handover to take back, now that our sink is there again; empty if the device has changed
// since.
std::optional<Handover> handover_to_take_back(const Snapshot& s) {
  auto handover = kept_handover();
  const SinkInfo* device = handover ? s.find(handover->device) : nullptr;
  if (device != nullptr && device->name == g_follow.device &&
      still_as_left(*handover, device->volume, device->muted))
    return handover;
  forget_handover();
  return std::nullopt;
}

// Our sink is turned down and receives the sound, so nothing gets louder. Returns whether this is
// done, or has been refused too often because the device may be gone.
bool turn_up_again(const LoopLock& lock) {
  const auto& [device, before, ours, muted] = *g_handed_over;
  const bool done =
      set_sink_volume(lock, device, before) && (!muted || set_sink_mute(lock, device, false));
  if (server_silent(lock) || (!done && ++g_take_back_tries < kTries)) return false;
  g_handed_over.reset();
  forget_handover();
  return true;
}

// Gives the default device and the streams back to `target`.
void hand_back(const LoopLock& lock, const Snapshot& s, const SinkInfo& target, bool takeover) {
  // Without takeover the user's volume keys did not turn our sink.
  if (takeover) hand_over_volume(lock, target.name);
  // A server may carry out an ignored request later, when our sink appears the next time.
  const bool asked = g_tries > 0 && !g_refused && s.default_sink == g_asked_for;
  if (takeover && (s.default_sink == kSinkName || asked)) {
    set_default(lock, target.name, g_restricted ? kRestrictedMs : kRequestMs);
    if (!g_restricted) poll_default(lock, target.name);
  }
  if (g_restricted) return;
  // Streams may have come, and the device may have been replaced, since the snapshot was taken.
  const auto now = query(lock);
  if (!now) return;
  if (const SinkInfo* device = now->find(target.name))
    move_streams(lock, streams_to_return(*now), device->index);
}

// Removes our sink and puts back what it changed. Returns false when that could not be completed.
bool teardown(const LoopLock& lock, const Snapshot& s, const std::string& target_name,
              bool takeover) {
  const SinkInfo* target = is_reserved(target_name) ? nullptr : s.find(target_name);
  close_play(lock);
  if (!owns_sink(s)) {
    disown_module();
    guard::disarmed();
    return true;
  }
  if (target != nullptr) hand_back(lock, s, *target, takeover);
  close_record(lock);
  const bool removed = remove_sink(lock);
  if (server_silent(lock)) return false;
  guard::disarmed();
  // Last, because a disk may be slow.
  if (g_handed_over) keep_handover(*g_handed_over);
  // While our sink is there the pass is repeated, and must not hand over once more.
  if (removed) g_handed_over.reset();
  return removed;
}

// A wish that was carried out is over even if the rest of the pass fails: what the user does to the
// device afterwards must not be undone by the next try.
void apply_mute(const LoopLock& lock, int* mute, const std::string& target) {
  if (*mute < 0 || target.empty()) return;
  const bool muted = *mute == 1;
  if (!set_sink_mute(lock, target, muted)) return;
  if (!muted) set_sink_mute(lock, kSinkName, false);
  logger::info(muted ? "Muted" : "Unmuted");
  *mute = -1;
}

void stay_passive(const LoopLock& lock) {
  reset_level();
  guard::disarmed();
  close_play(lock);
  close_record(lock);
  publish_state(kPassive);
  if (!std::exchange(g_passive_logged, true))
    logger::warn("Another installation is running - this one stays passive");
}

bool ensure_play(const LoopLock& lock, const Snapshot& s, const std::string& target) {
  const SinkInfo* sink = s.find(target);
  if (sink == nullptr) {
    close_play(lock);
    return true;
  }
  const std::string device = recognised_by(s, *sink);
  if (play_alive(lock, *sink)) {
    use_curve_of(device);  // another port of it may be in use
    return true;
  }
  // If the user chose another default, the sound no longer comes through us.
  if (s.default_sink == kSinkName) fade_play_out(lock);
  use_curve_of(device);
  if (!open_play(lock, *sink)) return false;
  // The user's own "device" may be a virtual sink, too.
  if (sink->works_ahead && is_idle(s, *sink)) wake_sink(lock, target);
  return true;
}

bool ensure_record(const LoopLock& lock, const SinkInfo& ours) {
  // It does not wake by itself, as we record it, and sound played to it would be lost.
  if (ours.works_ahead && ours.suspended) suspend_sink(lock, kSinkName, false);
  if (record_alive(lock, ours, true)) return true;
  if (!open_record(lock, ours, true)) return false;
  // On other servers the first sound shows that the session manager knows the sink. If it is made
  // the default before that, the session manager may ignore it for good.
  const bool delivers = record_delivers(lock, ours.works_ahead ? kFirstSoundMs : kFirstLinkMs);
  if (ours.works_ahead && !delivers) wake_sink(lock, kSinkName);
  return true;
}

bool reconcile_off(const LoopLock& lock, const Snapshot& s, const std::string& target,
                   bool takeover) {
  // A sink that an earlier run left behind is ours to remove: no other copy is running.
  const SinkInfo* leftover = s.find(kSinkName);
  if (leftover != nullptr && !has_module()) adopt_module(leftover->module);
  bool done = teardown(lock, s, g_follow.device, takeover);
  const SinkInfo* heard = s.find(target);
  if (heard != nullptr) use_curve_of(recognised_by(s, *heard));
  if (heard == nullptr) {
    close_record(lock);
  } else if (!record_alive(lock, *heard, false)) {
    done = open_record(lock, *heard, false) && done;
  } else {
    rest_spectrum(lock, heard->running, is_played_to(s, *heard));
  }
  auto now = query(lock);
  if (!now) return false;
  publish(*now, target, g_follow.device, false, streams_alive(lock), false);
  return done;
}

// Opening the streams took a while, so streams and sink are looked up again.
bool acquire_streams(const LoopLock& lock) {
  const auto now = query(lock);
  if (!now) return false;
  if (const SinkInfo* ours = now->find(kSinkName))
    move_streams(lock, streams_to_acquire(*now, g_follow.device), ours->index);
  return true;
}

bool reconcile_on(const LoopLock& lock, Snapshot s, const std::string& target, bool takeover) {
  guard::takeover(takeover);
  guard::armed(g_follow.device);
  const bool loading = s.find(kSinkName) == nullptr;
  if (!ensure_sink(lock, &s)) {
    publish(s, target, g_follow.device, false, false, false);
    return false;
  }
  if (loading && takeover && !g_restricted) {
    g_handed_over = handover_to_take_back(s);
    g_take_back_tries = 0;
    if (g_handed_over) set_level(g_handed_over->ours, g_handed_over->muted);
  }
  const SinkInfo* ours = s.find(kSinkName);
  if (loading) g_tries = 0;
  bool done = start_at_level(lock, *ours);
  done = ensure_play(lock, s, target) && done;
  done = ensure_record(lock, *ours) && done;
  // A server that was too busy to answer may have recovered.
  if (s.default_sink == kSinkName && !g_refused) {
    g_restricted = false;
    g_tries = 0;
  }
  if (takeover) {
    const bool settled = s.default_sink == kSinkName || become_default(lock, s.default_sink);
    done = settled && done;
    if (settled) g_history.new_connection = false;
    if (settled && !g_restricted) {
      if (!acquire_streams(lock)) return false;
      if (g_handed_over) done = turn_up_again(lock) && done;
    }
  }
  auto now = query(lock);
  if (!now) return false;
  const bool elsewhere =
      takeover && now->default_sink != kSinkName && now->default_sink != kSiblingSink;
  publish(*now, target, g_follow.device, true, streams_alive(lock), elsewhere);
  return done;
}

// A filter sink that the user has just chosen may play to ours, which was the default when the
// filter was created. It is then moved to the device that it replaces.
bool release_filter(const LoopLock& lock, const std::string& filter, std::optional<Snapshot>* s) {
  const std::vector<std::uint32_t> streams = streams_of_filter(**s, filter);
  const SinkInfo* device = (*s)->find(g_follow.device);
  if (streams.empty() || device == nullptr || feeds_our_sink(**s, *device)) return true;
  move_streams(lock, streams, device->index);
  *s = query(lock);
  return s->has_value();
}

// If a stream has come to a device while our sink seems to be the default, the user may have chosen
// that device without the server reporting it.
bool check_default(const LoopLock& lock, std::optional<Snapshot>* s) {
  auto elsewhere = streams_elsewhere(**s);
  if ((*s)->default_sink != kSinkName) elsewhere.clear();
  const bool known = std::exchange(g_elsewhere, elsewhere) == elsewhere;
  if (known || elsewhere.empty() || !correct_default(lock)) return true;
  *s = query(lock);
  return s->has_value();
}

// Neither a default that the server fell back to nor the one that we requested on the way was
// chosen by the user.
Default meaning_of_default(const Snapshot& s, bool takes_over) {
  if (!takes_over) return Default::kChosen;
  if (g_tries > 0 && s.default_sink == g_asked_for) return Default::kFallback;
  return meaning_of_default(s, g_follow.device, &g_history);
}

// Our sink is stereo. Logged for the first such device of a run.
void log_surround(const SinkInfo* device) {
  if (device == nullptr || device->channels <= kChannels || g_surround_logged) return;
  g_surround_logged = true;
  logger::warn(
      "The output device has " + std::to_string(device->channels) +
      " channels: surround sound is mixed to stereo, and the server spreads that over them");
}

void log_missing_device(const std::string& target) {
  if (!target.empty()) {
    g_no_device_logged = false;
  } else if (!std::exchange(g_no_device_logged, true)) {
    logger::info("No output device is present");
  }
}

// Logs a chosen device that has never been present, as its name may be misspelt.
void log_unknown_choice(const Snapshot& s, const std::string& chosen) {
  const bool known = std::exchange(g_looked_for, chosen) == chosen || s.find(chosen) != nullptr;
  if (known || chosen.empty()) return;
  logger::warn("The chosen output device is not present: " + chosen);
}

}  // namespace

bool reconcile(const LoopLock& lock, Wishes* wishes) {
  const auto& [active, output, restore_hint, mute, takeover] = *wishes;
  auto s = query(lock);
  if (!s) return false;
  // A sink of our name that belongs to another module is another copy's; ours has been removed.
  if (has_module() && !owns_sink(*s)) forget_module();
  if (has_module()) remember_level(*s);
  if (has_module() && must_yield(*s)) {
    disown_module();
    guard::disarmed();
  }
  if (active && s->other_instance && !has_module()) {
    stay_passive(lock);
    return true;
  }
  const bool takes_over = active.value_or(false) && takeover;
  if (takes_over && !check_default(lock, &s)) return false;
  if (takes_over &&
      !(release_filter(lock, s->default_sink, &s) && release_filter(lock, output, &s)))
    return false;
  g_follow =
      next_follow(*s, g_follow, restore_hint, meaning_of_default(*s, takes_over), Clock::now());
  const std::string target = choose_target(*s, output, g_follow.device);
  log_missing_device(target);
  log_unknown_choice(*s, output);
  publish_follow(g_follow.device);
  // A server that is still starting may fall back to another device until our sink is the default.
  if (!target.empty() && !(takes_over && !g_history.fallback.empty()))
    g_history.new_connection = false;
  remember_default(*s, g_follow.device, &g_history);
  apply_mute(lock, &wishes->mute, target);
  if (!active) {
    publish(*s, target, g_follow.device, false, false, false);
    return true;
  }
  if (*active) log_surround(s->find(target));
  return *active ? reconcile_on(lock, std::move(*s), target, takeover)
                 : reconcile_off(lock, *s, target, takeover);
}

bool restore_server(const LoopLock& lock, bool takeover) {
  if (!has_module()) return !load_unanswered();
  const auto s = query(lock);
  return s && teardown(lock, *s, g_follow.device, takeover);
}

void suggest_follow(const std::string& restore_hint) {
  if (g_follow.device.empty() && !is_reserved(restore_hint)) g_follow.device = restore_hint;
}

void begin_connection() {
  g_history.new_connection = true;
  if (consume_unrestored()) g_history.expected = true;
  g_restricted = false;
  g_refused = false;
  g_tries = 0;
}

}  // namespace audio
