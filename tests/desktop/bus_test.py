#!/usr/bin/env python3
# The program as the desktop finds it: by its name on a private session bus, by its lock and a signal where
# there is no bus, and not at all by strangers. Every case starts the built program, without a sound server.
#
#   VELMORA=build-dev/Velmora tests/desktop/bus_test.py [CASE ...]
import os
import re
import socket
import subprocess
import sys
import threading
import time
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).parent.parent))
from lab.probe import write_settings  # noqa: E402
from lab.session import Process, Skipped, becomes, check, clean_environment, require_programs, temp_dir  # noqa: E402
from lab.velmora import Velmora  # noqa: E402

NAME, PATH, ACTIONS = "org.velmora.Velmora", "/org/velmora/Velmora", "org.gtk.Actions"
WATCHER = Path(__file__).parent / "watcher.py"
RUNS_ALREADY = "Velmora laeuft bereits — Fenster nach vorn geholt.\n"


# A session without sound, in a directory of its own; with a bus, or with the address of one.
class Session:
    def __init__(self, address="", bus=False):
        self.directory = temp_dir()
        (self.directory / "config").mkdir()
        self.daemon = None
        if bus:
            self.daemon = Process(["dbus-daemon", "--session", f"--address=unix:path={self.directory}/bus", "--nofork"],
                                  self.environment(), self.directory / "bus.log")
            becomes("the bus listens", (self.directory / "bus").exists)
        self.address = address or f"unix:path={self.directory}/bus"

    def environment(self):
        bus = {"DBUS_SESSION_BUS_ADDRESS": self.address} if hasattr(self, "address") else {}
        return clean_environment(HOME=str(self.directory), XDG_RUNTIME_DIR=str(self.directory),
                                 PULSE_SERVER="unix:/nonexistent/velmora", **bus)

    def start(self, *switches, **options):
        return Velmora(self, *switches, home=self.directory / "config", **options)

    # A second start: what it prints, and how long it takes.
    def second(self, *switches, wrapped=()):
        began = time.monotonic()
        program = Process([*wrapped, os.environ["VELMORA"], *switches],
                          {**self.environment(), "XDG_CONFIG_HOME": str(self.directory / "config"),
                           "SDL_VIDEODRIVER": "dummy"}, temp_dir() / "console")
        check(program.wait() == 0, "the second start ends with 0")
        check(program.output() == RUNS_ALREADY, f"it prints {program.output()!r}")
        return time.monotonic() - began

    # What gdbus prints for a call, or the error.
    def call(self, method, *arguments, path=PATH, name=NAME):
        done = subprocess.run(["gdbus", "call", "--session", f"--dest={name}", f"--object-path={path}",
                               f"--method={method}", *arguments], env=self.environment(), text=True,
                              capture_output=True, timeout=10)
        return done.stdout.strip() or done.stderr.strip()

    def action(self, *words):
        done = subprocess.run(["gapplication", "action", NAME, *words], env=self.environment(), text=True,
                              capture_output=True, timeout=10)
        return done.stderr.strip()

    # The states, as a text such as "on=true preset=rock".
    def states(self):
        return " ".join(f"{name}=" + "".join(re.findall("<'?(.*?)'?>", self.call(f"{ACTIONS}.Describe", name)))
                        for name in ("on", "preset"))


def refused(answer):
    return "InvalidArgs" in answer or "NotSupported" in answer


