// What every unit test may use: the libraries, directories and an environment of its own, children
// and waits.
#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <numbers>
#include <optional>
#include <random>
#include <span>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace std::string_literals;
using namespace testing;

// The whole of a file; empty when it cannot be read.
inline std::string read_file(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Creates missing directories on the way.
inline void write_file(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

// What a shell prints for this.
inline std::string output_of(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen((command + " 2>&1").c_str(), "r"), pclose);
  std::string all;
  for (int c = std::fgetc(pipe.get()); c != EOF; c = std::fgetc(pipe.get()))
    all += static_cast<char>(c);
  return all;
}

// A directory of a test's own, gone with everything in it when the object goes. Its name is short
// because it ends up in socket addresses, which may hold 107 characters.
class Directory {
 public:
  Directory() {
    std::string name = fs::temp_directory_path() / "velq-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot create " + name);
    path_ = name;
  }
  ~Directory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  [[nodiscard]] const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

// A home of a test's own: a temporary directory that HOME and XDG_CONFIG_HOME lead to, with every
// other variable that affects where and how the program runs removed. The environment is put back
// afterwards. Thread: main thread, while no other thread reads the environment.
class Home {
 public:
  Home() {
    for (const char* name : {"SNAP", "SNAP_NAME", "SNAP_REAL_HOME", "FLATPAK_ID", "APPDIR",
                             "TRSL_LANG", "LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"})
      set(name, "");
    set("HOME", path());
    set("XDG_CONFIG_HOME", path() / "config");
  }
  ~Home() {
    for (const auto& [name, value] : before_)
      set(name, value);
  }
  Home(const Home&) = delete;
  Home& operator=(const Home&) = delete;

  [[nodiscard]] const fs::path& path() const { return dir_.path(); }
  // The configuration directory that HOME and XDG_CONFIG_HOME lead to.
  [[nodiscard]] fs::path config() const { return path() / "config" / "Velmora"; }

  // Sets a variable for the life of this object; an empty value removes it.
  void set(const std::string& name, const std::string& value) {
    const char* const now = std::getenv(name.c_str());
    before_.try_emplace(name, now != nullptr ? now : "");
    value.empty() ? unsetenv(name.c_str()) : setenv(name.c_str(), value.c_str(), 1);
  }

 private:
  Directory dir_;
  std::map<std::string, std::string> before_;
};

// A disk on which no file can become longer than this, for the life of this object. Of this
// process.
class FullDisk {
 public:
  explicit FullDisk(std::uintmax_t bytes) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit full{static_cast<rlim_t>(bytes), before_.rlim_max};
    if (setrlimit(RLIMIT_FSIZE, &full) != 0) throw std::runtime_error("no limit for files");
  }
  ~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  rlimit before_{};
  void (*handler_)(int) = std::signal(SIGXFSZ, SIG_IGN);
};

// Waits for a condition, never for a time. It is asked every 10 ms until it holds or the limit has
// passed; what it leaves in `seen` ends the failure message.
inline AssertionResult wait_until(const std::string& what, std::chrono::milliseconds limit,
                                  const std::function<bool(std::string&)>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;; std::this_thread::sleep_for(10ms)) {
    // Read before the condition is asked: a slow machine never gives up without a last look.
    const bool last = std::chrono::steady_clock::now() >= deadline;
    std::string seen;
    if (condition(seen)) return AssertionSuccess();
    if (last) return AssertionFailure() << "in " << limit.count() << " ms not: " << what << seen;
  }
}
inline AssertionResult wait_until(const std::string& what, std::chrono::milliseconds limit,
                                  const std::function<bool()>& condition) {
  return wait_until(what, limit, [&](std::string&) { return condition(); });
}

// Runs `work` in a copy of this process, because it is the end of that process or must not touch
// the test's own environment. Returns how that ended, as waitpid reports it; 0 is a return from
// `work` without a failure. A copy that hangs is ended by SIGALRM.
template <class Work>
int in_child(Work&& work) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    work();
    _exit(Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}
