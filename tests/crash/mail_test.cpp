// A report on its way into a mail, with stand-ins for everything that could take it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <optional>

#include "child.h"
#include "faultline_private.h"
#include "process.h"
#include "temp_dir.h"
#include "wait_until.h"

namespace {

using namespace std::chrono_literals;
using crash_test::in_child;
using support::read_file;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* kSubject = "Tester 1.2.3 (Build 45) crash report";
constexpr const char* kIntro =
    "Attached: crash report and log files. The same follows as text.\n\n";

std::mutex g_said_mtx;
std::vector<std::string> g_said;  // what was logged, and what was opened

void say(const std::string& text) {
  const std::lock_guard lock(g_said_mtx);
  g_said.push_back(text);
}

std::vector<std::string> said() {
  const std::lock_guard lock(g_said_mtx);
  return g_said;
}

const faultline::App kApp{
    .name = "Tester",
    .version = "1.2.3",
    .build = "45",
    .mail_to = "help@example.org",
    .package_name = "tester",
    .log = [](const char* level, const std::string& text) { say(level + (" " + text)); },
    .open_uri = [](const std::string& address) { say("OPEN " + address); }};

TEST(MailText, addresses_hold_any_text) {
  EXPECT_EQ(faultline::detail::url_encode("Az09-._~ \n%&\xC3\xA4"), "Az09-._~%20%0A%25%26%C3%A4");
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
    if (limit < 6) continue;
    const std::size_t mark = text.find("[...]");
    ASSERT_NE(mark, std::string::npos) << limit;
    EXPECT_TRUE(mark < 2 || text[mark - 2] != '\xC3') << limit;
  }
  std::string plain(7000, 'p');
  EXPECT_EQ(faultline::detail::mail_body(plain, 6000), std::string(5994, 'p') + "\n[...]");
}

// A home with awkward names, and nothing in it that could take a mail until a test puts it there.
class Mail : public testing::Test {
 protected:
  Mail() {
    for (const char* const name : {"bin", "share/applications", "config", "tmp"})
      std::filesystem::create_directories(home_ / name);
    std::filesystem::create_directories(conf_);
    write(conf_ + "/Tester.log", "log of this run\n");
    new_report();
  }

  void new_report() const {
    write(conf_ + "/crash_report.txt", report_text_);
    write(conf_ + "/crash_log.txt", "log of the crashed run\n");
  }
  static void write(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
  }
  void program(const std::string& name, const std::string& script) const {
    const std::string path = home_ / "bin" / name;
    write(path, "#!/bin/sh\n" + script);
    chmod(path.c_str(), 0755);
  }
  // A stand-in that keeps its arguments, each ended by a NUL.
  void recording(const std::string& name, int code) const {
    program(name, "printf '%s\\0' \"$@\" > '" + (home_ / "arguments.new").string() + "'\nmv '" +
                      (home_ / "arguments.new").string() + "' '" + (home_ / "arguments").string() +
                      "'\nexit " + std::to_string(code) + "\n");
  }
  [[nodiscard]] std::vector<std::string> arguments() const {
    EXPECT_TRUE(support::wait_until("the stand-in is called", 20s,
                                    [&] { return std::filesystem::exists(home_ / "arguments"); }));
    std::vector<std::string> result;
    std::istringstream all(read_file(home_ / "arguments"));
    for (std::string argument; std::getline(all, argument, '\0');)
      result.push_back(argument);
    return result;
  }
  void handle_mailto(const std::string& id, const std::string& command) const {
    write(home_ / "share/applications" / id, "[Desktop Entry]\nType=Application\nName=Mail\nExec=" +
                                                 command + "\nMimeType=x-scheme-handler/mailto;\n");
    write(home_ / "config/mimeapps.list",
          "[Default Applications]\nx-scheme-handler/mailto=" + id + "\n");
  }
  // A bus of its own with the double on it. The one before goes first.
  void start_portal(const std::string& version, const std::string& response) {
    portal_.reset();
    bus_daemon_.reset();
    const std::filesystem::path socket = dir_.path() / "bus";
    std::filesystem::remove(socket);
    std::filesystem::remove(home_ / "portal.out");
    bus_ = "unix:path=" + socket.string();
    bus_daemon_.emplace(
        std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--address=" + bus_},
        support::Environment{}, home_ / "bus.out");
    ASSERT_TRUE(support::wait_until("the bus listens", 20s,
                                    [&] { return std::filesystem::exists(socket); }));
    portal_.emplace(std::vector<std::string>{"/usr/bin/python3", VELMORA_PORTAL_DOUBLE, version,
                                             response, home_ / "mail.json"},
                    support::Environment{{"DBUS_SESSION_BUS_ADDRESS", bus_}}, home_ / "portal.out");
    ASSERT_TRUE(support::wait_until("the portal can be called", 20s, [&](std::string& seen) {
      seen = portal_->output();
      return seen.find(bus_) != std::string::npos;
    }));
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
      setenv("PATH", ((home_ / "bin").string() + ":/usr/bin:/bin").c_str(), 1);
      faultline::install(kApp);
      faultline::set_report_dir(conf_);
      faultline::send(conf_ + "/Tester.log");
      EXPECT_FALSE(faultline::pending(nullptr)) << "it would be offered a second time";
      EXPECT_TRUE(support::wait_until("the mail is on its way", 50s, [] {
        return !said().empty() && said().back().find("Crash report: ") != std::string::npos;
      }));
      look();
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(read_file(conf_ + "/crash_report-sent.txt"), report_text_);
    EXPECT_FALSE(std::filesystem::exists(conf_ + "/crash_log.txt"));
  }

