// What happens to the user's sound when the program or the server dies, hangs or is late, and
// when what is around the program is not as it should be.

#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>

#include "engine_test.h"

namespace engine_test {
namespace {

class Endurance : public EngineTest {};

INSTANTIATE_TEST_SUITE_P(On, Endurance, kServers, server_name);

// The moments are drawn, not waited for: nothing is expected to have happened by then.
void let_time_pass(std::chrono::microseconds time) {
  std::this_thread::sleep_for(time);
}

TEST_P(Endurance, everything_returns_when_killed_or_ended_at_any_moment) {
  enum class Way { kKilled, kKilledAtItsEnd, kEnded };
  constexpr std::pair<Way, int> kMoments[] = {
      {Way::kKilled, 14}, {Way::kKilledAtItsEnd, 6}, {Way::kEnded, 8}};
  play(kTone);
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (const auto& [way, times] : kMoments) {
    const std::chrono::microseconds longest = way == Way::kKilled ? 900ms : 300ms;
    for (int i = 0; i < times; ++i) {
      auto program = launch();
      if (way == Way::kKilledAtItsEnd) {
        ASSERT_TRUE(routed_to("speakers"));
        program->signal(SIGTERM);
      }
      const std::chrono::microseconds moment(
          std::uniform_int_distribution<std::int64_t>(0, longest.count())(random));
      SCOPED_TRACE("way " + std::to_string(static_cast<int>(way)) + " after " +
                   std::to_string(moment.count()) + " us");
      let_time_pass(moment);
      const ExitStatus status = way == Way::kEnded ? program->stop() : program->kill9();
      // Before main has its handlers in place a signal ends the process as it would any other.
      if (way == Way::kEnded && program->count_in_log("Build 1057") > 0) {
        EXPECT_EQ(status, kOk);
      }
      ASSERT_TRUE(as_before(kRescue));
    }
  }
  EXPECT_TRUE(hears("speakers", kTone));
}

// PipeWire does not tell of it.
class Suspended : public EngineTest {};
INSTANTIATE_TEST_SUITE_P(On, Suspended, testing::Values(ServerKind::kPulseAudio), server_name);

TEST_P(Suspended, a_sink_is_woken_and_heard_again) {
  play(kTone);
  auto program = start();
  client().suspend_sink(kSink);
  EXPECT_TRUE(
      eventually("it is awake", [&] { return client().sink(kSink)->state != PA_SINK_SUSPENDED; }));
  EXPECT_TRUE(hears("speakers", kTone));
}

TEST_P(Endurance, waits_for_a_server_and_comes_back_after_a_restart) {
  server().stop();
  auto program = launch();
  for (const int lost : {1, 2, 3}) {
    EXPECT_TRUE(eventually("the loss is noticed", [&](std::string& seen) {
      seen = program->log();
      return program->count_in_log("No sound server reachable") == lost;
    }));
    server().start();
    EXPECT_TRUE(routed_to("speakers"));
    TonePlayer music(server().address(), sines(kTone));
    EXPECT_TRUE(hears("speakers", kTone));
    if (lost == 1) server().stop();
    if (lost == 2) server().kill();
  }
  end(program.get(), false);
  EXPECT_TRUE(as_before());
}

TEST_P(Endurance, goes_on_after_a_server_that_hung_and_ends_in_time_while_it_hangs) {
  play(kTone);
  auto program = start();
  server().freeze();
  // A second program wakes the engine with an event that it cannot answer; the thaw delivers both.
  let_time_pass(2s);
  server().thaw();
  EXPECT_TRUE(routed_to("speakers"));
  EXPECT_TRUE(hears("speakers", kTone));
  server().freeze();
  program->signal(SIGTERM);
  const auto status = program->wait(12s);
  server().thaw();
  EXPECT_EQ(status, kOk) << "it hangs with the server";
  EXPECT_TRUE(as_before()) << "the guard finishes what could not be done";
}

// ---- Surroundings

class Surroundings : public EngineTest {};

INSTANTIATE_TEST_SUITE_P(On, Surroundings, kServers, server_name);

TEST_P(Surroundings, without_a_guard_it_ends_in_order_when_its_terminal_closes) {
  play(kTone);
  auto program = start();
  ASSERT_EQ(kill(program->guard().value(), SIGKILL), 0);
  // Every switch is sent to the guard, whose pipe is broken now.
  for (const char* device : {"headset", "speakers"}) {
    client().set_default_sink(device);
    EXPECT_TRUE(routed_to(device));
  }
  program->signal(SIGHUP);
  EXPECT_EQ(program->wait(kPatience), kOk);
  EXPECT_TRUE(as_before());
}

TEST_P(Surroundings, a_place_for_its_files_is_not_needed) {
  TempDir taken;
  std::ofstream(taken.path() / "Velmora") << "in the way";
  VelmoraOptions options;
  options.config_home = taken.path();
  auto program = start(options);
  end(program.get(), false);
  EXPECT_TRUE(as_before());
  EXPECT_EQ(read_file(taken.path() / "Velmora"), "in the way");
}

}  // namespace
}  // namespace engine_test
