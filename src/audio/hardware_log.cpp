// DESIGN: the lines omit values that change all the time (volumes, states), so that they are logged
// when a device appears or vanishes, and not at every turn of a volume knob. Names come from
// devices and other programs; the log keeps each line one line, whatever the names contain.

#include <array>
#include <utility>

#include "answers.h"
#include "audio_private.h"
#include "crash/crash_handler.h"

namespace audio {

namespace {

constexpr std::array kProperties = {"device.api", "device.bus", "device.form_factor",
                                    "alsa.card_name", "api.bluez5.codec"};

using Lines = Answer<std::vector<std::string>>;

std::string text(const char* s) {
  return s == nullptr ? "?" : s;
}

std::string describe(const char* kind, const char* name, const char* description,
                     const pa_sample_spec& spec, const pa_proplist* props) {
  std::array<char, PA_SAMPLE_SPEC_SNPRINT_MAX> format{};
  pa_sample_spec_snprint(format.data(), format.size(), &spec);
  std::string line =
      std::string(kind) + " " + text(name) + " \"" + text(description) + "\", " + format.data();
  for (const char* property : kProperties) {
    const char* value = pa_proplist_gets(props, property);
    if (value != nullptr) line += std::string(", ") + property + "=" + value;
  }
  return line;
}

void on_server(pa_context* /*c*/, const pa_server_info* info, void* user) {
  auto* answer = static_cast<Lines*>(user);
  if (info != nullptr) {
    answer->value.push_back("Server " + text(info->server_name) + " " + text(info->server_version) +
                            ", default sink " + text(info->default_sink_name) +
                            ", default source " + text(info->default_source_name));
    answer->complete = true;
  }
  signal_loop();
}

template <typename Info>
void on_device(const char* kind, const Info* info, int eol, void* user) {
  auto* answer = static_cast<Lines*>(user);
  if (list_ended(answer, eol)) return;
  answer->value.push_back(
      describe(kind, info->name, info->description, info->sample_spec, info->proplist));
}

void on_sink(pa_context* /*c*/, const pa_sink_info* info, int eol, void* user) {
  on_device("Sink", info, eol, user);
}

void on_source(pa_context* /*c*/, const pa_source_info* info, int eol, void* user) {
  on_device("Source", info, eol, user);
}

}  // namespace

void log_hardware(const LoopLock& lock) {
  pa_context* c = context(lock);
  if (c == nullptr) return;
  Lines answer;
  if (received(lock, pa_context_get_server_info(c, on_server, &answer), answer) &&
      received(lock, pa_context_get_sink_info_list(c, on_sink, &answer), answer) &&
      received(lock, pa_context_get_source_info_list(c, on_source, &answer), answer)) {
    crash_handler::record_audio(answer.value);
  }
}

}  // namespace audio