def test_shortcuts_reach_the_copy_that_runs_and_nonsense_is_refused():
    session = Session(bus=True)
    write_settings(session.directory / "config", user_presets=2, up0_name="rock", up1_name="My_own",
                   **{f"up{i}": ",".join(11 * ["1"]) for i in (0, 1)})
    program = session.start("--preset", "flat", expect=["No sound server"])
    becomes("it is found by its name", session.states, "on=true preset=flat")
    for words, states in ((["toggle"], "on=false preset=flat"), (["on"], "on=true preset=flat"),
                          (["on"], "on=true preset=flat"), (["off"], "on=false preset=flat"),
                          (["preset", "'rock'"], "on=false preset=rock"),
                          (["preset", "'Bass boost'"], "on=false preset=bass"),
                          (["preset", "'b:preset_jazz'"], "on=false preset=jazz"),
                          (["preset", "'My_own'"], "on=false preset=My_own"),
                          (["preset", "'u:rock'"], "on=false preset=u:rock")):
        answer = session.action(*words)
        check(answer == "", f"{words}: {answer}")
        becomes(f"{words} is done", session.states, states)
    for words in (["nothing"], ["toggle", "1"], ["preset"], ["preset", "3"], ["preset", "'nothing'"]):
        check(refused(session.action(*words)), f"{words} is refused")
    listener = Process(["gdbus", "monitor", "--session", f"--dest={NAME}"], session.environment(),
                       session.directory / "signals")
    becomes("it listens", lambda: "is owned by" in listener.output())
    for call, changed in ((["SetState", "on", "<true>", "{}"], "{'on': <true>}"),
                          (["SetState", "preset", "<'pop'>", "{}"], "{'preset': <'pop'>}"),
                          (["Activate", "preset", "[<'vocal'>]", "{}"], "{'preset': <'vocal'>}")):
        check(session.call(f"{ACTIONS}.{call[0]}", *call[1:]) == "()", f"{call} is taken")
        becomes(f"listeners hear of {call}", lambda: f"Changed (@as [], @a{{sb}} {{}}, {changed}" in listener.output())
    for call in (["Describe", "nothing"], ["Activate", "nothing", "[]", "{}"], ["Activate", "on", "[<1>]", "{}"],
                 ["Activate", "preset", "[<'pop'>, <'pop'>]", "{}"], ["SetState", "on", "<1>", "{}"],
                 ["SetState", "off", "<true>", "{}"], ["SetState", "nothing", "<true>", "{}"]):
        check(refused(session.call(f"{ACTIONS}.{call[0]}", *call[1:])), f"{call} is refused")
    check(refused(session.call(f"{ACTIONS}.Activate", "preset-text", "[]", "{}")), "texts can only be read")
    texts = session.call(f"{ACTIONS}.Describe", "preset-text")
    check("'rock': 'Preamp: -3.0 dB\\nFilter 1: ON PK Fc 31 Hz Gain 5.0 dB Q 1.41\\n" in texts, f"presets: {texts}")
    for uris in ("[]", "['https://example.org/a.txt']", "['file:///a', 'file:///b']"):
        check(refused(session.call("org.freedesktop.Application.Open", uris, "{}")), f"Open {uris} is refused")
    file = session.directory / "My headphone.txt"
    file.write_text("Filter: ON PK Fc 1000 Hz Gain 6 dB Q 1.41\n")
    uri = f"file://{session.directory}/My%20headphone.txt"
    check(session.call("org.freedesktop.Application.Open", f"['{uri}']", "{}") == "()", "Open")
    becomes("the file is opened", lambda: program.count(f"Imported: {file}: its bands are ours"), 1)
    session.second("--compact", os.path.relpath(file))
    becomes("it is handed over by a second start", lambda: program.count("Imported: "), 2)
    check("'quit'" in session.call(f"{ACTIONS}.List"), "there is a list")
    listener.kill()
    # More calls than a program that stands still can carry out are refused, and it lives on.
    check(session.action("quit") == "", "it is asked to end")
    check(program.wait() == 0, "it ends in order")
    program.check_remains(regular=True)
    session.daemon.kill()


def test_a_second_start_is_answered_over_the_bus_by_the_copy_with_its_settings():
    session = Session(bus=True)
    other = Session(address=session.address)
    program = session.start(expect=["No sound server", "Moving without a frame"])
    becomes("it is found by its name", session.states, "on=true preset=standard")
    frame = "Moving without a frame not available"  # what a screen without window managers says of the strip
    session.second()
    check(program.count(frame) == 0, "it stays in its view")
    session.second("--compact")
    becomes("it is in the compact view", lambda: program.count(frame), 1)
    # A copy with settings of its own starts beside it, waits for the name, and is not the one that is called.
    beside = other.start(expect=["No sound server"])
    beside.wait_for_log("First frame after")
    session.action("full")
    other.second("--compact")
    check(program.stop(5) == 0, "it ends in order")
    becomes("the other one has the name", lambda: beside.count("Found on the session bus"), 1)
    # It is the session's end that takes the bus away.
    session.daemon.kill()
    check(beside.stop(5) == 0, "it ends in order without its bus")
    for copy in (program, beside):
        copy.check_remains(regular=True)


