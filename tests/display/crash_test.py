# A crash, what it leaves, and what the next start makes of it.
from lab.all import *

SERVERS = ["any"]
SEND, DISCARD, BESIDE_TEXT = (660, 374), (542, 374), (700, 270)
NOTE = np and np.s_[240:400, 300:660]
SURPRISES = ["Crash report from the last run found: ", "Mail portal: no session bus"]
FOUND = SURPRISES[0]
PARTS = ["/Velmora(", "\n--- Graphics ---\n", "renderer software", "\n--- Audio ---\nServer ", "\n--- System ---\nOS: ",
         "First frame after", "/Velmora.log\n=== end of report ===\n"]


# As a fault on the thread of this name would.
def hit(program, thread, number):
    tid = min(int(task) for task in os.listdir(f"/proc/{program.pid}/task")
            if proc(program.pid, f"task/{task}/comm").strip() == thread)
    ctypes.CDLL(None).tgkill(program.pid, tid, number)


def crash(lab, thread="Velmora", number=signal.SIGSEGV):
    program, _ = lab.open("--theme", "light")
    program.wait_for_log("Audio: Source velmora.monitor")
    hit(program, thread, number)
    check(program.wait() == -number, "another signal ended it")
    lab.programs.remove(program)
    lab.as_before()
    return (program.folder / "crash_report.txt").read_text(), program


def test_on_any_thread_gives_the_sound_back_and_leaves_a_report(lab):
    lab.play()
    for thread, number in (("Velmora", signal.SIGSEGV), ("Velq-audio", signal.SIGFPE), ("Velq-control", signal.SIGABRT)):
        report, program = crash(lab, thread, number)
        check(report.startswith("=== Velmora crash report ===\nVersion: 1.0.2"), report[:200])
        missing = [part for part in [f"Signal: {number.name}", *PARTS] if part not in report]
        check(not missing, f"not in the report: {missing}")
        (program.folder / "crash_report.txt").unlink()


def test_the_next_starts_ask_until_the_report_is_discarded(lab):
    _, crashed = crash(lab)
    log = crashed.log_text()
    for view in ("--compact", "--no-takeover"):
        # Only the full view has room for the question, so that is what opens.
        program, window = lab.open(view, expect=SURPRISES)
        check(program.count(FOUND) == 1, "the report is not found")
        check((program.folder / "crash_log.txt").read_text() == log, "the log of the crash is another")
        becomes("the full view", window.size, FULL)
        # Neither a key nor a press beside the buttons answers the question.
        asked = window.still()[NOTE]
        window.key("Escape")
        window.click(*BESIDE_TEXT)
        window.pointer_away()
        becomes("the question stays", lambda: np.array_equal(window.still()[NOTE], asked))
        if view != "--compact":
            window.opens(*DISCARD)
            becomes("the report is gone", lambda: [path.name for path in program.folder.glob("crash_*")], [])
            window.opens(*PRESETS_BUTTON)  # what lay under the note can be reached again
        program.keeps |= {"crash_report.txt", "crash_log.txt"}
        lab.end(program)
    program, _ = lab.open()
    check(program.count(FOUND) == 0, "it is found again")


def test_one_click_opens_a_mail_with_everything_attached(lab):
    report, _ = crash(lab, number=signal.SIGILL)
    tools, got = temp_dir(), temp_dir() / "arguments"
    (tools / "xdg-email").write_text(f"#!/bin/sh\nprintf '%s\\n' \"$@\" > '{got}'\n")
    (tools / "xdg-email").chmod(0o700)
    # The machine's own mail program must not be found either.
    program, window = lab.open(expect=SURPRISES, PATH=f"{tools}:{os.environ['PATH']}",
                               XDG_DATA_DIRS=str(tools))
    window.opens(*SEND)
    program.wait_for_log("Crash report: mail composed with 3 attachments")
    arguments = got.read_text()
    check("--subject\nVelmora 1.0.2 (Build 1057) crash report\n" in arguments and "\n\n" + report in arguments, arguments)
    for name in ("crash_report-sent.txt", "crash_log-sent.txt", "Velmora.log"):
        check(f"--attach\n{program.folder}/{name}" in arguments, f"{name} is not attached")
    check((program.folder / "crash_report-sent.txt").read_text() == report, "another report is kept")
    check(not (program.folder / "crash_report.txt").exists(), "the report stays")
    program.keeps |= {"crash_report-sent.txt", "crash_log-sent.txt"}
