# The built program on a test's server, and the lab around it, which checks after every test what must
# hold after every test.
from .probe import *
from .screen import *
from .server import *
from .session import *
from .sound import *

SINK, MONITOR, OURS, MUSIC = "velmora", "velmora.monitor", "Velmora", "Test player"
TONES = ((1000, -20, "left"), (1500, -23, "right"))
EXECUTABLE = os.environ.get("VELMORA", "")
FLAT_SWITCHES = ("--preset", "flat")
NO_SCREEN = {"SDL_VIDEODRIVER": "dummy"}
LOG_LINE = re.compile(r"\d\d:\d\d:\d\d (INFO |WARN |ERROR) .*")
OWN_FILES = {"settings.dat", "Velmora.lock", "Velmora.log", "Velmora.log.1", "Velmora-devices.log", "unrestored",
             "volume.txt", "devices.dat"}
RUNS_ALREADY = "Velmora laeuft bereits — Fenster nach vorn geholt.\n"
MEMORY_GROWTH_KB = 6000  # after everything has been used once


class Velmora(Process):
    #   home      its XDG_CONFIG_HOME; runs with the same one share settings, log and lock
    #   expect    parts of warnings and errors that its log may hold
    #   wrapped   the command that starts it, which finds it as its last argument
    def __init__(self, server, *switches, home=None, display=NO_SCREEN, expect=(), wrapped=(), **environment):
        self.home = Path(home or temp_dir())
        self.folder = self.home / "Velmora"
        self.server, self.expect = server, list(expect)
        self.keeps = set(OWN_FILES)
        self.previous = self.inode()
        self.calm = None
        self.scratch, self.counts = temp_dir(), Counts()
        super().__init__([*wrapped, EXECUTABLE, *switches],
                         {**server.environment(), "XDG_CONFIG_HOME": str(self.home), "TRSL_LANG": "en",
                          "TMPDIR": str(self.scratch), **self.counts.environment, **display, **environment},
                         temp_dir() / "console")

    def inode(self):
        path = self.folder / "Velmora.log"
        return path.stat().st_ino if path.exists() else 0

    # This run's log, never one that an earlier run left.
    def log_text(self):
        return "" if self.inode() == self.previous else (self.folder / "Velmora.log").read_text(errors="replace")

    def count(self, text):
        return self.log_text().count(text)

    def wait_for_log(self, text, limit=PATIENCE):
        becomes(f"the log says {text!r}", lambda: self.log_text()[-2000:] if self.count(text) else "", limit=limit)

    # Whether it answers a request to end by itself. Before that it has touched nothing, and the signal ends it.
    def answers(self):
        return int(proc(self.pid, "status").split("SigBlk:")[1].split()[0], 16) >> (signal.SIGTERM - 1) & 1

    def guard(self):
        return children_of(self.pid)[0]

    # What it holds of the system's: grows with everything that is leaked by a reconnect or a switch.
    def holdings(self):
        return {"descriptors": descriptors(self.pid), "threads": len(os.listdir(f"/proc/{self.pid}/task"))}

    # Takes its holdings as those that it must come back to.
    def remember(self):
        self.calm, self.memory = self.holdings(), memory(self.pid)

    def check_holdings(self):
        becomes("the program holds what it held when it was calm", self.holdings,
                lambda now: all(now[key] <= self.calm[key] for key in now))
        grown = memory(self.pid) - self.memory
        check(grown < MEMORY_GROWTH_KB, f"the program has grown by {grown} kB")

    # After its end: nothing is left, and the log holds lines, in order, without surprises.
    def check_remains(self, regular):
        becomes("no process is left", lambda: processes_with(f"XDG_CONFIG_HOME={self.home}\0"), [])
        check(not list(self.scratch.iterdir()), "a temporary file is left")
        files = {path.name for path in self.folder.glob("*")} if self.folder.is_dir() else set()
        check(files <= self.keeps, f"left in its directory: {files - self.keeps}")
        if (self.folder / "settings.dat").exists() and Path(tool("lab_probe")).exists():  # the demo has none
            check("preset" in settings(self.home), "the settings cannot be opened")
        if regular:
            self.counts.check_released(self.pid)
        lines = self.log_text().split("\n")
        expect = self.expect + getattr(self.server, "surprises", [])
        for line in lines[:-1]:
            check(LOG_LINE.fullmatch(line), f"a broken line in the log: {line[:200]!r}")
            check(" INFO  " in line or any(part in line for part in expect), f"unexpected in the log: {line}")
        if regular and self.folder.is_dir():
            check(lines[-2:] == [lines[-2], ""] and lines[-2].endswith("Quit"), f"the log ends with {lines[-2:]}")


