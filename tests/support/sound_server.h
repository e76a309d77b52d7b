// A sound server of the test's own: PulseAudio, or PipeWire with its session manager and PulseAudio
// protocol, in a temporary directory, with null sinks in the place of real devices. It touches
// neither hardware nor the person's session, any number of them run at the same time, and nothing
// of them is left behind.
//
//   SoundServer server(ServerKind::kPipeWire);
//   server.start();
//   PulseClient client(server.address());
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "process.h"
#include "temp_dir.h"

namespace support {

enum class ServerKind { kPulseAudio, kPipeWire };

// "PulseAudio", "PipeWire": for the names of parametrised tests.
std::string name_of(ServerKind kind);
std::ostream& operator<<(std::ostream& out, ServerKind kind);

// As for any programs (process.h): those of this server.
void require_programs(ServerKind kind);

struct SoundServerOptions {
  // The devices, one at least, 48000 Hz stereo; the first is the default. Their descriptions are
  // their names, first letter upper case.
  std::vector<std::string> devices = {"speakers", "headset"};
  // Seconds after which an unused device is put to sleep, 0 = never.
  int suspend_on_idle_s = 0;
};

class SoundServer {
 public:
  explicit SoundServer(ServerKind kind, SoundServerOptions options = {});
  // Ends what runs. When the test has failed, prints the server's logs.
  ~SoundServer();

  // Starts the server and waits until it is ready: connections are accepted, all devices are there,
  // the default is the first device (on the first start; later starts, at the same address, restore
  // what the server remembered), and a stream can be played. Throws std::runtime_error, with the
  // logs, when that takes too long.
  void start();
  // Ends the server the regular way.
  void stop();
  // Ends it the hard way: no farewell to any client.
  void kill();
  // Stops the server's processes where they are, as a machine that hangs would, and lets them go
  // on.
  void freeze();
  void thaw();

  [[nodiscard]] ServerKind kind() const { return kind_; }
  [[nodiscard]] std::string address() const;
  // For the children of the test that are to use this server.
  [[nodiscard]] Environment environment() const;
  [[nodiscard]] const std::filesystem::path& directory() const { return directory_.path(); }
  [[nodiscard]] std::vector<pid_t> pids() const;

 private:
  void launch(const std::vector<std::string>& command);
  void launch_all();
  bool is_ready();
  [[nodiscard]] std::string logs() const;

  ServerKind kind_;
  SoundServerOptions options_;
  TempDir directory_;
  // In the order they were started.
  std::vector<std::unique_ptr<Process>> processes_;
  bool started_before_ = false;
};

}  // namespace support
