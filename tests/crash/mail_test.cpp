// A report on its way into a mail, with stand-ins for everything that could take it.
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <mutex>

#include "child.h"
#include "crash/faultline_private.h"
#include "test.h"

namespace {

constexpr const char* kSubject = "Tester 1.2.3 (Build 45) crash report";
constexpr const char* kIntro =
    "Attached: crash report and log files. The same follows as text.\n\n";

std::mutex g_log_mtx;
std::vector<std::string> g_log;  // what was logged, and what was opened

void note(const std::string& text) {
  const std::lock_guard lock(g_log_mtx);
  g_log.push_back(text);
}

std::vector<std::string> logged() {
  const std::lock_guard lock(g_log_mtx);
  return g_log;
}

faultline::App tester() {
  faultline::App app = crash_test::kTester;
  app.log = [](const char* level, const std::string& text) { note(level + (" " + text)); };
  app.open_uri = [](const std::string& address) { note("OPEN " + address); };
  return app;
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

// A home with awkward names, and nothing in it that could take a mail until a test puts it there.
class Mail : public Test {
 protected:
  Mail() {
    fs::create_directories(tmp_);
    write_file(conf_ + "/Tester.log", "log of this run\n");
    new_report();
  }

  void new_report() const {
    write_file(conf_ + "/crash_report.txt", report_text_);
    write_file(conf_ + "/crash_log.txt", "log of the crashed run\n");
  }
  // A stand-in that keeps its arguments, each ended by a NUL.
  void recording(const std::string& name, int code) const {
    const fs::path program = home_ / "bin" / name;
    const std::string kept = home_ / "arguments";
    write_file(program, "#!/bin/sh\nprintf '%s\\0' \"$@\" > '" + kept + ".new'\n/bin/mv '" + kept +
                            ".new' '" + kept + "'\nexit " + std::to_string(code) + "\n");
    fs::permissions(program, fs::perms::owner_all);
  }
  [[nodiscard]] std::vector<std::string> arguments() const {
    EXPECT_TRUE(
        wait_until("the stand-in is called", 20s, [&] { return fs::exists(home_ / "arguments"); }));
    std::vector<std::string> result;
    std::istringstream all(read_file(home_ / "arguments"));
    for (std::string argument; std::getline(all, argument, '\0');)
      result.push_back(argument);
    return result;
  }
  void handle_mailto(const std::string& command) const {
    write_file(home_ / "share/applications/mail.desktop",
               "[Desktop Entry]\nType=Application\nName=Mail\nExec=" + command +
                   "\nMimeType=x-scheme-handler/mailto;\n");
    write_file(home_ / "config/mimeapps.list",
               "[Default Applications]\nx-scheme-handler/mailto=mail.desktop\n");
  }
  // A bus that accepts connections and never answers.
  void start_silent_bus() {
    const fs::path socket_path = dir_.path() / "silent";
    bus_ = "unix:path=" + socket_path.string();
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    std::strncpy(address.sun_path, socket_path.c_str(), sizeof address.sun_path - 1);
    silent_.emplace(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(silent_->get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(silent_->get(), 5), 0);
  }
  // A stand-in on a bus of its own, which ends with its standard input.
  void start_portal(int version, int response) {
    const std::string name = dir_.path() / std::to_string(10 * version + response);
    bus_ = "unix:path=" + name;
    mail_ = name + ".json";
    const std::string command = "exec " DOUBLES " " + bus_ + " " + mail_ +
                                " portal version=" + std::to_string(version) +
                                " response=" + std::to_string(response);
    portal_.reset(popen(command.c_str(), "we"));
    ASSERT_TRUE(wait_until("the portal can be called", 20s, [&] { return fs::exists(mail_); }));
  }

  // Sends the report from a process in this home, waits for the end of it, and looks.
  template <class Look>
  void send(Look&& look) const {
    const int status = in_child([&] {
      setenv("HOME", home_.c_str(), 1);
      setenv("XDG_DATA_HOME", (home_ / "share").c_str(), 1);
      setenv("XDG_DATA_DIRS", (home_ / "none").c_str(), 1);
      setenv("XDG_CONFIG_HOME", (home_ / "config").c_str(), 1);
      setenv("XDG_CONFIG_DIRS", (home_ / "none").c_str(), 1);
      setenv("XDG_RUNTIME_DIR", home_.c_str(), 1);
      setenv("TMPDIR", tmp_.c_str(), 1);
      setenv("DBUS_SESSION_BUS_ADDRESS", bus_.c_str(), 1);
      setenv("PATH", (home_ / "bin").c_str(), 1);
      faultline::install(tester());
      faultline::detail::set_portal_limit(limit_ms_);
      faultline::set_report_dir(conf_);
      faultline::send(conf_ + "/Tester.log");
      EXPECT_FALSE(faultline::pending(nullptr)) << "it would be offered a second time";
      EXPECT_TRUE(wait_until("the mail is on its way", 50s, [] {
        return !logged().empty() && logged().back().find("Crash report: ") != std::string::npos;
      }));
      look();
      for (const auto& fd : fs::directory_iterator("/proc/self/fd")) {
        std::error_code closed_meanwhile;
        const std::string file = fs::read_symlink(fd, closed_meanwhile);
        EXPECT_THAT(file, Not(StartsWith(conf_))) << "left open";
      }
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(read_file(conf_ + "/crash_report-sent.txt"), report_text_);
    EXPECT_FALSE(fs::exists(conf_ + "/crash_log.txt"));
  }

  Directory dir_;
  const fs::path home_ = dir_.path() / "a, b 100% \xC3\xA4";
  const std::string conf_ = home_ / "it's";
  const std::string tmp_ = home_ / "tmp";
  std::string report_text_ = "the \"report\"\n'quoted' \xC3\xA4 $(x) %s\n";
  const std::string body_ = kIntro + report_text_ +
                            "\n=== crash_log.txt (log of the crashed run) ===\n"
                            "log of the crashed run\n";
  std::string bus_ = "unix:path=/nonexistent";
  std::string mail_;
  unsigned limit_ms_ = 30000;
  std::optional<files::Descriptor> silent_;
  std::unique_ptr<FILE, int (*)(FILE*)> portal_{nullptr, pclose};
};

TEST_F(Mail, without_any_mail_program_an_address_and_the_folder_are_opened) {
  start_silent_bus();
  limit_ms_ = 300;
  send([&] {
    EXPECT_THAT(
        logged(),
        ElementsAre(
            "WARN Mail portal: no session bus (no answer)", "WARN xdg-email: exit 127",
            "OPEN mailto:help@example.org?subject=Tester%201.2.3%20%28Build%2045%29%20crash%20"
            "report&body=the%20%22report%22%0A%27quoted%27%20%C3%A4%20%24%28x%29%20%25s%0A",
            "OPEN " + faultline::detail::folder_uri(conf_),
            "WARN Crash report: no way to attach files - opened mailto and the "
            "folder"));
  });
}

TEST_F(Mail, the_portal_gets_descriptors_and_is_followed_by_the_script_when_it_refuses) {
  const std::tuple<int, int, std::string> cases[] = {
      {2, 0, "0"}, {3, 0, "0"}, {3, 1, "1"}, {3, -1, "none (30 s)"}};
  recording("xdg-email", 3);
  for (const auto& [version, response, reported] : cases) {
    new_report();
    start_portal(version, response);
    limit_ms_ = response < 0 ? 5000 : 30000;
    const bool sent = response == 0;
    send([&, version = version, reported = reported] {
      EXPECT_THAT(logged().front(),
                  EndsWith(" Mail portal v" + std::to_string(version) + ": response " + reported));
      EXPECT_EQ(logged().at(1), sent ? "INFO Crash report: mail composed with 3 attachments"
                                     : "WARN xdg-email: exit 3");
    });
    if (!sent) {
      EXPECT_THAT(arguments(), ElementsAre("--utf8", "--subject", kSubject, "--body", body_,
                                           "--attach", conf_ + "/crash_report-sent.txt", "--attach",
                                           conf_ + "/crash_log-sent.txt", "--attach",
                                           conf_ + "/Tester.log", "help@example.org"));
    }
    const std::string mail = read_file(mail_);
    EXPECT_THAT(mail, HasSubstr(version == 2 ? "\"address\": \"help@example.org\""
                                             : "\"addresses\": [\"help@example.org\"]"));
    EXPECT_THAT(mail, HasSubstr(std::string("\"subject\": \"") + kSubject + "\""));
    EXPECT_THAT(mail, HasSubstr("$(x) %s\\n\\n=== crash_log.txt (log of the crashed run) ==="));
    // Attachments arrive byte by byte.
    EXPECT_THAT(mail,
                HasSubstr("\"attachment_fds\": [\"the \\\"report\\\"\\n'quoted' \\u00c3\\u00a4 "
                          "$(x) %s\\n\", \"log of the crashed run\\n\", \"log of this run\\n\"]"));
  }
}

TEST_F(Mail, is_put_off_without_a_thread_and_never_carries_what_a_link_leads_to) {
  fs::rename(conf_ + "/Tester.log", conf_ + "/other");
  fs::create_symlink(conf_ + "/other", conf_ + "/Tester.log");
  EXPECT_EQ(in_child([&] {
              faultline::install(tester());
              faultline::set_report_dir(conf_);
              pthread_attr_t huge;
              pthread_attr_init(&huge);
              pthread_attr_setstacksize(&huge, std::size_t{1} << 46U);
              pthread_setattr_default_np(&huge);  // no thread can be had
              faultline::send(conf_ + "/Tester.log");
              EXPECT_THAT(logged(),
                          ElementsAre(StartsWith("WARN Crash report: cannot be sent now (")));
              EXPECT_TRUE(faultline::pending(nullptr)) << "it is offered again";
            }),
            0);
  recording("xdg-email", 0);
  send([&] { EXPECT_EQ(logged().back(), "INFO Crash report: mail composed with 2 attachments"); });
}

TEST_F(Mail, the_mail_program_on_the_command_line_comes_first_with_copies_for_a_sandbox) {
  const std::string copies = home_ / "Downloads/Tester crash report";
  struct Case {
    const char* program;
    const char* command;
    std::vector<std::string> arguments;  // before what is composed
    bool sandboxed;
  };
  const Case cases[] = {
      {"thunderbird", "thunderbird --new -compose %u", {"--new"}, false},
      {"flatpak",
       "flatpak run --command=thunderbird org.example.Mail @@u %u @@",
       {"run", "--command=thunderbird", "org.example.Mail"},
       true},
      {"env", "env HINT=x /snap/bin/thunderbird %u", {"HINT=x", "/snap/bin/thunderbird"}, true}};
  for (const Case& c : cases) {
    fs::remove(home_ / "arguments");
    new_report();
    recording(c.program, 0);
    handle_mailto(c.command);
    send([&] {
      EXPECT_EQ(logged().front(), "INFO Thunderbird -compose: started" +
                                      (c.sandboxed ? " (files copied to " + copies + ")" : ""));
    });
    const std::string body_file = (c.sandboxed ? copies : tmp_) + "/mail-body.txt";
    // What would end a value, or a list's entry, too early is encoded.
    const std::string folder = "file://" + dir_.path().string() + "/a%2C%20b%20100%25%20%C3%A4/" +
                               (c.sandboxed ? "Downloads/Tester%20crash%20report/" : "it%27s/");
    std::vector<std::string> expected = c.arguments;
    expected.emplace_back("-compose");
    expected.push_back("to='help@example.org',subject='" + std::string(kSubject) + "',message='" +
                       body_file + "',attachment='" + folder + "crash_report-sent.txt," + folder +
                       "crash_log-sent.txt," + folder + "Tester.log'");
    EXPECT_EQ(arguments(), expected);
    EXPECT_EQ(read_file(body_file), body_);
    if (c.sandboxed) {
      EXPECT_EQ(read_file(copies + "/crash_report-sent.txt"), report_text_);
    }
  }
  // Nowhere to copy to: another way is found.
  fs::remove_all(home_ / "Downloads");
  write_file(home_ / "Downloads", "a file");
  recording("xdg-email", 0);
  new_report();
  send([&] {
    EXPECT_EQ(logged().front(), "WARN Thunderbird -compose: no place for its files");
    EXPECT_THAT(logged(), Contains("INFO xdg-email: exit 0"));
  });
}

}  // namespace
