// Child processes.
#include "posix/child.h"
#include "test.h"

namespace {

TEST(Child, starts_with_nothing_of_ours) {
  const auto before = std::signal(SIGPIPE, SIG_IGN);
  sigset_t all;
  sigset_t mask;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &mask);
  const int inherited = dup(STDOUT_FILENO);  // not closed on exec
  std::string output;
  const std::string script =
      R"(ls -l /proc/$$/fd; printf %s "$1" >&2; cat; exec cat /proc/self/status)";
  EXPECT_EQ(child::run({"sh", "-c", script, "sh", "error"}, 20s, &output), 0);
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  std::signal(SIGPIPE, before);
  // The C library ignores two signals of its own.
  EXPECT_THAT(output, ContainsRegex("SigBlk:\t0+\nSigIgn:\t0000000[01][08]0000000\n"));
  EXPECT_THAT(output, HasSubstr(" 0 -> /dev/null\n"));
  EXPECT_THAT(output, Not(HasSubstr(" " + std::to_string(inherited) + " -> ")));
  EXPECT_THAT(output, Not(HasSubstr("error")));
  close(inherited);
}

TEST(Child, ends_with_its_code_or_at_its_limit) {
  std::string output;
  EXPECT_EQ(child::run({"sh", "-c", "exit 3"}, 20s, nullptr), 3);
  EXPECT_EQ(child::run({"no such program"}, 20s, &output), 127);
  EXPECT_FALSE(child::start({"no such program"}));
  EXPECT_TRUE(child::start({"true"}));
  EXPECT_EQ(child::run({"sh", "-c", "echo first; exec sleep 60"}, 300ms, &output), 128 + SIGKILL);
  EXPECT_EQ(output, "first\n");
  // What it leaves running may keep the pipe open, but nobody waiting.
  EXPECT_EQ(child::run({"sh", "-c", "sleep 5 & echo done"}, 300ms, &output), 0);
  EXPECT_EQ(output, "done\n");
}

}  // namespace
