// What no test sees from outside: the engine without the rest of the program, asked line by line,
// and the sealed settings file as text.
//
//   lab_probe            reads commands on standard input, answers each with one line
//   lab_probe settings   prints the settings; with "write" reads lines of key=value over them and
//   saves
//   lab_probe devices    the same with what is remembered of devices; "write" replaces it
#include <dlfcn.h>
#include <pulse/pulseaudio.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "app/include/app/device_presets.h"
#include "app/include/app/settings.h"
#include "app/settings_text.h"
#include "audio/include/audio/audio.h"

namespace {

// Every call that another thread may make, `rounds` times; the answer is how many ms that took.
long hammer(int rounds) {
  std::vector<float> samples(8192);
  const auto began = std::chrono::steady_clock::now();
  for (int i = 0; i < rounds; ++i) {
    audio::set_active(i % 2 == 0);
    audio::set_mute(false);
    audio::set_output(i % 2 == 0 ? "" : "headset");
    audio::set_restore_hint("speakers");
    audio::set_curve({});
    static_cast<void>(audio::status());
    static_cast<void>(audio::devices());
    audio::tap(samples.data(), samples.data(), 4096, nullptr, nullptr);
  }
  const auto took = std::chrono::steady_clock::now() - began;
  return std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
}

// The newest frames: left, then right, into a file.
void tap(std::istream& in, std::ostream& out) {
  int frames = 0;
  std::string file;
  in >> frames >> file;
  std::vector<float> samples(2 * static_cast<std::size_t>(frames), 7.0F);
  float rate = 0;
  std::uint64_t serial = 1;
  const bool some = audio::tap(samples.data(), samples.data() + frames, frames, &rate, &serial);
  std::ofstream(file).write(reinterpret_cast<const char*>(samples.data()),
                            static_cast<std::streamsize>(samples.size() * sizeof(float)));
  out << some << ' ' << rate << ' ' << serial;
}

eq::Curve curve_in(std::istream& in) {
  eq::Curve curve;
  for (float& gain : curve.gain)
    in >> gain;
  in >> curve.preamp;
  return curve;
}

// Null sinks have no ports: every sink is shown with this one as its active port.
std::string g_port;  // asked for before the engine looks
struct Asked {
  pa_sink_info_cb_t callback;
  void* user;
} g_asked;

void show_port(pa_context* c, const pa_sink_info* info, int eol, void* /*user*/) {
  pa_sink_port_info port{};
  port.name = g_port.c_str();
  pa_sink_info shown{};
  if (info != nullptr) shown = *info;
  if (!g_port.empty()) shown.active_port = &port;
  g_asked.callback(c, info != nullptr ? &shown : nullptr, eol, g_asked.user);
}

void answer(const std::string& line, std::ostream& out) {
  std::istringstream in(line);
  std::string command;
  std::string name;
  int number = 0;
  in >> command;
  if (command == "tap") return tap(in, out);
  if (command == "peaks") {
    float left = 0;
    float right = 0;
    audio::take_peaks(&left, &right);
    out << left << ' ' << right;
  } else if (command == "status") {
    const audio::Status s = audio::status();
    out << "state=" << s.state << "\tactive=" << s.active << "\talive=" << s.streams_alive
        << "\tmuted=" << s.muted << "\tselect=" << s.select_output << "\ttarget=" << s.target
        << "\tfollow=" << s.follow << "\tlabel=" << s.target_label;
  } else if (command == "curve") {
    audio::set_curve(curve_in(in));
  } else if (command == "device_curve") {
    std::getline(in >> std::ws, name, '|');
    audio::set_device_curve(name, curve_in(in));
  } else if (command == "port") {
    in >> g_port;
  } else if (command == "output") {
    in >> name;
    audio::set_output(name);
  } else if (in >> number; command == "start") {
    out << audio::start(number != 0);
  } else if (command == "active") {
    audio::set_active(number != 0);
  } else if (command == "mute") {
    audio::set_mute(number != 0);
  } else if (command == "hammer") {
    out << hammer(number);
  } else if (command == "stop") {
    audio::stop();
  }
}

// The text of standard input over the devices, or the devices.
int devices(bool write) {
  if (!write) std::cout << device_presets::serialize(device_presets::load());
  return !write || device_presets::save(
                       device_presets::deserialize({std::istreambuf_iterator<char>(std::cin), {}}))
             ? 0
             : 1;
}

}  // namespace

// In the place of the sound library's.
extern "C" pa_operation* pa_context_get_sink_info_list(pa_context* c, pa_sink_info_cb_t callback,
                                                       void* user) {
  g_asked = {callback, user};
  void* real = dlsym(RTLD_NEXT, "pa_context_get_sink_info_list");
  return reinterpret_cast<decltype(&pa_context_get_sink_info_list)>(real)(c, show_port, nullptr);
}

int main(int argc, char** argv) {
  if (argc > 1 && std::string(argv[1]) == "devices") return devices(argc > 2);
  if (argc > 1) {
    Settings settings = settings::load();
    if (argc == 2) {
      std::cout << settings::serialize(settings);
      return 0;
    }
    settings::deserialize({std::istreambuf_iterator<char>(std::cin), {}}, &settings);
    return settings::save(settings) ? 0 : 1;
  }
  for (std::string line; std::getline(std::cin, line);) {
    answer(line, std::cout);
    std::cout << std::endl;
  }
  audio::stop();
  return 0;
}
