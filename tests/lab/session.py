# Processes, directories and waits of one test. Nothing here reaches the user's own session.
import json
import os
import shutil
import signal
import subprocess
import tempfile
import time
from pathlib import Path

PATIENCE = 15  # seconds that an action may take on a loaded machine

# Variables through which a child could reach the session of whoever runs the tests.
SESSION = (
    "PULSE_ PIPEWIRE_ WIREPLUMBER_ XDG_ DBUS_ DISPLAY WAYLAND_ SDL_ XAUTHORITY TRSL_LANG LANG LC_ "
    "SNAP FLATPAK_ APPDIR"
).split()


class Skipped(Exception):
    """Something the test needs is not installed."""


def require_programs(*names):
    missing = [name for name in names if shutil.which(name) is None]
    if missing:
        raise Skipped(f"not installed: {', '.join(missing)}")


# What a server, a file or a window that is not there yet looks like.
NOT_YET = (AssertionError, LookupError, OSError, RuntimeError, subprocess.SubprocessError, json.JSONDecodeError)


# Looks again and again until what is seen is as wanted, and returns it.
#   look     returns what is there now; an exception of NOT_YET is "not yet"
#   wanted   the value, or a predicate; by default anything true
# Raises AssertionError, with what was last seen, after `limit` seconds.
def becomes(what, look, wanted=bool, limit=PATIENCE):
    deadline = time.monotonic() + limit
    while True:
        last = time.monotonic() >= deadline  # before looking: a slow machine never misses its last look
        try:
            seen = look()
            if wanted(seen) if callable(wanted) else seen == wanted:
                return seen
        except NOT_YET as error:
            seen = repr(error)
        if last:
            target = "" if callable(wanted) else f" (wanted {wanted!r})"
            raise AssertionError(f"not within {limit} s: {what}{target}; last seen: {seen}")
        time.sleep(0.02)


# A program of the lab's own; see LAB_TOOLS in tests/CMakeLists.txt.
def tool(name):
    return f"{os.environ.get('LAB_TOOLS', '')}/{name}"


def check(good, what):
    if not good:
        raise AssertionError(what)


def equal(seen, wanted):
    check(seen == wanted, f"{seen!r} instead of {wanted!r}")


# A directory that only this user can read. It stays until the process ends.
def temp_dir():
    directory = tempfile.TemporaryDirectory(prefix="velmora-", ignore_cleanup_errors=True)
    path = Path(directory.name)
    _directories.append(directory)
    return path


_directories = []


# The environment of the test without what could lead to the user's session.
def clean_environment(**changes):
    kept = {k: v for k, v in os.environ.items() if not k.startswith(tuple(SESSION))}
    return kept | {"LC_ALL": "C.UTF-8"} | changes


# Makes a program count what it holds of the sound library, see counts.cpp. Not where it is built with sanitizers.
class Counts:
    def __init__(self):
        self.file = temp_dir() / "counts"
        library = tool("lab_counts.so")
        self.environment = {"LD_PRELOAD": library, "LAB_COUNTS": str(self.file)} if os.path.exists(library) else {}

    # After its end, nothing. Returns how many requests were cancelled, one where that is not known.
    def check_released(self, pid):
        if not self.environment:
            return 1
        *held, cancelled = map(int, self.file.with_suffix(f".{pid}").read_text().split())
        check(not any(held), f"streams, connections, main loops not released, errors of the screen fatal, signals astray: {held}")
        return cancelled


# A child: output to a file, killed by the kernel when the test dies. Start it on the main thread.
class Process:
    def __init__(self, arguments, environment, output):
        self.log = Path(output)
        with open(output, "ab") as file:
            self.popen = subprocess.Popen(
                ["setpriv", "--pdeathsig", "KILL", *map(str, arguments)],
                env=environment, stdin=subprocess.DEVNULL, stdout=file, stderr=subprocess.STDOUT,
            )
        self.pid = self.popen.pid

    def output(self):
        return self.log.read_text(errors="replace")

    def running(self):
        return self.popen.poll() is None

    def signal(self, number):
        if self.running():
            self.popen.send_signal(number)

    # Stops the process where it is, and returns when it stands still.
    def freeze(self):
        self.signal(signal.SIGSTOP)
        becomes("the process stands still", lambda: proc(self.pid, "stat").rsplit(")", 1)[1].split()[0], "T")

    def thaw(self):
        self.signal(signal.SIGCONT)

    # The exit code, negative for a signal; raises subprocess.TimeoutExpired.
    def wait(self, limit=PATIENCE):
        return self.popen.wait(limit)

    # Asks it to end, and insists after `limit` seconds.
    def stop(self, limit=30):
        self.signal(signal.SIGTERM)
        try:
            return self.wait(limit)
        except subprocess.TimeoutExpired:
            return self.kill()

    def kill(self):
        self.signal(signal.SIGKILL)
        return self.popen.wait()


# A session bus of the test's own.
class Bus(Process):
    def __init__(self, environment):
        socket = temp_dir() / "bus"
        self.variables = {"DBUS_SESSION_BUS_ADDRESS": f"unix:path={socket}"}
        super().__init__(["dbus-daemon", "--session", f"--address=unix:path={socket}", "--nofork"], environment, temp_dir() / "log")
        becomes("the bus listens", socket.exists)

    # Calls an action of the program, as a shortcut does.
    def action(self, *words):
        subprocess.run(["gapplication", "action", "org.velmora.Velmora", *words], check=True, timeout=10,
                       env=clean_environment(**self.variables))


# A stand-in for a service of the desktop, see doubles.py, on this bus or on one of its own.
class Double(Process):
    def __init__(self, service, address="", **options):
        self.address, self.file = address or f"unix:path={temp_dir()}/bus", temp_dir() / "calls"
        super().__init__([Path(__file__).parent / "doubles.py", self.address, self.file, service,
                          *(f"{name}={value}" for name, value in options.items())], clean_environment(), temp_dir() / "log")
        becomes(f"the {service} can be called", self.file.exists)

    def calls(self):
        return [json.loads(line) for line in self.file.read_text().splitlines()]


def proc(pid, name):
    return Path(f"/proc/{pid}/{name}").read_text()


def descriptors(pid):
    return len(os.listdir(f"/proc/{pid}/fd"))


# kB of memory in use.
def memory(pid):
    return int(proc(pid, "status").split("VmRSS:")[1].split()[0])


def children_of(pid):
    return [int(child) for task in os.listdir(f"/proc/{pid}/task")
            for child in proc(pid, f"task/{task}/children").split()]


# Processes that have this text in their environment: whatever was started in a directory carries it.
def processes_with(text):
    found = []
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            if int(pid) != os.getpid() and text in proc(pid, "environ"):
                found.append(int(pid))
        except (OSError, UnicodeDecodeError):
            pass
    return found
