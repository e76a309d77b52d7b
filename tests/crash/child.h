// What a test does in a process of its own, because it is the end of that process, or because it
// must not touch the test's own environment.
#pragma once

#include "crash/faultline.h"
#include "test.h"

namespace crash_test {

constexpr faultline::App kTester{.name = "Tester",
                                 .version = "1.2.3",
                                 .build = "45",
                                 .mail_to = "help@example.org",
                                 .package_name = "tester"};

// Whether it was this signal that ended it, from the same status.
inline AssertionResult ended_by(int signal, int status) {
  if (WIFSIGNALED(status) && WTERMSIG(status) == signal) return AssertionSuccess();
  return AssertionFailure() << "status " << status << " instead of signal " << signal;
}

}  // namespace crash_test