def test_the_tray_finds_it_drives_it_and_never_keeps_its_window():
    session = Session(bus=True)
    program = session.start("--preset", "flat", expect=["No sound server"])
    becomes("it is found by its name", session.states, "on=true preset=flat")
    item, menu = "org.kde.StatusNotifierItem", "com.canonical.dbusmenu"
    check("GDBus.Error" in session.call("org.freedesktop.DBus.Properties.GetAll", item, path="/StatusNotifierItem"),
          "without a tray there is no icon")
    watcher = Process([WATCHER], session.environment(), session.directory / "watcher")
    becomes("the late tray hears of it", watcher.output)

    def call(method, *arguments, path="/StatusNotifierItem"):
        return session.call(method, *arguments, path=path)

    def properties():
        return call("org.freedesktop.DBus.Properties.GetAll", item)
    listener = Process(["gdbus", "monitor", "--session", f"--dest={NAME}"], session.environment(),
                       session.directory / "signals")
    becomes("it listens", lambda: "is owned by" in listener.output())
    bright = properties()
    check(all(f"'{name}'" in bright for name in ("IconName", "IconPixmap", "ToolTip", "Menu", "AttentionMovieName",
                                                 "OverlayIconPixmap")), f"every property is there: {bright[:300]}")
    call(f"{item}.Scroll", "120", "Vertical")
    call(f"{item}.SecondaryActivate", "0", "0")
    becomes("the middle button has switched it off", session.states, "on=false preset=flat")
    becomes("the tray hears of that", lambda: all(
        part in listener.output() for part in (".NewIcon ()", "{'toggle-state': <0>}")))
    check(properties() != bright, "the icon is dimmed")

    layout = call(f"{menu}.GetLayout", "0", "int32 -1", "[]", path="/Menu")
    entries = {label: number for number, label in re.findall(r"<\((\d+), {[^}]*'label': <'([^']*)'>", layout)}
    check(list(entries)[:4] == ["On", "Preset", "Standard", "Flat"] and list(entries)[-2:] == ["Hide Velmora", "Quit Velmora"],
          f"the menu has {list(entries)}: {layout}")

    def click(label):
        return call(f"{menu}.EventGroup", f"[({entries[label]}, 'closed', <0>, 0), ({entries[label]}, 'clicked', <0>, 0),"
                    " (999, 'clicked', <0>, 0)]", path="/Menu")
    check(click("Rock") == "([999],)", "only the unknown entry is refused")
    becomes("the menu has chosen", session.states, "on=false preset=rock")
    for number, back in enumerate((lambda: call(f"{item}.Activate", "0", "0"), session.second, watcher.kill), 1):
        click("Hide Velmora")
        becomes("the window is hidden", lambda: program.count("Window not visible"), number)
        back()
        becomes("the window is back", lambda: program.count("Window visible again"), number)
    session.action("quit")
    check(program.wait() == 0, "it ends in order")
    program.check_remains(regular=True)
    listener.kill()
    session.daemon.kill()


# A server that accepts and never answers; with authentication, one that does not know what comes after it.
def hanging_bus(authenticates):
    listener = socket.socket(socket.AF_UNIX)
    path = temp_dir() / "bus"
    listener.bind(str(path))
    listener.listen()
    kept = []

    def serve():
        while True:
            connection = listener.accept()[0]
            kept.append(connection)
            if authenticates:
                threading.Thread(target=authenticate, args=[connection], daemon=True).start()

    def authenticate(connection):
        while text := connection.recv(4096):
            for line in text.split(b"\r\n"):
                if line.startswith((b"AUTH", b"\0AUTH")):
                    connection.sendall(b"OK 0123456789abcdef0123456789abcdef\r\n")
                elif line.startswith(b"NEGOTIATE"):
                    connection.sendall(b"ERROR\r\n")
    threading.Thread(target=serve, daemon=True).start()
    return f"unix:path={path}"


def test_a_bus_that_hangs_or_is_not_there_holds_nobody():
    for what, address, patience in (("silent", hanging_bus(False), 2.5), ("half dead", hanging_bus(True), 2.5),
                                    ("missing", "unix:path=/nonexistent", 1), ("broken", "nonsense", 1),
                                    ("not to be started", "autolaunch:", 1)):
        session = Session(address=address)
        program = session.start(expect=["No sound server"])
        program.wait_for_log("First frame after", limit=5)
        took = session.second()
        check(took < patience, f"{what}: a second start takes {took} s")
        check(program.running(), f"{what}: the first one runs")
        began = time.monotonic()
        check(program.stop(5) == 0 and time.monotonic() - began < 2, f"{what}: it ends in time")
        program.check_remains(regular=True)


# In another pid namespace the number in the lock is that of somebody else: there it must hit nobody.
def test_a_process_of_the_same_number_elsewhere_is_left_alone():
    namespace = ["unshare", "--user", "--map-root-user", "--pid", "--fork", "--mount-proc", "--kill-child"]
    if subprocess.run([*namespace, "true"], stderr=subprocess.DEVNULL).returncode != 0:
        raise Skipped("pid namespaces are not allowed here")
    session = Session(address="unix:path=/nonexistent")
    lock = session.directory / "config/Velmora/Velmora.lock"
    environment = {**session.environment(), "XDG_CONFIG_HOME": str(session.directory / "config"),
                   "SDL_VIDEODRIVER": "dummy"}
    first = Process([*namespace, os.environ["VELMORA"]], environment, session.directory / "first")
    becomes("the first one has the lock", lambda: lock.read_text(), "1\n")
    lock.write_text("2\n")  # process 1 of a namespace survives every signal
    alive = session.directory / "alive"
    script = f'sleep 60 & "$0"; [ "$!" = 2 ] && kill -0 2 && touch {alive}; kill 2'
    session.second(wrapped=[*namespace, "sh", "-c", script])
    check(alive.exists(), "the decoy lives")
    first.kill()


def main(names):
    cases = {name[5:]: case for name, case in globals().items() if name.startswith("test_")}
    try:
        require_programs("dbus-daemon", "gdbus", "gapplication", "unshare")
        for name, case in cases.items():
            if not names or name in names:
                began = time.monotonic()
                case()
                print(f"{name}: {time.monotonic() - began:.1f} s", flush=True)
    except Skipped as reason:
        print("skipped:", reason)
        return 1 if os.environ.get("CI") == "true" else 77
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
