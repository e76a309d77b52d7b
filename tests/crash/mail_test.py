# A report on its way into a mail, with stand-ins for everything that could take it.
from lab.all import *

SERVERS = ("none",)
PROGRAMS = ("dbus-daemon",)
SUBJECT = "Tester 1.2.3 (Build 45) crash report"
REPORT = "the \"report\"\n'quoted' ä $(x) %s\n"
LOGS = ["log of the crashed run\n", "log of this run\n"]
BODY = ("Attached: crash report and log files. The same follows as text.\n\n" + REPORT +
        "\n=== crash_log.txt (log of the crashed run) ===\n" + LOGS[0])


# A home with awkward names, and nothing in it that could take a mail until a test puts it there.
class Home:
    def __init__(self):
        self.root = temp_dir()
        self.path = self.root / "a, b 100% ä"
        self.folder, self.tmp = self.path / "it's", self.path / "tmp"
        for folder in (self.folder, self.tmp, self.path / "bin", self.path / "share/applications", self.path / "config"):
            folder.mkdir(parents=True)
        self.files = [self.folder / name for name in ("crash_report-sent.txt", "crash_log-sent.txt", "Tester.log")]
        self.files[2].write_text(LOGS[1])

    # A stand-in that keeps its arguments, each ended by a NUL.
    def recording(self, name, code=0):
        program, kept = self.path / "bin" / name, self.path / "arguments"
        program.write_text(f"#!/bin/sh\nprintf '%s\\0' \"$@\" > '{kept}.new'\n/bin/mv '{kept}.new' '{kept}'\nexit {code}\n")
        program.chmod(0o700)

    def arguments(self):
        kept = self.path / "arguments"
        words = becomes("the stand-in is called", kept.read_text).split("\0")[:-1]
        kept.unlink()
        return words

    def handle_mailto(self, command):
        (self.path / "share/applications/mail.desktop").write_text(
            f"[Desktop Entry]\nType=Application\nName=Mail\nExec={command}\nMimeType=x-scheme-handler/mailto;\n")
        (self.path / "config/mimeapps.list").write_text("[Default Applications]\nx-scheme-handler/mailto=mail.desktop\n")

    # Sends a new report from here; returns what is logged and opened.
    def send(self, *options, bus="unix:path=/nonexistent", limit_ms=30000):
        (self.folder / "crash_report.txt").write_text(REPORT)
        (self.folder / "crash_log.txt").write_text(LOGS[0])
        run = subprocess.run(
            [tool("mail_probe"), self.folder, str(limit_ms), *options], text=True, capture_output=True, timeout=60,
            env=clean_environment(
                HOME=str(self.path), XDG_DATA_HOME=f"{self.path}/share", XDG_DATA_DIRS="/none", XDG_CONFIG_DIRS="/none",
                XDG_CONFIG_HOME=f"{self.path}/config", XDG_RUNTIME_DIR=str(self.path), TMPDIR=str(self.tmp),
                DBUS_SESSION_BUS_ADDRESS=bus, PATH=f"{self.path}/bin"))
        equal(run.returncode, 0)
        if not options:
            equal((self.files[0].read_text(), (self.folder / "crash_log.txt").exists()), (REPORT, False))
        return run.stdout.splitlines()


def test_without_any_mail_program_an_address_and_the_folder_are_opened(_):
    home = Home()
    with socket.socket(socket.AF_UNIX) as silent:  # accepts connections and never answers
        silent.bind(f"{home.root}/silent")
        silent.listen()
        lines = home.send(bus=f"unix:path={home.root}/silent", limit_ms=300)
    equal(lines, [
        "WARN Mail portal: no session bus (no answer)", "WARN xdg-email: exit 127",
        "OPEN mailto:help@example.org?subject=Tester%201.2.3%20%28Build%2045%29%20crash%20report&body="
        "the%20%22report%22%0A%27quoted%27%20%C3%A4%20%24%28x%29%20%25s%0A",
        f"OPEN file://{home.root}/a,%20b%20100%25%20%C3%A4/it's",
        "WARN Crash report: no way to attach files - opened mailto and the folder"])


def test_the_portal_gets_descriptors_and_is_followed_by_the_script_when_it_refuses(_):
    home = Home()
    home.recording("xdg-email", 3)
    for version, response, reported in ((2, 0, "0"), (3, 0, "0"), (3, 1, "1"), (3, -1, "none (30 s)")):
        portal = Double("portal", version=version, response=response)
        lines = home.send(bus=portal.address, limit_ms=5000 if response < 0 else 30000)
        check(lines[0].endswith(f" Mail portal v{version}: response {reported}"), lines)
        if response == 0:
            equal(lines[1:], ["INFO Crash report: mail composed with 3 attachments"])
        else:
            equal(lines[1], "WARN xdg-email: exit 3")
            equal(home.arguments(), ["--utf8", "--subject", SUBJECT, "--body", BODY,
                                     *(word for file in home.files for word in ("--attach", str(file))), "help@example.org"])
        (mail,), = portal.calls()
        mail.pop("handle_token")
        to = {"address": "help@example.org"} if version == 2 else {"addresses": ["help@example.org"]}
        # Attachments arrive byte by byte.
        equal(mail, {"subject": SUBJECT, "body": BODY, "attachment_fds": [REPORT, *LOGS]} | to)


def test_is_put_off_without_a_thread_and_never_carries_what_a_link_leads_to(_):
    home = Home()
    line, offered = home.send("no-thread")
    check(line.startswith("WARN Crash report: cannot be sent now ("), line)
    equal(offered, "still offered")
    home.files[2].rename(home.folder / "other")
    home.files[2].symlink_to(home.folder / "other")
    home.recording("xdg-email")
    equal(home.send()[-1], "INFO Crash report: mail composed with 2 attachments")


def test_the_mail_program_on_the_command_line_comes_first_with_copies_for_a_sandbox(_):
    home = Home()
    copies = home.path / "Downloads/Tester crash report"
    for program, command, words, sandboxed in (
            ("thunderbird", "thunderbird --new -compose %u", ["--new"], False),
            ("flatpak", "flatpak run --command=thunderbird org.example.Mail @@u %u @@",
             ["run", "--command=thunderbird", "org.example.Mail"], True),
            ("env", "env HINT=x /snap/bin/thunderbird %u", ["HINT=x", "/snap/bin/thunderbird"], True)):
        home.recording(program)
        home.handle_mailto(command)
        equal(home.send()[0], "INFO Thunderbird -compose: started" + f" (files copied to {copies})" * sandboxed)
        body = (copies if sandboxed else home.tmp) / "mail-body.txt"
        # What would end a value, or a list's entry, too early is encoded.
        folder = f"file://{home.root}/a%2C%20b%20100%25%20%C3%A4/" + ("Downloads/Tester%20crash%20report" if sandboxed else "it%27s")
        attached = ",".join(f"{folder}/{file.name}" for file in home.files)
        equal(home.arguments(), [*words, "-compose",
                                 f"to='help@example.org',subject='{SUBJECT}',message='{body}',attachment='{attached}'"])
        equal(body.read_text(), BODY)
        if sandboxed:
            equal((copies / home.files[0].name).read_text(), REPORT)
    # Nowhere to copy to: another way is found.
    shutil.rmtree(home.path / "Downloads")
    (home.path / "Downloads").write_text("a file")
    home.recording("xdg-email")
    lines = home.send()
    equal((lines[0], "INFO xdg-email: exit 0" in lines), ("WARN Thunderbird -compose: no place for its files", True))
