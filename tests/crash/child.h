// What a test does in a process of its own, because it is the end of that process, or because it
// must not touch the test's own environment.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "crash/faultline.h"

namespace crash_test {

constexpr faultline::App kTester{.name = "Tester",
                                 .version = "1.2.3",
                                 .build = "45",
                                 .mail_to = "help@example.org",
                                 .package_name = "tester"};

// Runs `work` in a copy of this process and returns how that ended, as waitpid tells it; 0 is a
// return from `work`. A copy that hangs is ended by SIGALRM.
template <class Work>
int in_child(Work&& work) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    work();
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

// Whether it was this signal that ended it, from the same status.
inline testing::AssertionResult ended_by(int signal, int status) {
  if (WIFSIGNALED(status) && WTERMSIG(status) == signal) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "status " << status << " instead of signal " << signal;
}

}  // namespace crash_test
