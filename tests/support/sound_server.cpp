// DESIGN: every process of a server is a child of the test itself, not of a script or of a session
// launcher: so each can be frozen and ended by its own id and none survives the test. There is no
// D-Bus, neither session nor system; the servers use it for real-time rights, device reservation
// and portals, all of which lead to the outside.
#include "sound_server.h"

#include <gtest/gtest.h>

#include <cctype>
#include <csignal>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <utility>

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
  if (!(std::ofstream(path) << text).flush())
    throw std::runtime_error("cannot write " + path.string());
}

// What a desktop's default script loads, as far as it needs no hardware. Rescuing the streams of a
// vanished sink is part of the server itself in this generation.
std::string pulseaudio_script(const SoundServerOptions& options,
                              const std::filesystem::path& socket) {
  std::ostringstream script;
  script << R"(.fail
load-module module-device-restore
load-module module-stream-restore
load-module module-card-restore
load-module module-native-protocol-unix auth-anonymous=1 socket=)"
         << socket.string() << "\n";
  for (const std::string& device : options.devices)
    script << "load-module module-null-sink " << null_sink_arguments(device, description_of(device))
           << "\n";
  script << "load-module module-default-device-restore\nload-module module-intended-roles\n";
  if (options.suspend_on_idle_s > 0)
    script << "load-module module-suspend-on-idle timeout=" << options.suspend_on_idle_s << "\n";
  return script.str();
}

// The devices live in the server itself, as those of a sound card would: no client owns them.
std::string pipewire_devices(const SoundServerOptions& options) {
  std::ostringstream text;
  text << "context.properties = { support.dbus = false }\ncontext.objects = [\n";
  std::size_t rank = 1000 + options.devices.size();
  for (const std::string& device : options.devices) {
    text << R"(  { factory = adapter args = {
      factory.name = support.null-audio-sink
      media.class = Audio/Sink
      audio.rate = 48000
      audio.position = [ FL FR ]
      monitor.channel-volumes = true)"
         << "\n      node.name = \"" << device << "\"\n      node.description = \""
         << description_of(device) << "\"\n      priority.session = " << rank--
         << "\n      session.suspend-timeout-seconds = " << options.suspend_on_idle_s
         << "\n  } }\n";
  }
  text << "]\n";
  return text.str();
}

// WirePlumber 0.4 is configured in Lua, which 0.5 no longer reads.
constexpr const char* kNoHardwareLua = R"(alsa_monitor.enabled = false
v4l2_monitor.enabled = false
libcamera_monitor.enabled = false
default_access.properties["enable-flatpak-portal"] = false
)";
constexpr const char* kNoHardware = R"(wireplumber.profiles = { main = {
  hardware.audio = disabled
  hardware.bluetooth = disabled
  hardware.video-capture = disabled
} }
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

SoundServer::SoundServer(ServerKind kind, SoundServerOptions options)
    : kind_(kind), options_(std::move(options)) {
  const std::filesystem::path& root = directory();
  for (const char* folder : {"run/pulse", "home", "config", "state", "cache", "data"})
    std::filesystem::create_directories(root / folder);
  // Both servers refuse a runtime directory that others may enter.
  std::filesystem::permissions(root / "run", std::filesystem::perms::owner_all);
  write_file(root / "client.conf", "autospawn = no\n");
  if (kind_ == ServerKind::kPulseAudio) {
    write_file(root / "server.pa", pulseaudio_script(options_, root / "run/pulse/native"));
    return;
  }
  const std::filesystem::path config = root / "config";
  write_file(config / "pipewire/pipewire.conf.d/50-devices.conf", pipewire_devices(options_));
  for (const char* folder : {"pipewire-pulse.conf.d", "wireplumber.conf.d"})
    write_file(config / "pipewire" / folder / "50-alone.conf",
               "context.properties = { support.dbus = false }\n");
  write_file(config / "wireplumber/wireplumber.conf.d/80-no-hardware.conf", kNoHardware);
  write_file(config / "wireplumber/main.lua.d/80-no-hardware.lua", kNoHardwareLua);
  write_file(config / "wireplumber/bluetooth.lua.d/80-no-hardware.lua",
             "bluez_monitor.enabled = false\n");
}

SoundServer::~SoundServer() {
  if (testing::Test::HasFailure()) std::cerr << logs();
  kill();
}

void SoundServer::start() {
  launch_all();
  const auto ready =
      wait_until("the sound server is ready", kReadyLimit, [this] { return is_ready(); });
  if (!ready) throw std::runtime_error(ready.message() + ("\n" + logs()));
  started_before_ = true;
}

void SoundServer::launch(const std::vector<std::string>& command) {
  processes_.push_back(
      std::make_unique<Process>(command, environment(), directory() / (command[0] + ".log")));
}

void SoundServer::launch_all() {
  if (kind_ == ServerKind::kPulseAudio) {
    launch({"pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1",
            "--log-target=stderr", "--file=" + (directory() / "server.pa").string()});
    return;
  }
  // The other two give up when nobody listens yet; a socket that a killed server left would say
  // otherwise.
  const std::filesystem::path socket = directory() / "run/pipewire-0";
  std::filesystem::remove(socket);
  launch({"pipewire"});
  require(wait_until("PipeWire's socket appears", kReadyLimit, [&](std::string& seen) {
    seen = logs();
    return std::filesystem::exists(socket);
  }));
  launch({"wireplumber"});
  launch({"pipewire-pulse"});
}

bool SoundServer::is_ready() {
  for (const auto& process : processes_) {
    if (!process->running()) throw std::runtime_error("a process has ended");
  }
  PulseClient client(address());
  for (const std::string& device : options_.devices) {
    if (!client.sink(device)) throw std::runtime_error("no sink " + device);
  }
  const std::string& first = options_.devices.front();
  const std::string chosen = client.default_sink();
  if (!started_before_ && chosen != first) {
    client.set_default_sink(first);
    throw std::runtime_error("default sink " + chosen);
  }
  // A session manager that does not know the device yet has the stream fail.
  const TonePlayer player(address(), sines({}),
                          {.application_name = "Test start", .device = first});
  return true;
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

void SoundServer::freeze() {
  for (const auto& process : processes_)
    process->freeze();
}

void SoundServer::thaw() {
  for (const auto& process : processes_)
    process->thaw();
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
  for (const std::string& program : programs_of(kind_))
    all += "---- " + program + "\n" + read_file(directory() / (program + ".log"));
  return all;
}

std::vector<pid_t> SoundServer::pids() const {
  std::vector<pid_t> pids;
  for (const auto& process : processes_)
    pids.push_back(process->pid());
  return pids;
}

}  // namespace support
