#include "handover.h"

#include <unistd.h>

#include <sstream>

#include "app/paths.h"
#include "posix/files.h"

namespace audio {

namespace {

constexpr const char* kFileName = "/volume.txt";
constexpr std::size_t kMaxFileSize = 4096;
constexpr pa_volume_t kRounding = PA_VOLUME_NORM / 100;  // by devices with volume steps

std::string file_path() {
  return paths::config_dir() + kFileName;
}

}  // namespace

std::optional<Handover> hand_over(const SinkLevel& ours, const std::string& device,
                                  SinkLevel* level, const Handover* earlier) {
  const pa_volume_t volume = pa_cvolume_max(&ours.volume);
  if (volume == PA_VOLUME_NORM && !ours.muted) return std::nullopt;
  const pa_volume_t before = pa_cvolume_max(&level->volume);
  if (earlier != nullptr && earlier->device == device &&
      still_as_left(*earlier, before, level->muted))
    return std::nullopt;
  pa_sw_cvolume_multiply_scalar(&level->volume, &level->volume, volume);
  level->muted = level->muted || ours.muted;
  return Handover{device, before, volume, ours.muted};
}

void keep_handover(const Handover& handover) {
  // A volume above 100 % is not restored: it would be too loud for a moment.
  if (handover.ours > PA_VOLUME_NORM) return;
  std::ostringstream text;
  text << handover.before << ' ' << handover.ours << ' ' << handover.muted << ' ' << handover.device
       << '\n';
  const std::string path = file_path();
  if (files::write_durably(path, text.str()) != files::Written::kYes) unlink(path.c_str());
}

std::optional<Handover> consume_handover() {
  const std::string path = file_path();
  std::string text;
  if (files::read_all(path, kMaxFileSize, &text) != files::Read::kOk) return std::nullopt;
  unlink(path.c_str());
  std::istringstream fields(text);
  Handover h;
  fields >> h.before >> h.ours >> h.muted;
  fields.ignore();
  const bool whole = static_cast<bool>(std::getline(fields, h.device));
  if (!whole || h.before > PA_VOLUME_MAX || h.ours > PA_VOLUME_NORM) return std::nullopt;
  return h;
}

bool still_as_left(const Handover& handover, std::uint32_t volume, bool muted) {
  const pa_volume_t left = pa_sw_volume_multiply(handover.before, handover.ours);
  return muted == handover.muted && volume + kRounding >= left && volume <= left + kRounding;
}

}  // namespace audio
