// What the long runs share: command lines of "--name value", lines that say what is run, and how a
// run ends.
#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "analysis.h"
#include "pulse_client.h"
#include "recorder.h"
#include "sound_server.h"
#include "temp_dir.h"
#include "tone_player.h"
#include "velmora_process.h"
#include "wait_until.h"

namespace soak {

using namespace std::chrono_literals;
using namespace support;
using Clock = std::chrono::steady_clock;

constexpr const char* kOurs = "Velmora";  // application.name of the program's streams
constexpr int kUsage = 2;                 // exit status: a word that is not known
constexpr int kSkipped = 77;              // exit status: something needed is not installed

class Arguments {
 public:
  Arguments(int argc, char** argv) : words_(argv + 1, argv + argc) {
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  }

  [[nodiscard]] std::string text(const std::string& name, const std::string& otherwise) const {
    for (std::size_t i = 0; i + 1 < words_.size(); ++i) {
      if (words_[i] == name) return words_[i + 1];
    }
    return otherwise;
  }
  [[nodiscard]] double number(const std::string& name, double otherwise) const {
    return std::stod(text(name, std::to_string(otherwise)));
  }
  // "--seed", or one that nobody has chosen; printed, so that the run can be had again.
  [[nodiscard]] unsigned seed() const {
    const std::string otherwise = std::to_string(std::random_device()());
    const auto seed = static_cast<unsigned>(std::stoul(text("--seed", otherwise)));
    std::printf("seed %u\n", seed);
    return seed;
  }
  // "--server", printed. Ends the process when there is none of that name, and when the server or
  // one of these programs is not installed.
  [[nodiscard]] ServerKind server(std::vector<std::string> programs = {}) const {
    const std::string name = text("--server", "pulseaudio");
    if (name != "pulseaudio" && name != "pipewire") {
      std::fprintf(stderr, "Unknown server: %s (known: pulseaudio, pipewire)\n", name.c_str());
      std::exit(kUsage);
    }
    const bool pipewire = name == "pipewire";
    programs.emplace_back(pipewire ? "pipewire-pulse" : "pulseaudio");
    for (const std::string& program : programs) {
      if (program_exists(program)) continue;
      std::printf("%s is not installed\n", program.c_str());
      std::exit(kSkipped);
    }
    std::printf("%s\n", name.c_str());
    return pipewire ? ServerKind::kPipeWire : ServerKind::kPulseAudio;
  }

 private:
  std::vector<std::string> words_;
};

inline void check(bool good, const std::string& otherwise) {
  if (!good) throw std::runtime_error(otherwise);
}

// The exit status of a run that returns whether all was well, or throws what was not.
template <class Run>
int status_of(Run&& run) {
  try {
    return run() ? 0 : 1;
  } catch (const std::exception& error) {
    std::printf("%s\n", error.what());
    return 1;
  }
}

}  // namespace soak
