// The description of made-up machines, and what of a long report a mail holds.

#include "child.h"
#include "crash/faultline_private.h"
#include "test.h"

namespace {

class Machine : public Test {
 protected:
  Machine() {
    faultline::detail::set_app(crash_test::kTester);
    faultline::detail::set_root(root_);
    for (const char* const name :
         {"XDG_CURRENT_DESKTOP", "DISPLAY", "WAYLAND_DISPLAY", "XDG_SESSION_TYPE"})
      home_.set(name, "");
    home_.set("LANG", "de_DE.UTF-8");
  }
  ~Machine() override { faultline::detail::set_root(""); }

  void file(const std::string& path, const std::string& content) const {
    write_file(root_ + path, content);
  }
  void link(const std::string& path, const std::string& target) const {
    fs::create_directories(fs::path(root_ + path).parent_path());
    fs::create_symlink(target, root_ + path);
  }
  static std::string os() { return faultline::system_lines().front(); }

  Home home_;
  const std::string root_ = home_.path();
};

constexpr const char* kRelease =
    "NAME=\"Some\"\nPRETTY_NAME=\"Some Linux \\\"12\\\"\"\nVERSION_ID=12\nID_LIKE='a b'\n";

TEST_F(Machine, a_full_machine_is_described_line_by_line) {
  EXPECT_THAT(faultline::gpu_lines(), ElementsAre("GPUs: /sys/class/drm not readable"));
  EXPECT_EQ(os(), "OS: unknown");
  file("/usr/lib/os-release", kRelease);
  file("/proc/cpuinfo", "processor\t: 0\nmodel name\t: Fast  CPU \nmodel name\t: Other\n");
  file("/proc/meminfo", "MemTotal:  2049 kB\nMemFree: 7 kB\nMemAvailable:    1023 kB\n");
  file("/proc/asound/cards", "11 [U]: USB-Audio - [odd]: name\n                      somewhere\n");
  home_.set("XDG_CURRENT_DESKTOP", "Desk");
  const std::vector<std::string> lines = faultline::system_lines();
  for (const char* line :
       {"OS: Some Linux \"12\" (12, like a b)", "CPU: Fast  CPU, ", "RAM: 2 MB, available 0 MB",
        "Session: desktop Desk, type unknown, lang", "ALSA card 11 [U]: USB-Audio - [odd]: name"})
    EXPECT_THAT(lines, Contains(StartsWith(line)));
  // Graphics adapters are listed without their connectors.
  file("/sys/class/drm/card1/device/vendor", "0x1\n");
  file("/sys/class/drm/card1/device/boot_vga", "1\n");
  link("/sys/class/drm/card1/device/driver", "../../bus/pci/drivers/swift");
  file("/sys/class/drm/card1-HDMI-A-1/status", "connected\n");
  EXPECT_THAT(faultline::gpu_lines(),
              ElementsAre("GPU card1: PCI 0x1:unknown (subsystem unknown:unknown), driver swift, "
                          "boot_vga"));
}

TEST_F(Machine, whatever_its_files_hold_a_line_is_one_line) {
  std::mt19937 random(5);  // NOLINT(cert-msc51-cpp): the same machines in every run
  for (int round = 0; round < 200; ++round) {
    for (const char* path : {"/etc/os-release", "/proc/cpuinfo", "/proc/meminfo",
                             "/proc/asound/cards", "/sys/class/drm/card0/device/vendor"}) {
      std::string text = kRelease + "model name\t: x\nMemTotal: \n 1 [a]: b\n"s;
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

TEST_F(Machine, the_package_is_found_whoever_installed_it) {
  const std::string odd = "/opt/it's \"$(touch broken)\"/tester";
  link("/proc/self/exe", odd);
  EXPECT_EQ(faultline::package_line(), "unpackaged (" + odd + ")");

  file("/var/lib/pacman/local/other-1.0/files", "%FILES%\nusr/bin/tester\n");
  file("/var/lib/pacman/local/tester-1.2-3/files", "%FILES%\n" + odd.substr(1) + "\n");
  EXPECT_EQ(faultline::package_line(), "arch tester-1.2-3");

  // The stand-in answers with what it was asked, argument by argument.
  file("/usr/bin/rpm", "#!/bin/sh\nprintf '[%s]' \"$@\"\necho noise >&2\n");
  fs::permissions(root_ + "/usr/bin/rpm", fs::perms::owner_all);
  EXPECT_EQ(faultline::package_line(),
            "rpm [-qf][--qf][%{NAME} %{VERSION}-%{RELEASE}][" + odd + "]");
  // One that hangs is asked for two seconds, and nobody waits for it at the start.
  file("/usr/bin/rpm", "#!/bin/sh\nexec sleep 60\n");
  faultline::App app = crash_test::kTester;
  static std::atomic<bool> logged{false};
  app.log = [](const char* /*level*/, const std::string& line) {
    if (line == "System: Package: arch tester-1.2-3") logged = true;
  };
  faultline::detail::set_app(app);
  const auto before = std::chrono::steady_clock::now();
  faultline::record_system();
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(1500));
  EXPECT_TRUE(wait_until("the description is logged", std::chrono::seconds(20),
                         [] { return logged.load(); }));
  fs::remove(root_ + "/usr/bin/rpm");

  file("/var/lib/dpkg/status",
       "Package: atester\nVersion: 9\n\nPackage: tester\nStatus: ok\nVersion: 1.2-3\n\n");
  file("/var/lib/dpkg/info/tester.list", "/.\n/opt\n" + odd + "/more\n");
  EXPECT_EQ(faultline::package_line(), "arch tester-1.2-3") << "only the path itself counts";
  file("/var/lib/dpkg/info/tester:amd64.list", "/.\n/opt\n" + odd + "\n");
  EXPECT_EQ(faultline::package_line(), "deb tester 1.2-3");
}

TEST_F(Machine, sandboxes_report_their_package_and_their_host) {
  home_.set("SNAP", "/snap/tester/7");
  home_.set("SNAP_INSTANCE_NAME", "tester_2");
  home_.set("SNAP_VERSION", "1.2");
  home_.set("SNAP_REVISION", "7");
  file("/etc/os-release", "PRETTY_NAME=Core\n");
  EXPECT_EQ(faultline::package_line(), "snap tester_2 1.2 rev 7");
  EXPECT_EQ(os(), "OS: host not readable from the sandbox; sandbox: Core");
  file("/var/lib/snapd/hostfs/usr/lib/os-release", kRelease);
  EXPECT_EQ(os(), "OS: Some Linux \"12\" (12, like a b)");
  home_.set("SNAP", "");
  home_.set("FLATPAK_ID", "org.example.Tester");
  file("/.flatpak-info", "[Instance]\nbranch=stable\napp-commit=abc\n");
  EXPECT_EQ(faultline::package_line(), "flatpak org.example.Tester branch stable commit abc");
  EXPECT_EQ(os(), "OS: host not readable from the sandbox; sandbox: Core");
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
