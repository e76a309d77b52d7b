// DESIGN: every process of a server is a child of the test itself, not of a script or of a session
// launcher: so each can be frozen and ended by its own id and none survives the test. There is no
// D-Bus, neither session nor system; the servers use it for real-time rights, device reservation
// and portals, all of which lead to the outside.
#include "sound_server.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <ostream>
#include <stdexcept>

#include "pulse_client.h"
#include "tone_player.h"
#include "wait_until.h"

namespace support {
namespace {

constexpr std::chrono::seconds kReadyLimit{20};
constexpr std::chrono::seconds kStopLimit{3};

std::vector<std::string> programs_of(ServerKind kind) {
  if (kind == ServerKind::kPulseAudio) return {"pulseaudio"};
  return {"pipewire", "wireplumber", "pipewire-pulse"};
}

std::string description_of(std::string name) {
  name.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(name.front())));
  return name;
}

void write_file(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream file(path);
  file << text;
  if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
}

// What a desktop's default script loads, as far as it needs no hardware. Rescuing the streams of a
// vanished sink is part of the server itself in this generation.
std::string pulseaudio_script(const SoundServerOptions& options,
                              const std::filesystem::path& socket) {
  std::string script =
      ".fail\n"
      "load-module module-device-restore\n"
      "load-module module-stream-restore\n"
      "load-module module-card-restore\n"
      "load-module module-native-protocol-unix auth-anonymous=1 socket=" +
      socket.string() + "\n";
  for (const std::string& device : options.devices) {
    // Float, so that a level measured on the monitor is the level that was played. Without rewinds,
    // because an idle null sink otherwise runs 2 s ahead and takes a new stream's samples only when
    // that time has passed; a sound card takes them within its buffer, and so does this within 50
    // ms.
    script += "load-module module-null-sink sink_name=" + device +
              " rate=48000 channels=2 format=float32le norewinds=true "
              "sink_properties=\"device.description='" +
              description_of(device) + "'\"\n";
  }
  script += "load-module module-default-device-restore\n";
  script += "load-module module-intended-roles\n";
  if (options.suspend_on_idle_s > 0) {
    script +=
        "load-module module-suspend-on-idle timeout=" + std::to_string(options.suspend_on_idle_s) +
        "\n";
  }
  return script;
}

// The devices live in the server itself, as those of a sound card would: no client owns them.
std::string pipewire_devices(const SoundServerOptions& options) {
  std::string text = "context.properties = { support.dbus = false }\ncontext.objects = [\n";
  std::size_t rank = options.devices.size();
  for (const std::string& device : options.devices) {
    text +=
        "  { factory = adapter args = {\n"
        "      factory.name = support.null-audio-sink\n"
        "      media.class = Audio/Sink\n"
        "      node.name = \"" +
        device +
        "\"\n"
        "      node.description = \"" +
        description_of(device) +
        "\"\n"
        "      audio.rate = 48000\n"
        "      audio.position = [ FL FR ]\n"
        "      monitor.channel-volumes = true\n"
        "      priority.session = " +
        std::to_string(1000 + rank--) +
        "\n"
        "      session.suspend-timeout-seconds = " +
        std::to_string(options.suspend_on_idle_s) +
        "\n"
        "  } }\n";
  }
  return text + "]\n";
}

constexpr const char* kNoHardware = R"(alsa_monitor.enabled = false
v4l2_monitor.enabled = false
libcamera_monitor.enabled = false
default_access.properties["enable-flatpak-portal"] = false
)";

}  // namespace

std::string name_of(ServerKind kind) {
  return kind == ServerKind::kPulseAudio ? "PulseAudio" : "PipeWire";
}

std::ostream& operator<<(std::ostream& out, ServerKind kind) {
  return out << name_of(kind);
}

void require_programs(ServerKind kind) {
  require_programs(programs_of(kind));
}

SoundServer::SoundServer(ServerKind kind, Options options)
    : kind_(kind), options_(std::move(options)) {
  const std::filesystem::path& root = directory();
  for (const char* folder : {"run/pulse", "home", "config", "state", "cache", "data"}) {
    std::filesystem::create_directories(root / folder);
  }
  // Both servers refuse a runtime directory that others may enter.
  std::filesystem::permissions(root / "run", std::filesystem::perms::owner_all);
  write_file(root / "client.conf", "autospawn = no\n");
  if (kind_ == ServerKind::kPulseAudio) {
    write_file(root / "server.pa", pulseaudio_script(options_, root / "run/pulse/native"));
    return;
  }
  const std::filesystem::path config = root / "config";
  write_file(config / "pipewire/pipewire.conf.d/50-devices.conf", pipewire_devices(options_));
  for (const char* program : {"pipewire-pulse", "wireplumber"}) {
    write_file(config / "pipewire" / (std::string(program) + ".conf.d") / "50-alone.conf",
               "context.properties = { support.dbus = false }\n");
  }
  write_file(config / "wireplumber/main.lua.d/80-no-hardware.lua", kNoHardware);
  write_file(config / "wireplumber/bluetooth.lua.d/80-no-hardware.lua",
             "bluez_monitor.enabled = false\n");
}

