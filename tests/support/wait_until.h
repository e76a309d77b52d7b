// Waiting in tests: for a condition, never for a time.
//
//   EXPECT_TRUE(wait_until("the default is ours", 5s, [&](std::string& seen) {
//     seen = client.default_sink();
//     return seen == "velmora";
//   }));
//
// The condition is asked about every 10 ms until it holds or the limit has passed. It may take a
// std::string& and leave there what it saw; the failure message ends with it. A condition that
// throws counts as not yet met (a server that is just coming up refuses connections), and what it
// threw is what was last seen.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <exception>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>

namespace support {

template <class Condition>
testing::AssertionResult wait_until(const std::string& what, std::chrono::milliseconds limit,
                                    Condition&& condition) {
  constexpr std::chrono::milliseconds kPause{10};
  const auto deadline = std::chrono::steady_clock::now() + limit;
  std::string seen;
  for (;;) {
    // Read before the condition is asked, so that a slow machine never gives up without a last
    // look.
    const bool last = std::chrono::steady_clock::now() >= deadline;
    try {
      bool met = false;
      if constexpr (std::is_invocable_v<Condition&, std::string&>) {
        seen.clear();
        met = condition(seen);
      } else {
        met = condition();
      }
      if (met) return testing::AssertionSuccess() << what;
    } catch (const std::exception& error) {
      seen = error.what();
    }
    if (last) break;
    std::this_thread::sleep_for(kPause);
  }
  return testing::AssertionFailure() << "waited " << limit.count() << " ms for: " << what
                                     << (seen.empty() ? "" : "; last seen: ") << seen;
}

// For what nothing can go on without: throws std::runtime_error with the failure message.
inline void require(const testing::AssertionResult& result) {
  if (!result) throw std::runtime_error(result.message());
}

}  // namespace support
