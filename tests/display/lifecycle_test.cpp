// How the program comes, hides, returns and goes.

#include <csignal>
#include <filesystem>

#include "display_test.h"

namespace display_test {
namespace {

using Lifecycle = DisplayTest;

TEST_F(Lifecycle, a_minimised_window_is_brought_back_by_a_second_start_and_ends_in_order) {
  for (const bool stopped : {false, true}) {
    auto program = start();
    EXPECT_TRUE(in_the_sound("velmora"));
    const Window window(screen());
    window.minimise();
    EXPECT_TRUE(program->wait_for_log("Window not visible - display paused", kPatience));
    if (stopped) {
      EXPECT_EQ(program->stop(), kOk);
    } else {
      auto second = launch();
      EXPECT_EQ(second->wait(kPatience), kOk);
      EXPECT_TRUE(program->wait_for_log("Window visible again", kPatience));
      EXPECT_TRUE(eventually("the window is back", [&] { return !window.minimised(); }));
      window.key("alt+F4");
      EXPECT_EQ(program->wait(kPatience), kOk);
    }
    EXPECT_TRUE(as_before());
    EXPECT_THAT(program->log(), testing::EndsWith("Quit\n"));
  }
}

TEST_F(Lifecycle, a_screen_that_vanishes_costs_neither_the_sound_nor_the_last_change) {
  auto program = start();
  EXPECT_TRUE(in_the_sound("velmora"));
  const Window window(screen());
  window.click(kCollapse);
  EXPECT_TRUE(has_size(window, {960, 340}));
  screen().crash();  // before the change is saved in its own time
  EXPECT_EQ(program->wait(kPatience).value().signal, 0);
  EXPECT_TRUE(as_before());
  EXPECT_TRUE(settings::load().collapsed);
  EXPECT_FALSE(std::filesystem::exists(program->config_home() / "Velmora/crash_report.txt"));
}

TEST_F(Lifecycle, the_panels_switch_makes_a_session_start_the_program) {
  require_programs({"desktop-file-validate", "gio"});
  if (IsSkipped() || HasFatalFailure()) return;
  const std::filesystem::path entry =
      server().directory() / "home/.config/autostart/Velmora.desktop";
  auto program = start({"--settings"});
  const std::filesystem::path config = program->config_home();
  Window(screen()).click({447, 242});
  ASSERT_TRUE(eventually("there is an entry", [&] { return std::filesystem::exists(entry); }));
  EXPECT_EQ(program->stop(), kOk);
  EXPECT_EQ(screen().run({"desktop-file-validate", entry}), "");

  Environment session = server().environment();
  session.merge(screen().environment());
  session["XDG_CONFIG_HOME"] = config;
  Process launcher({"gio", "launch", entry}, session, server().directory() / "launcher.log");
  EXPECT_EQ(launcher.wait(kPatience), kOk) << launcher.output();
  const Window started(screen());
  const pid_t pid = std::stoi(read_file(config / "Velmora/Velmora.lock"));
  EXPECT_TRUE(in_the_sound("velmora"));
  ASSERT_EQ(kill(pid, SIGTERM), 0);
  EXPECT_TRUE(as_before());
  EXPECT_TRUE(eventually("it is gone", [&] { return kill(pid, 0) != 0; }));
}

TEST_F(Lifecycle, runs_where_there_is_only_wayland) {
  require_programs({"weston"});
  if (IsSkipped() || HasFatalFailure()) return;
  const std::filesystem::path run = server().directory() / "run";
  // A compositor in a window: without a keyboard and a mouse, SDL of this generation would not
  // start.
  Environment nested = server().environment();
  nested.merge(screen().environment());
  Process weston({"weston", "--backend=x11-backend.so", "--use-pixman", "--socket=screen",
                  "--no-config", "--width=1100", "--height=800"},
                 nested, server().directory() / "weston.log");
  ASSERT_TRUE(eventually("Wayland's socket appears", [&](std::string& seen) {
    seen = weston.output();
    return std::filesystem::exists(run / "screen");
  }));
  VelmoraProcess program(server(), {.display = {{"WAYLAND_DISPLAY", "screen"}}});
  EXPECT_TRUE(program.wait_for_log(kFirstFrame, kPatience));
  EXPECT_EQ(program.count_in_log("Video: wayland, "), 1);
  EXPECT_EQ(program.stop(), kOk);
  EXPECT_TRUE(as_before());
}

}  // namespace
}  // namespace display_test
