// The command lines of the long runs: "--name value", and a line that says what is run.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "process.h"
#include "sound_server.h"

namespace soak {

constexpr int kUsage = 2;     // exit status: a word that is not known
constexpr int kSkipped = 77;  // exit status: something needed is not installed

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
  [[nodiscard]] support::ServerKind server(std::vector<std::string> programs = {}) const {
    const std::string name = text("--server", "pulseaudio");
    if (name != "pulseaudio" && name != "pipewire") {
      std::fprintf(stderr, "Unknown server: %s (known: pulseaudio, pipewire)\n", name.c_str());
      std::exit(kUsage);
    }
    const bool pipewire = name == "pipewire";
    programs.emplace_back(pipewire ? "pipewire-pulse" : "pulseaudio");
    for (const std::string& program : programs) {
      if (support::program_exists(program)) continue;
      std::printf("%s is not installed\n", program.c_str());
      std::exit(kSkipped);
    }
    std::printf("%s\n", name.c_str());
    return pipewire ? support::ServerKind::kPipeWire : support::ServerKind::kPulseAudio;
  }

 private:
  std::vector<std::string> words_;
};

}  // namespace soak
