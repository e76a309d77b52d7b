// The interface holds its promises through any sequence of events.

#include "event_driver.h"
#include "gfx/gfx.h"
#include "test.h"

namespace {

TEST(events, in_any_order_break_nothing) {
  Home home;  // the environment is put back afterwards
  const char* const given = std::getenv("VELMORA_TEST_SEED");
  const auto seed = given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 10))
                                     : std::random_device()();
  std::fprintf(stderr, "VELMORA_TEST_SEED=%u\n", seed);
  std::mt19937 random(seed);
  std::vector<std::uint8_t> bytes(4096);
  int events = 0;
  while (events < 100'000) {
    for (std::uint8_t& b : bytes)
      b = static_cast<std::uint8_t>(random());
    const events::Outcome outcome = events::run(bytes.data(), bytes.size());
    events += outcome.events;
    ASSERT_EQ(outcome.broken, nullptr)
        << outcome.broken << " (event " << outcome.events << ", seed " << seed << ")";
  }
  gfx::shutdown();
}

}  // namespace