# A session without sound and screen; cases of SERVERS = ("none",) get one, and may make others. Whoever calls
# end() or ended() has the remains looked at.
class Session:
    def __init__(self, address="unix:path=/nonexistent"):
        self.directory, self.address, self.daemon = temp_dir(), address, None
        self.home = self.directory / "config"
        self.folder = self.home / "Velmora"
        self.programs = []

    def environment(self):
        return clean_environment(HOME=str(self.directory), XDG_RUNTIME_DIR=str(self.directory),
                                 PULSE_SERVER="unix:/nonexistent/velmora", DBUS_SESSION_BUS_ADDRESS=self.address)

    def start_bus(self):
        self.daemon = Bus(self.environment())
        self.address, = self.daemon.variables.values()

    def start(self, *switches, expect=(), **options):
        self.programs.append(Velmora(self, *switches, home=self.home, expect=["No sound server", *expect], **options))
        return self.programs[-1]

    # Starts it and waits until it has the lock and a window, and has logged its name.
    def up(self, *switches, **options):
        program = self.start(*switches, **options)
        becomes("it has the lock", lambda: self.read("Velmora.lock"), f"{program.pid}\n")
        program.wait_for_log("INFO  Velmora 1.0.2 (Build 1057, plain)\n")
        return program

    # Starts it and waits for its end; returns its exit code and what it printed.
    def run(self, *switches, **options):
        program = Velmora(self, *switches, home=self.home, **options)
        return program.wait(), program.output()

    def end(self, program):
        self.ended(program, program.stop(5))

    # It has ended by itself, in order and without a word.
    def ended(self, program, code):
        check((code, program.output()) == (0, ""), f"it ended with {code}: {program.output()}")
        program.check_remains(regular=True)
        self.programs.remove(program)

    def read(self, name):
        return (self.folder / name).read_text()

    def write(self, name, text):
        self.folder.mkdir(parents=True, exist_ok=True)
        (self.folder / name).write_text(text)
        return self.folder / name

    def finish(self):
        for program in list(self.programs):
            self.end(program)

    def close(self, failed):
        for process in [*self.programs, self.daemon]:
            if failed and process:
                print(f"---- {process.popen.args}\n{process.output()[-2000:]}")
            if process:
                process.kill()
        if failed and (self.folder / "Velmora.log").exists():
            print("---- log\n" + self.read("Velmora.log")[-6000:])


