// What else a machine may do to the program: its files have no place, its guard is gone, its
// terminal closes.

#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "engine_test.h"

namespace engine_test {
namespace {

namespace fs = std::filesystem;

constexpr ExitStatus kOk{.code = 0, .signal = 0};

class Surroundings : public EngineTest {
 protected:
  // How far files of the program's may grow: with 0, writing fails as on a full disk.
  static void limit_files(const VelmoraProcess& program, rlim_t bytes) {
    rlimit limit{};
    ASSERT_EQ(prlimit(program.pid(), RLIMIT_FSIZE, nullptr, &limit), 0);
    limit.rlim_cur = bytes;
    ASSERT_EQ(prlimit(program.pid(), RLIMIT_FSIZE, &limit, nullptr), 0);
  }
};

INSTANTIATE_TEST_SUITE_P(On, Surroundings,
                         testing::Values(ServerKind::kPulseAudio, ServerKind::kPipeWire),
                         [](const auto& param) { return name_of(param.param); });

TEST_P(Surroundings, without_a_guard_it_ends_in_order_when_its_terminal_closes) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  auto program = start();
  const pid_t guard = program->guard().value();
  ASSERT_EQ(kill(guard, SIGKILL), 0);
  // Every switch is told to the guard, whose pipe is broken now.
  for (const char* device : {"headset", "speakers"}) {
    client().set_default_sink(device);
    EXPECT_TRUE(routed_to(device));
  }
  program->signal(SIGHUP);
  EXPECT_EQ(program->wait(kPatience), kOk);
  EXPECT_TRUE(as_before());
  EXPECT_THAT(program->log(), testing::EndsWith("Quit\n"));
}

TEST_P(Surroundings, a_place_for_its_files_is_not_needed) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  TempDir taken;
  std::ofstream(taken.path() / "Velmora") << "in the way";
  TempDir here;
  const fs::path before = fs::current_path();
  fs::current_path(here.path());
  VelmoraOptions blocked;
  blocked.config_home = taken.path();
  VelmoraOptions homeless;
  for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR", "XDG_STATE_HOME",
                           "XDG_CACHE_HOME", "XDG_DATA_HOME"})
    homeless.environment[name] = "";
  for (const VelmoraOptions& options : {blocked, homeless}) {
    auto program = start(options);
    EXPECT_EQ(program->stop(), kOk);
    EXPECT_TRUE(as_before());
  }
  fs::current_path(before);
  EXPECT_EQ(read_file(taken.path() / "Velmora"), "in the way");
  EXPECT_TRUE(fs::exists(here.path() / ".Velmora/settings.dat"));
}

TEST_P(Surroundings, a_full_disk_tears_nothing_and_later_all_is_written) {
  auto program = start();
  const fs::path settings = program->config_home() / "Velmora/settings.dat";
  const fs::path temporary = settings.string() + ".tmp";
  // The followed device is remembered, a good second after it changed.
  ASSERT_TRUE(wait_until("there are settings", kPatience,
                         [&] { return fs::exists(settings) && !fs::exists(temporary); }));
  const std::string old = read_file(settings);
  limit_files(*program, 0);
  client().set_default_sink("headset");
  EXPECT_TRUE(wait_until("saving fails", kPatience, [&] { return fs::exists(temporary); }));
  EXPECT_TRUE(routed_to("headset"));
  EXPECT_EQ(read_file(settings), old);
  EXPECT_EQ(program->count_in_log("Settings not completely written"), 0);
  limit_files(*program, RLIM_INFINITY);
  client().set_default_sink("speakers");
  EXPECT_TRUE(wait_until("they are replaced", kPatience,
                         [&] { return read_file(settings) != old && !fs::exists(temporary); }));
  EXPECT_EQ(program->stop(), kOk);
  // The next line brings those along that found no room.
  EXPECT_GE(program->count_in_log("ERROR Settings not completely written\n"), 1);
}

}  // namespace
}  // namespace engine_test
