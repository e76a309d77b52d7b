// What happens to the person's sound when the program or the server dies, hangs or is late.

#include <csignal>
#include <random>

#include "engine_test.h"

namespace engine_test {
namespace {

class Endurance : public EngineTest {};

INSTANTIATE_TEST_SUITE_P(On, Endurance,
                         testing::Values(ServerKind::kPulseAudio, ServerKind::kPipeWire),
                         [](const auto& param) { return name_of(param.param); });

// The moments are drawn, not waited for: nothing is expected to have happened by then.
void let_time_pass(std::chrono::microseconds time) {
  std::this_thread::sleep_for(time);
}

TEST_P(Endurance, everything_returns_when_killed_at_any_moment) {
  constexpr int kMoments = 20;
  constexpr std::chrono::microseconds kStartUp = 900ms;
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (int i = 0; i < kMoments; ++i) {
    auto program = launch();
    // The last third is killed in the middle of an orderly end.
    const bool ending = i >= kMoments * 2 / 3;
    if (ending) {
      ASSERT_TRUE(routed_to("speakers"));
      program->signal(SIGTERM);
    }
    const auto wait = std::uniform_int_distribution<std::int64_t>(
        0, (ending ? kStartUp / 3 : kStartUp).count())(random);
    let_time_pass(std::chrono::microseconds(wait));
    program->kill9();
    ASSERT_TRUE(as_before(kRescue))
        << "killed after " << wait << " us" << (ending ? " of its end" : "");
  }
  EXPECT_FALSE(music.failed());
  EXPECT_TRUE(hears("speakers", 1000, -20));
}

TEST_P(Endurance, ends_in_order_when_asked_during_start_up) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  for (const auto moment : {0ms, 5ms, 20ms, 60ms, 80ms, 120ms, 200ms, 350ms}) {
    auto program = launch();
    let_time_pass(moment);
    const ExitStatus status = program->stop();
    // Before main has its handlers in place a signal ends the process as it would any other.
    if (program->count_in_log("Build 1057") > 0) {
      EXPECT_EQ(status, (ExitStatus{.code = 0, .signal = 0}))
          << "asked after " << moment.count() << " ms";
    }
    EXPECT_TRUE(as_before(kRescue)) << "asked after " << moment.count() << " ms";
  }
}

TEST_P(Endurance, waits_for_a_server_and_comes_back_after_a_restart) {
  server().stop();
  auto program = launch(with({"--preset", "flat"}));
  EXPECT_TRUE(program->wait_for_log("No sound server reachable"));
  server().start();
  EXPECT_TRUE(routed_to("speakers"));
  EXPECT_EQ(program->count_in_log("No sound server reachable"), 1);
  for (const bool hard : {false, true}) {
    if (hard) {
      server().kill();
    } else {
      server().stop();
    }
    EXPECT_TRUE(wait_until("the loss is noticed", kPatience, [&](std::string& seen) {
      seen = program->log();
      return program->count_in_log("No sound server reachable") == (hard ? 3 : 2);
    }));
    server().start();
    EXPECT_TRUE(routed_to("speakers"));
    TonePlayer music(server().address(), sines({{1000, -20}}));
    EXPECT_TRUE(hears("speakers", 1000, -20));
  }
  program->stop();
  EXPECT_TRUE(as_before());
}

TEST_P(Endurance, goes_on_after_a_server_that_hung) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  auto program = start(with({"--preset", "flat"}));
  server().freeze();
  // A second program wakes the engine with an event that it cannot answer; the thaw delivers both.
  let_time_pass(2s);
  server().thaw();
  EXPECT_TRUE(routed_to("speakers"));
  EXPECT_TRUE(hears("speakers", 1000, -20));
  program->stop();
  EXPECT_TRUE(as_before());
}

TEST_P(Endurance, ends_in_time_while_the_server_hangs_and_the_guard_finishes_later) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  auto program = start();
  server().freeze();
  program->signal(SIGTERM);
  const auto status = program->wait(12s);
  server().thaw();
  ASSERT_TRUE(status.has_value()) << "the program hangs with the server";
  EXPECT_EQ(*status, (ExitStatus{.code = 0, .signal = 0}));
  EXPECT_TRUE(as_before());
}

TEST_P(Endurance, the_guard_leaves_a_sink_that_another_copy_has_taken_over) {
  TonePlayer music(server().address(), sines({{1000, -20}}));
  remember();
  auto first = start();
  const pid_t guard = first->guard().value();
  kill(guard, SIGSTOP);
  first->kill9();
  auto second = launch(with({"--preset", "flat"}));
  ASSERT_TRUE(second->wait_for_log("Virtual sink taken over from the last run"));
  ASSERT_TRUE(routed_to("speakers"));
  kill(guard, SIGCONT);
  EXPECT_TRUE(wait_until("the guard has ended", kPatience, [&] { return kill(guard, 0) != 0; }));
  EXPECT_TRUE(routed_to("speakers"));
  EXPECT_EQ(second->count_in_log("Virtual sink loaded"), 0);
  EXPECT_TRUE(hears("speakers", 1000, -20));
  second->stop();
  EXPECT_TRUE(as_before());
}

}  // namespace
}  // namespace engine_test