# One test's server, programs and players. The runner makes it, and calls finish() when the test has
# passed and close() in any case.
class Lab:
    def __init__(self, server):
        self.server = server
        self.programs = []
        self.engines = []
        self.players = []
        self.screen = None
        self.home = temp_dir()
        self.before = None

    def begin(self):
        self.server.start()
        self.remember()

    # ---- Programs

    # Starts the program without waiting; on the screen where there is one.
    def launch(self, *switches, **options):
        if self.screen:
            options = {"display": self.screen.environment()} | options
        program = Velmora(self.server, *switches, **options)
        self.programs.append(program)
        return program

    def need_screen(self):
        self.screen = self.screen or Screen()

    # Starts it on a screen and waits for its first frame; returns it and its window. One settings file for
    # all of a case's windows.
    def open(self, *switches, **options):
        self.need_screen()
        program = self.launch(*switches, **{"home": self.home} | options)
        program.wait_for_log("First frame after")
        return program, Window(self.screen)

    # The engine alone; see Engine.
    def engine(self):
        self.engines.append(Engine(self.server))
        return self.engines[-1]

    # Starts it, with a flat curve where no switches are given, and waits until its routing is in force.
    def start(self, *switches, device="speakers", **options):
        program = self.launch(*(switches or FLAT_SWITCHES), **options)
        self.routed_to(device)
        if program.inode():  # it has a log
            program.wait_for_log("First frame after")  # which takes its memory, too
        program.remember()
        return program

    # Ends it in order, or `kill`s it as a crash would, and looks at what remains.
    def end(self, program, kill=False):
        if program.calm and not kill:
            program.check_holdings()
        early = program.running() and not program.answers()
        wanted = (-signal.SIGKILL,) if kill else (0, -signal.SIGTERM) if early else (0,)
        self.ended(program, program.kill() if kill else program.stop(), *wanted)

    # It has ended by itself, with one of these exit codes.
    def ended(self, program, code, *wanted):
        check(code in (wanted or (0,)), f"it ended with {code}, not {wanted}")
        program.check_remains(regular=code == 0)
        self.programs.remove(program)

    # ---- Sound

    # Another program that plays these tones; see Player. After the program it plays where it would
    # without it.
    def player(self, *tones, **options):
        self.players.append(Player(self.server, sines(*(tones or TONES)), **options))
        return self.players[-1]

    # The same, instead of what this application played before.
    def play(self, *tones, application=MUSIC, **options):
        self.silence(application)
        return self.player(*tones, application=application, **options)

    def silence(self, application=MUSIC):
        for player in [p for p in self.players if p.application == application]:
            player.close()
            self.players.remove(player)

    # A server may bring an earlier level back for a second, and the program corrects it once more: only
    # then does a level count as the user's.
    def settle(self):
        time.sleep(1.2)

    # These tones arrive at the device as the curve makes them, `gain_db` louder, and in a channel that
    # a tone is not for, it is not heard.
    def hears(self, device, *tones, curve=FLAT, gain_db=0.0):
        tones = through(curve, *(tones or TONES))
        wanted = {(hz, side): None for hz, *_ in tones for side in ("left", "right")}
        for hz, db, *channel in tones:
            wanted |= {(hz, side): db + gain_db for side in channel or ("left", "right")}

        def levels():
            recorder = Recorder(self.server, f"{device}.monitor")
            try:
                sound = recorder.next(0.4)[-12000:]
            finally:
                recorder.close()
            return [(hz, side, round(level_db(sound[:, int(side == "right")], hz), 2), db) for (hz, side), db in wanted.items()]
        becomes(f"{device} plays the tones", levels, lambda seen: all(
            heard < -80 if db is None else abs(heard - db) < 0.3 for _, _, heard, db in seen))

    # ---- Routing

    # The program's own streams: where it plays, what it records.
    def own_streams(self):
        return self.server.playing(OURS), self.server.recording(OURS)

    # Our sink is the default, our streams record its monitor and play to `device`, and the music is on it.
    def routed_to(self, device):
        becomes(f"everything is routed through our sink to {device}",
                lambda: (self.server.default(), *self.own_streams()), (SINK, (device,), (MONITOR,)))

    # The equalizer is off: the user's device is the default again.
    def default_is(self, device):
        becomes(f"{device} is the default again", self.server.default, device)

    def music_is_on(self, device):
        becomes(f"the music plays on {device}", lambda: set(self.server.playing(MUSIC)), {device})

    # The user makes a device the default, before or while the program runs: it stays so afterwards.
    # On a busy machine PipeWire forgets a wish that comes right after the device.
    def choose(self, device):
        def look():
            self.server.set_default(device)
            return self.server.default()
        becomes("the user's default", look, device)
        self.before["default"] = device

    # ---- What must be the same after the program as before it

    # Everything but where the players play.
    def remember(self):
        self.before = {key: value for key, value in self.server.state().items() if not key.endswith(" at sink")}

    # What a test has changed for good, e.g. expect(speakers={"volume": [40, 40]}).
    def expect(self, **changes):
        for key, value in changes.items():
            self.before[key] = self.before[key] | value if isinstance(value, dict) else value

    def as_before(self, limit=PATIENCE):
        wanted = dict(self.before)
        for player in self.players:
            key = f"{player.application} at sink"
            wanted[key] = tuple(sorted([*wanted.get(key, ()), player.device or self.before["default"]]))
        becomes("the server is as before", lambda: difference(wanted, self.server.state()), "", limit=limit)

    def finish(self):
        for program in list(self.programs):
            self.end(program)
        for engine in self.engines:
            engine.close()
        if self.server.processes:
            self.as_before()

    def close(self, failed):
        if failed:
            for program in self.programs:
                print(f"---- log\n{program.log_text()[-6000:]}---- console\n{program.output()[-2000:]}")
            print(self.server.logs())
            if self.screen:
                print("---- the screen:", self.screen.save("/tmp/velmora-screen.png"))
        for program in self.programs:
            program.kill()
        for engine in self.engines:
            engine.process.kill()
        self.server.kill()
        if self.screen:
            self.screen.close()
        for stream in list(Stream.opened):
            stream.close()
