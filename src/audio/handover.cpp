#include "handover.h"

#include <unistd.h>

#include <algorithm>
#include <span>
#include <sstream>

#include "app/paths.h"
#include "posix/files.h"

namespace audio {

namespace {

constexpr const char* kFileName = "/volume.txt";
constexpr const char* kUnrestoredName = "/unrestored";
constexpr std::size_t kMaxFileSize = 4096;
constexpr pa_volume_t kRounding = PA_VOLUME_NORM / 100;  // by devices with volume steps

std::string file_path() {
  return paths::config_dir() + kFileName;
}

std::span<const pa_volume_t> channels(const pa_cvolume& volume) {
  return std::span(volume.values).first(volume.channels);
}

bool near(pa_volume_t a, pa_volume_t b) {
  return a <= b + kRounding && b <= a + kRounding;
}

void write(std::ostream& out, const pa_cvolume& volume) {
  for (const pa_volume_t v : channels(volume))
    out << ' ' << v;
}

bool read(std::istream& in, unsigned count, pa_volume_t most, pa_cvolume* volume) {
  volume->channels = static_cast<std::uint8_t>(count);
  for (pa_volume_t& v : std::span(volume->values).first(count)) {
    if (!(in >> v) || v > most) return false;
  }
  return true;
}

}  // namespace

std::optional<Handover> hand_over(const SinkLevel& ours, const std::string& device,
                                  SinkLevel* level, const Handover* earlier) {
  if (earlier != nullptr && earlier->device == device &&
      still_as_left(*earlier, level->volume, level->muted))
    return std::nullopt;
  Handover handover{
      .device = device, .before = level->volume, .ours = ours.volume, .muted = ours.muted};
  if (pa_channel_map_equal(&ours.map, &level->map) == 0)
    pa_cvolume_set(&handover.ours, level->volume.channels, pa_cvolume_max(&ours.volume));
  if (pa_cvolume_is_norm(&handover.ours) != 0 && !ours.muted) return std::nullopt;
  pa_sw_cvolume_multiply(&level->volume, &level->volume, &handover.ours);
  level->muted = level->muted || ours.muted;
  return handover;
}

// One line: number of channels, the device's volumes, our sink's volumes, whether it was muted, the
// device's name.
void keep_handover(const Handover& handover) {
  // A volume above 100 % is not restored, as it would be too loud for a moment.
  if (pa_cvolume_max(&handover.ours) > PA_VOLUME_NORM) return forget_handover();
  std::ostringstream text;
  text << static_cast<unsigned>(handover.before.channels);
  write(text, handover.before);
  write(text, handover.ours);
  text << ' ' << handover.muted << ' ' << handover.device << '\n';
  const std::string path = file_path();
  if (files::write_durably(path, text.str()) != files::Written::kYes) unlink(path.c_str());
}

std::optional<Handover> kept_handover() {
  std::string text;
  if (files::read_all(file_path(), kMaxFileSize, &text) != files::Read::kOk) return std::nullopt;
  std::istringstream fields(text);
  Handover h;
  unsigned count = 0;
  fields >> count;
  if (!fields || count < 1 || count > PA_CHANNELS_MAX) return std::nullopt;
  if (!read(fields, count, PA_VOLUME_MAX, &h.before) ||
      !read(fields, count, PA_VOLUME_NORM, &h.ours)) {
    return std::nullopt;
  }
  fields >> h.muted;
  fields.ignore();
  if (!std::getline(fields, h.device)) return std::nullopt;
  return h;
}

bool still_as_left(const Handover& handover, const pa_cvolume& volume, bool muted) {
  pa_cvolume left;
  pa_sw_cvolume_multiply(&left, &handover.before, &handover.ours);
  return muted == handover.muted && std::ranges::equal(channels(volume), channels(left), near);
}

void forget_handover() {
  unlink(file_path().c_str());
}

bool being_taken_back(const Handover& handover, const SinkLevel& ours, const SinkLevel& device) {
  const bool at_level = near(pa_cvolume_max(&ours.volume), pa_cvolume_max(&handover.ours));
  const bool only_muted = handover.muted && pa_cvolume_is_norm(&ours.volume) != 0;
  return (at_level || only_muted) && still_as_left(handover, device.volume, device.muted);
}

void keep_unrestored() {
  files::write_durably(paths::config_dir() + kUnrestoredName, "");
}

bool consume_unrestored() {
  return unlink((paths::config_dir() + kUnrestoredName).c_str()) == 0;
}

}  // namespace audio
