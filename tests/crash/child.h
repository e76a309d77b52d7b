// What a test does in a process of its own, because it is the end of that process, or because it
// must not touch the test's own environment.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace crash_test {

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

}  // namespace crash_test
