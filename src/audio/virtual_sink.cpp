#include "virtual_sink.h"

#include <optional>
#include <utility>

#include "app/logger.h"
#include "audio/guard.h"
#include "handover.h"
#include "requests.h"

namespace audio {

namespace {

constexpr const char* kModuleName = "module-null-sink";
constexpr const char* kModuleArguments =
    " rate=48000 channels=2 channel_map=front-left,front-right "
    "sink_properties='device.description=Velmora monitor.channel-volumes=true "
    "device.icon_name=velmora'";
// Within this time a server restores the level of an earlier sink.
constexpr std::chrono::seconds kRememberedLevel{1};
// A busy server may do so within this time; then only the level that was handed over counts.
constexpr std::chrono::seconds kRememberedLate{5};

pa_cvolume uniform(pa_volume_t volume) {
  pa_cvolume result;
  pa_cvolume_set(&result, kChannels, volume);
  return result;
}

struct Level {
  pa_cvolume volume = uniform(PA_VOLUME_NORM);
  bool muted = false;
};

// Control thread.
std::uint32_t g_module = kNoIndex;
bool g_load_unanswered = false;
std::string g_load_fault;  // why the last sink could not be loaded, empty when it could
Clock::time_point g_loaded_at;
Level g_level;                   // that the user has set on our sink
std::optional<Level> g_earlier;  // that of the earlier sink, if it must not come back

// Servers round volumes, except 100 %.
bool has_volume(const SinkInfo& sink, const pa_cvolume& volume) {
  constexpr pa_volume_t kNear = PA_VOLUME_NORM / 1000;
  if (sink.volume.channels != volume.channels) return false;
  for (std::size_t c = 0; c < volume.channels; ++c) {
    const pa_volume_t wanted = volume.values[c];
    const pa_volume_t v = sink.volume.values[c];
    const pa_volume_t near = wanted == PA_VOLUME_NORM ? 0 : kNear;
    if (v + near < wanted || v > wanted + near) return false;
  }
  return true;
}

bool just_loaded() {
  return Clock::now() - g_loaded_at <= kRememberedLevel;
}

// For a device with other channels, all of our sink's were the same.
Level stereo(const pa_cvolume& volume, bool muted) {
  return {volume.channels == kChannels ? volume : uniform(pa_cvolume_max(&volume)), muted};
}

bool brought_back(const SinkInfo& ours) {
  return g_earlier && Clock::now() - g_loaded_at <= kRememberedLate &&
         ours.muted == g_earlier->muted && has_volume(ours, g_earlier->volume);
}

bool unload(const LoopLock& lock, std::uint32_t module) {
  const bool unloaded = unload_module(lock, module);
  if (unloaded) logger::info("Virtual sink removed (module " + std::to_string(module) + ")");
  return unloaded;
}

// A snapshot that contains the sink of our new module, which a server may take a moment to show.
std::optional<Snapshot> query_with_sink(const LoopLock& lock) {
  std::optional<Snapshot> s;
  for (int i = 0; i < kPolls; ++i) {
    if (i > 0) pause_unlocked(lock, kPollMs);
    s = query(lock);
    if (!s || owns_sink(*s)) break;
  }
  return s;
}

bool load_sink(const LoopLock& lock, Snapshot* s) {
  bool answered = false;
  const std::uint32_t module = load_module(
      lock, kModuleName, std::string("sink_name=") + kSinkName + kModuleArguments, &answered);
  g_load_unanswered = !answered;
  if (module == kNoIndex) {
    // It is tried again every second.
    const std::string fault = error_text(lock);
    if (std::exchange(g_load_fault, fault) != fault)
      logger::error("Virtual sink cannot be loaded: " + fault);
    return false;
  }
  g_load_fault.clear();
  adopt_module(module);
  logger::info("Virtual sink loaded (module " + std::to_string(module) + ")");
  auto now = query_with_sink(lock);
  if (!now) return false;
  *s = std::move(*now);
  if (!owns_sink(*s)) {
    // Another copy was faster and has the name, so the server gave our sink a different one.
    unload(lock, module);
    adopt_module(kNoIndex);
    return false;
  }
  g_loaded_at = Clock::now();
  g_earlier.reset();
  if (const auto kept = kept_handover()) g_earlier = stereo(kept->ours, kept->muted);
  return true;
}

}  // namespace

bool has_module() {
  return g_module != kNoIndex;
}

bool owns_sink(const Snapshot& s) {
  const SinkInfo* ours = s.find(kSinkName);
  return ours != nullptr && has_module() && ours->module == g_module;
}

bool load_unanswered() {
  return g_load_unanswered;
}

void adopt_module(std::uint32_t module) {
  g_module = module;
  guard::owns_module(module);
}

void disown_module() {
  g_module = kNoIndex;
}

// Also the guard's module index: it must not take a new sink for somebody else's.
void forget_module() {
  adopt_module(kNoIndex);
  g_load_unanswered = false;
}

bool ensure_sink(const LoopLock& lock, Snapshot* s) {
  const SinkInfo* ours = s->find(kSinkName);
  if (ours == nullptr) return load_sink(lock, s);
  if (!has_module()) {
    adopt_module(ours->module);
    g_load_unanswered = false;
    logger::info("Virtual sink taken over from the last run");
  }
  return true;
}

bool remove_sink(const LoopLock& lock) {
  const bool unloaded = unload(lock, g_module);
  if (server_silent(lock)) return false;
  if (!unloaded) logger::warn("Virtual sink cannot be removed: " + error_text(lock));
  disown_module();
  reset_level();
  return unloaded;
}

void set_level(const pa_cvolume& volume, bool muted) {
  g_level = stereo(volume, muted);
  g_earlier.reset();  // the earlier level is wanted now
}

void reset_level() {
  g_level = {};
}

// A level that the server remembers of an earlier virtual sink (a low volume, a mute) is not the
// user's present one. At the end our sink's volume is handed over to the real device, so without
// this correction the device would get quieter with every run. Some servers restore the level a
// moment after the sink has appeared, a busy one seconds later; such a late change is distinguished
// from the user's by being exactly the level that was handed over, volume and mute together. But if
// our sink was lost, with its server or because it was removed, nothing was handed over, and the
// new sink must not be louder than the old.
bool start_at_level(const LoopLock& lock, const SinkInfo& ours) {
  if (!just_loaded() && !brought_back(ours)) return true;
  const bool volume_set =
      has_volume(ours, g_level.volume) || set_sink_volume(lock, kSinkName, g_level.volume);
  const bool mute_set =
      ours.muted == g_level.muted || set_sink_mute(lock, kSinkName, g_level.muted);
  return volume_set && mute_set;
}

void remember_level(const Snapshot& s) {
  const SinkInfo* ours = s.find(kSinkName);
  if (just_loaded() || brought_back(*ours)) return;
  g_level = {ours->volume, ours->muted};
}

// A null sink that nobody records with a short latency renders two seconds ahead as soon as it
// exists, and then sleeps that long; sound played to it in that time would be heard late or never.
// Our record stream shortens that only from the next wake-up on. Must not be used with other
// servers' sinks, whose existing recorders get only silence after a suspend.
void wake_sink(const LoopLock& lock, const std::string& sink) {
  for (const bool suspended : {true, false})
    suspend_sink(lock, sink, suspended);
}

}  // namespace audio