  support::TempDir dir_;
  const std::filesystem::path home_ = dir_.path() / "a, b 100% \xC3\xA4";
  const std::string conf_ = home_ / "it's";
  const std::string tmp_ = home_ / "tmp";
  std::string report_text_ = "the \"report\"\n'quoted' \xC3\xA4 $(x) %s\n";
  const std::string body_ = kIntro + report_text_ +
                            "\n=== crash_log.txt (log of the crashed run) ===\n"
                            "log of the crashed run\n";
  std::string bus_ = "unix:path=/nonexistent";
  std::optional<support::Process> bus_daemon_;
  std::optional<support::Process> portal_;
};

TEST_F(Mail, without_any_mail_program_an_address_and_the_folder_are_opened) {
  send([&] {
    EXPECT_THAT(
        said(),
        testing::ElementsAre(
            StartsWith("WARN Mail portal: no session bus ("), "WARN xdg-email: exit 127",
            "OPEN mailto:help@example.org?subject=" + faultline::detail::url_encode(kSubject) +
                "&body=" + faultline::detail::url_encode(report_text_),
            "OPEN " + faultline::detail::folder_uri(conf_),
            "WARN Crash report: no way to attach files - opened mailto and the "
            "folder"));
  });
}

TEST_F(Mail, the_script_gets_every_byte_as_an_argument_of_its_own) {
  recording("xdg-email", 0);
  send([&] {
    EXPECT_THAT(said(), Contains("INFO xdg-email: exit 0"));
    EXPECT_EQ(said().back(), "INFO Crash report: mail composed with 3 attachments");
    EXPECT_THAT(arguments(),
                testing::ElementsAre("--utf8", "--subject", kSubject, "--body", body_, "--attach",
                                     conf_ + "/crash_report-sent.txt", "--attach",
                                     conf_ + "/crash_log-sent.txt", "--attach",
                                     conf_ + "/Tester.log", "help@example.org"));
  });
}

TEST_F(Mail, the_portal_gets_descriptors_and_the_address_as_its_version_wants_it) {
  for (const char* const version : {"2", "3"}) {
    new_report();
    start_portal(version, "0");
    send([&] {
      EXPECT_THAT(said(), Contains("INFO Mail portal v" + std::string(version) + ": response 0"));
      EXPECT_EQ(said().back(), "INFO Crash report: mail composed with 3 attachments");
    });
    const std::string mail = read_file(home_ / "mail.json");
    EXPECT_THAT(mail, HasSubstr("\"parent\": \"\""));
    EXPECT_THAT(mail, HasSubstr(std::string("\"subject\": \"") + kSubject + "\""));
    EXPECT_THAT(mail, HasSubstr("$(x) %s\\n\\n=== crash_log.txt (log of the crashed run) ==="));
    // Attachments arrive byte by byte.
    EXPECT_THAT(mail,
                HasSubstr("\"attachment_fds\": [\"the \\\"report\\\"\\n'quoted' \\u00c3\\u00a4 "
                          "$(x) %s\\n\", \"log of the crashed run\\n\", \"log of this run\\n\"]"));
    EXPECT_THAT(mail, HasSubstr(*version == '3' ? "\"addresses\": [\"help@example.org\"]"
                                                : "\"address\": \"help@example.org\""));
  }
}

