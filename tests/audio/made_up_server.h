// A sound server in this process, behind the library's own functions: nothing on it happens by
// chance, time passes only while somebody waits, and every request is written down.
#pragma once

#include <pulse/pulseaudio.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace made_up {

struct Sink {
  std::uint32_t index;
  std::string name;
  std::map<std::string, std::string> properties;
  std::string port;
  std::string driver;
  std::uint32_t module = PA_INVALID_INDEX;
  pa_cvolume volume;
  bool mute = false;
  bool suspended = false;
  bool idle = false;
  bool flat = false;
};

struct Stream {
  std::uint32_t index;
  std::uint32_t device;
  std::uint32_t client;
  std::map<std::string, std::string> properties;
  std::uint32_t module = PA_INVALID_INDEX;
  pa_cvolume volume;
  bool mute = false;
  bool corked = false;
  bool recording = false;
  pa_stream* of_ours = nullptr;
};

struct Server {
  std::deque<Sink> sinks;
  std::deque<Stream> streams;
  std::string default_sink;
  std::string shown;  // to connections that are there already, instead of the default
  // "silent", "refuses", "ignores", "denies", "gone", "keeps-levels", "no-module", "no-stream",
  // "no-unload"; empty: all is well
  std::string mode;
  int remembered = -1;      // percent, what a new virtual sink starts with
  std::uint32_t next = 10;  // index
  double now_ms = 1e6;
  float left = 0;  // the peak of what is played to every sink
  float right = 0;
  bool flows = true;  // its monitors give sound
  int holes = 0;      // fragments that will be recorded without data
  std::vector<std::string> asked;
  // What happens when this is asked the next time, before it is answered.
  std::pair<std::string, std::function<void()>> meanwhile;
  std::size_t written = 0;  // samples
  float peak[2]{};
  double sum = 0;  // of all samples written, each by its place

  Sink* find(const std::string& name);
  Sink& add(const std::string& name);
  void remove(const std::string& name);
  // Lets time pass: sound comes and goes.
  void pass(double ms);
  void lose_connections();
  // What of the library's is held without use.
  [[nodiscard]] std::string unused() const;
};

extern Server server;

}  // namespace made_up
