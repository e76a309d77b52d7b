// The description of made-up machines, and what of a long report a mail holds.

#include <regex>

#include "approved.h"
#include "child.h"
#include "crash/faultline_private.h"

namespace {

class Machine : public Test {
 protected:
  Machine() {
    faultline::detail::set_app(crash_test::kTester);
    faultline::detail::set_root(root_);
  }
  ~Machine() override { faultline::detail::set_root(""); }

  void file(const std::string& path, const std::string& content) const {
    write_file(root_ + path, content);
    fs::permissions(root_ + path, fs::perms::owner_all);
  }

  // All that is said of it, without what is the test's own machine's.
  static approved::Lines described() {
    approved::Lines lines = faultline::system_lines();
    std::ranges::copy(faultline::gpu_lines(), std::back_inserter(lines));
    const std::string kernel = "Kernel: " + output_of("uname -srvm");
    for (std::string& line : lines)
      line = line + "\n" == kernel
                 ? "Kernel: as uname says"
                 : std::regex_replace(line, std::regex("glibc: [0-9.]+|[0-9]+ threads"), "(...)");
    return lines;
  }

  std::string act(approved::Action& a) {
    const std::string name = a.word();
    const std::string rest = a.rest();
    if (a.is("file")) file(name, approved::unescaped(rest));
    if (a.is("describe")) lines_.clear();
    if (a.is("env")) home_.set(name, rest);
    if (a.is("remove")) fs::remove(root_ + name);
    if (a.is("link")) {
      fs::create_directories(fs::path(root_ + name).parent_path());
      fs::remove(root_ + name);
      fs::create_symlink(rest, root_ + name);
    }
    const approved::Lines before = std::exchange(lines_, described());
    return approved::difference(before, lines_);
  }

  Home home_;
  const std::string root_ = home_.path();
  approved::Lines lines_;
};

TEST_F(Machine, is_described_as_it_was) {
  approved::expect("machines.txt", [this](approved::Action& a) { return act(a); });
}

TEST_F(Machine, whatever_its_files_hold_a_line_is_one_line) {
  std::mt19937 random(5);  // NOLINT(cert-msc51-cpp): the same machines in every run
  for (int round = 0; round < 200; ++round) {
    for (const char* path : {"/etc/os-release", "/proc/cpuinfo", "/proc/meminfo",
                             "/proc/asound/cards", "/sys/class/drm/card0/device/vendor"}) {
      std::string text =
          "PRETTY_NAME=\"Some Linux\"\nVERSION_ID=12\nmodel name\t: x\nMemTotal: \n 1 [a]: b\n"s;
      for (int i = 0; i < 40; ++i)
        text[random() % text.size()] = static_cast<char>(random());
      file(path, text);
    }
    std::vector<std::string> lines = faultline::system_lines();
    for (const std::string& line : faultline::gpu_lines())
      lines.push_back(line);
    EXPECT_THAT(lines, Each(Not(HasSubstr("\n"))));
  }
}

// A package manager that hangs is asked for two seconds, and nobody waits for it at the start.
TEST_F(Machine, is_described_in_the_background_where_a_program_has_to_be_asked) {
  file("/usr/bin/rpm", "#!/bin/sh\nexec sleep 60\n");
  approved::Action link("link /proc/self/exe /opt/tester");
  act(link);
  faultline::App app = crash_test::kTester;
  static std::atomic<bool> logged{false};
  app.log = [](const char* /*level*/, const std::string& line) {
    if (line == "System: Package: unpackaged (/opt/tester)") logged = true;
  };
  faultline::detail::set_app(app);
  const auto before = std::chrono::steady_clock::now();
  faultline::record_system();
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(1500));
  EXPECT_TRUE(wait_until("the description is logged", std::chrono::seconds(20),
                         [] { return logged.load(); }));
}

TEST(MailText, a_long_report_gives_way_first_in_its_log_and_never_cuts_a_character) {
  const std::string head = "head\n\nLog (last lines before the crash):\n";
  const std::string tail = "\nLog file:\n  /x\n=== end of report ===\n";
  std::string log;
  for (int i = 0; i < 50; ++i)
    log += "l\xC3\xA4ne " + std::to_string(i) + "\n";
  const std::string report = head + log + tail;
  const auto body = [&](std::size_t limit) { return faultline::detail::mail_body(report, limit); };
  EXPECT_EQ(body(report.size()), report);
  EXPECT_EQ(body(head.size() + tail.size() + 20), head + "[...]\nl\xC3\xA4ne 49\n" + tail);
  EXPECT_EQ(body(head.size() + tail.size() + 5), head + "[...]" + tail);
  for (std::size_t limit = 0; limit < report.size(); ++limit) {
    const std::string text = body(limit);
    EXPECT_LE(text.size(), limit);
    // What is cut is marked where it is, and no half character is left before the mark.
    EXPECT_EQ(text.find("[...]") != std::string::npos, limit >= 6) << limit;
    EXPECT_THAT(text, Not(HasSubstr("\xC3\n[...]"))) << limit;
  }
}

}  // namespace
