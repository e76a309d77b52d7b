// The end of a program whose main thread hangs.
#include "app/ending.h"
#include "test.h"

#include <poll.h>

namespace {

using Clock = std::chrono::steady_clock;

int g_ends[2];  // what happens is written to the second

template <char What>
void note() {
  const char what = What;
  ASSERT_EQ(write(g_ends[1], &what, 1), 1);
}

// The next event of the child, '-' when its end of the pipe is closed.
char next_event() {
  pollfd readable{.fd = g_ends[0], .events = POLLIN, .revents = 0};
  char what = '?';
  if (poll(&readable, 1, 20000) == 1 && read(g_ends[0], &what, 1) == 0) what = '-';
  return what;
}

TEST(Ending, restores_the_sound_after_2_s_and_is_over_after_5_whatever_hangs) {
  ASSERT_EQ(pipe2(g_ends, O_CLOEXEC), 0);
  const pid_t program = fork();
  if (program == 0) {
    alarm(60);
    ending::watch({.on_end = note<'e'>,
                   .on_raise = note<'r'>,
                   .rescue =
                       [] {
                         note<'s'>();
                         pause();  // the sound server hangs, too
                       },
                   .prepare = [] {}});
    note<'b'>();
    for (;;)
      pause();
  }
  close(g_ends[1]);
  EXPECT_EQ(next_event(), 'b');
  kill(program, SIGUSR1);
  EXPECT_EQ(next_event(), 'r');
  const Clock::time_point asked = Clock::now();
  kill(program, SIGTERM);
  EXPECT_EQ(next_event(), 'e');
  kill(program, SIGINT);  // impatience changes nothing
  EXPECT_EQ(next_event(), 's');
  EXPECT_GE(Clock::now() - asked, 2s);
  EXPECT_EQ(next_event(), '-');
  EXPECT_GE(Clock::now() - asked, 5s);
  EXPECT_LT(Clock::now() - asked, 10s) << "a busy machine";
  int status = -1;
  waitpid(program, &status, 0);
  EXPECT_EQ(status, 0);
  close(g_ends[0]);
}

}  // namespace