SoundServer::~SoundServer() {
  if (testing::Test::HasFailure()) std::cerr << logs();
  kill();
}

void SoundServer::start() {
  if (kind_ == ServerKind::kPulseAudio) {
    launch_pulseaudio();
  } else {
    launch_pipewire();
  }
  wait_until_ready();
  started_before_ = true;
}

void SoundServer::launch(const std::string& program, const std::vector<std::string>& arguments) {
  std::vector<std::string> command{program};
  command.insert(command.end(), arguments.begin(), arguments.end());
  processes_.push_back(
      std::make_unique<Process>(command, environment(), directory() / (program + ".log")));
}

void SoundServer::launch_pulseaudio() {
  launch("pulseaudio", {"-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1",
                        "--log-target=stderr", "--file=" + (directory() / "server.pa").string()});
}

void SoundServer::launch_pipewire() {
  // The other two give up when nobody listens yet; a socket that a killed server left would say
  // otherwise.
  const std::filesystem::path socket = directory() / "run/pipewire-0";
  std::filesystem::remove(socket);
  launch("pipewire", {});
  const auto listening = wait_until("PipeWire's socket appears", kReadyLimit,
                                    [&] { return std::filesystem::exists(socket); });
  if (!listening) throw std::runtime_error(listening.message() + ("\n" + logs()));
  launch("wireplumber", {});
  launch("pipewire-pulse", {});
}

void SoundServer::wait_until_ready() {
  PulseClient client(address(), "Test start");
  const auto ready = wait_until("the sound server is ready", kReadyLimit, [&](std::string& seen) {
    if (!running()) throw std::runtime_error("a process has ended");
    for (const std::string& device : options_.devices) {
      if (!client.sink(device)) {
        seen = "no sink " + device;
        return false;
      }
    }
    if (!started_before_ && !options_.devices.empty() &&
        client.default_sink() != options_.devices.front()) {
      seen = "default sink " + client.default_sink();
      client.set_default_sink(options_.devices.front());
      return false;
    }
    // A session manager that does not know the device yet has the stream fail.
    if (!options_.devices.empty()) {
      TonePlayer::Options probe;
      probe.application_name = "Test start";
      probe.device = options_.devices.front();
      const TonePlayer player(address(), silence(), probe);
    }
    return true;
  });
  if (!ready) throw std::runtime_error(ready.message() + ("\n" + logs()));
}

void SoundServer::stop() {
  thaw();
  // Clients of the first process go before it, as at the end of a session.
  while (!processes_.empty()) {
    processes_.back()->stop(kStopLimit);
    processes_.pop_back();
  }
}

void SoundServer::kill() {
  // All at once: a process that outlives another would write its own end into the log.
  for (const auto& process : processes_)
    process->signal(SIGKILL);
  processes_.clear();
}

void SoundServer::restart() {
  stop();
  start();
}

void SoundServer::freeze() {
  for (const auto& process : processes_)
    process->freeze();
}

void SoundServer::thaw() {
  for (const auto& process : processes_)
    process->thaw();
}

bool SoundServer::running() {
  return !processes_.empty() && std::all_of(processes_.begin(), processes_.end(),
                                            [](const auto& p) { return p->running(); });
}

std::string SoundServer::address() const {
  return "unix:" + (directory() / "run/pulse/native").string();
}

Environment SoundServer::environment() const {
  const std::filesystem::path& root = directory();
  const std::string no_bus = "unix:path=" + (root / "no-bus").string();
  return {
      {"PULSE_SERVER", address()},
      {"PULSE_CLIENTCONFIG", (root / "client.conf").string()},
      {"PULSE_COOKIE", (root / "cookie").string()},
      {"XDG_RUNTIME_DIR", (root / "run").string()},
      {"XDG_CONFIG_HOME", (root / "config").string()},
      {"XDG_STATE_HOME", (root / "state").string()},
      {"XDG_CACHE_HOME", (root / "cache").string()},
      {"XDG_DATA_HOME", (root / "data").string()},
      {"HOME", (root / "home").string()},
      {"DBUS_SESSION_BUS_ADDRESS", no_bus},
      {"DBUS_SYSTEM_BUS_ADDRESS", no_bus},
  };
}

std::string SoundServer::logs() const {
  std::string all;
  for (const std::string& program : programs_of(kind_)) {
    all += "---- " + program + "\n" + read_file(directory() / (program + ".log"));
  }
  return all;
}

std::vector<pid_t> SoundServer::pids() const {
  std::vector<pid_t> pids;
  for (const auto& process : processes_)
    pids.push_back(process->pid());
  return pids;
}

}  // namespace support