TEST_F(Mail, a_portal_that_refuses_or_never_answers_is_followed_by_the_script) {
  recording("xdg-email", 3);
  const std::pair<const char*, const char*> cases[] = {{"1", "1"}, {"never", "none (30 s)"}};
  for (const auto& [response, told] : cases) {
    new_report();
    start_portal("3", response);
    send([told = told] {
      EXPECT_THAT(said(), Contains(std::string("WARN Mail portal v3: response ") + told));
      EXPECT_THAT(said(), Contains("WARN xdg-email: exit 3"));
      EXPECT_THAT(said(), Contains(StartsWith("OPEN mailto:")));
    });
  }
}

// The attachments' names hold what would end a value, or a list's entry, too early.
std::string compose_argument(const std::string& body_file, const std::string& folder) {
  std::string list;
  for (const char* const name : {"crash_report-sent.txt", "crash_log-sent.txt", "Tester.log"}) {
    std::string uri = faultline::detail::folder_uri(folder + "/" + name);
    for (std::size_t at = 0; (at = uri.find_first_of("',")) != std::string::npos;)
      uri.replace(at, 1, uri[at] == ',' ? "%2C" : "%27");
    list += (list.empty() ? "" : ",") + uri;
  }
  return std::string("to='help@example.org',subject='") + kSubject + "',message='" + body_file +
         "',attachment='" + list + "'";
}

TEST_F(Mail, the_mail_program_on_the_command_line_comes_first) {
  recording("thunderbird", 0);
  handle_mailto("thunderbird.desktop", "thunderbird --new -compose %u");
  send([] { EXPECT_EQ(said().front(), "INFO Thunderbird -compose: started"); });
  EXPECT_THAT(arguments(), testing::ElementsAre("--new", "-compose",
                                                compose_argument(tmp_ + "/mail-body.txt", conf_)));
  EXPECT_EQ(read_file(tmp_ + "/mail-body.txt"), body_);
}

TEST_F(Mail, a_sandboxed_mail_program_gets_copies_that_it_can_read) {
  const std::string folder = home_ / "Downloads/Tester crash report";
  const std::string compose = compose_argument(folder + "/mail-body.txt", folder);
  const std::tuple<const char*, const char*, std::vector<std::string>> cases[] = {
      {"flatpak",
       "flatpak run --command=thunderbird org.example.Mail @@u %u @@",
       {"run", "--command=thunderbird", "org.example.Mail", "-compose", compose}},
      {"env",
       "env HINT=x /snap/bin/thunderbird %u",
       {"HINT=x", "/snap/bin/thunderbird", "-compose", compose}}};
  for (const auto& [name, command, expected] : cases) {
    std::filesystem::remove(home_ / "arguments");
    new_report();
    recording(name, 0);
    handle_mailto("mail.desktop", command);
    send([&] {
      EXPECT_EQ(said().front(),
                "INFO Thunderbird -compose: started (files copied to " + folder + ")");
    });
    EXPECT_EQ(arguments(), expected);
    EXPECT_EQ(read_file(folder + "/crash_report-sent.txt"), report_text_);
  }
  // Nowhere to copy to: another way is found.
  std::filesystem::remove_all(home_ / "Downloads");
  write(home_ / "Downloads", "a file");
  recording("xdg-email", 0);
  new_report();
  send([&] {
    EXPECT_EQ(said().front(), "WARN Thunderbird -compose: no place for its files");
    EXPECT_THAT(said(), Contains("INFO xdg-email: exit 0"));
  });
}

}  // namespace
