# What the engine costs on a real server: the delay that it adds, click by click, gaps on a busy machine,
# and its share of a processor; run by hand:
#
#   tests/lab/run.py bench/engine_figures.py delay --server pipewire starts=10
#   tests/lab/run.py bench/engine_figures.py delay_after_disturbances --server pipewire
#   tests/lab/run.py bench/engine_figures.py gaps_beside_compilers --server pipewire seconds=300
#   tests/lab/run.py bench/engine_figures.py share_of_a_processor --server pipewire seconds=60
#   tests/lab/run.py bench/engine_figures.py presets_of_devices --server pipewire
#
# BASE names other builds of the program (PATH or PATH:PATH), measured in turn with this one by delay,
# gaps_beside_compilers, share_of_a_processor and presets_of_devices.
#
# The delay is measured between two recordings, of our sink's monitor and of the device's; both are
# mapped to one clock by the earliest arrival of a frame in each, so what they have in common cancels
# out. They ask for fragments as long as the cycles of the program's own streams: asking for shorter
# ones makes PipeWire change the cycle in the middle of the sound, and the delay with it. Of the time
# that is spent, the server's own counts too, and wake-ups beside it. The program draws
# its frames all the while, for a window without a screen.
import contextlib

from lab.all import *
from lab.all import EXECUTABLE
from lab import velmora

SUSPEND_S = 5
CLICK_S = 0.25
SETTLED_S = 2  # after which the delay is what it stays
GAP_MS = 5
CYCLE_S = 512 / RATE
BASE = list(filter(None, os.environ.get("BASE", "").split(":")))


# Each build, again and again; the program is started from it.
def in_turn(rounds):
    for _ in range(rounds):
        for velmora.EXECUTABLE in (EXECUTABLE, *BASE):
            yield velmora.EXECUTABLE


def median_delay(lab, count, device="speakers"):
    sent, heard = (Recorder(lab.server, source, CYCLE_S) for source in (MONITOR, f"{device}.monitor"))
    heard.next((count + 2) * CLICK_S)
    delays = delays_ms(sent.click_times(), heard.click_times(), most_ms=400)
    sent.close()
    heard.close()
    return statistics.median(delays), f"{statistics.median(delays):.1f} ({min(delays):.1f} to {max(delays):.1f})"


def spread(lab, what, delays):
    print(f"{lab.server.kind}: {what}: median {statistics.median(delays):.1f} ms, {min(delays):.1f} to {max(delays):.1f} ms")


# Starts, of which each is measured over so many clicks.
def test_delay(lab, count=30, starts=10):
    delays = {}
    for build in in_turn(starts):
        program = lab.start()
        lab.players.append(Player(lab.server, clicks(CLICK_S)))
        time.sleep(SETTLED_S)
        delay, text = median_delay(lab, count)
        print(f"  {build}: {text} ms")
        delays.setdefault(build, []).append(delay)
        lab.silence()
        lab.end(program)
    for build, measured in delays.items():
        spread(lab, f"{build}: delay in {starts} starts", measured)


# A device that delays the sound by itself, and says so, as a wireless one does. Its monitor does not. On PulseAudio:
# PipeWire's null devices and loops take a delay, but tell nobody.
def add_late_device(lab):
    fifo = lab.server.directory / "late"
    os.mkfifo(fifo, 0o600)
    pipe = os.open(fifo, os.O_RDONLY | os.O_NONBLOCK)

    def take():  # what the pipe holds is the delay
        began, taken = time.monotonic(), 0
        while True:
            time.sleep(0.002)
            due = int((time.monotonic() - began) * RATE) - taken
            with contextlib.suppress(BlockingIOError):
                os.read(pipe, due * 8)
            taken += due
    lab.server.load("module-pipe-sink", "sink_name=late", "format=float32le", "rate=48000", "channels=2", f"file={fifo}")
    threading.Thread(target=take, daemon=True).start()


# The delay two seconds after the end of what may change it.
def test_delay_after_disturbances(lab, count=20, rounds=3):
    program = lab.start(expect=["Audio path"])

    def sleep():
        lab.silence()
        becomes("our stream sleeps", lambda: corked(lab), [True], limit=30)

    def hang(process, seconds):
        process.freeze()
        time.sleep(seconds)
        process.thaw()

    def switch():
        for device in ("headset", "speakers"):
            lab.choose(device)
            lab.routed_to(device)

    disturbances = {"the start": lambda: None, "sleep": sleep, "a server that hung": lambda: hang(lab.server, 0.4),
                    "two switches": switch, "an underrun": lambda: hang(program, 0.2)}
    for what, disturb in disturbances.items():
        delays = []
        for _ in range(rounds):
            disturb()
            if not lab.players:
                lab.players.append(Player(lab.server, clicks(CLICK_S)))
            time.sleep(SETTLED_S)
            delay, text = median_delay(lab, count)
            print(f"  {what}: {text} ms")
            delays.append(delay)
        spread(lab, f"delay after {what}", delays)
    lab.silence()
    lab.end(program)
    devices = ["headset"]
    if lab.server.kind == PULSEAUDIO:
        add_late_device(lab)
        becomes("the device is there", lambda: "late" in lab.server.sinks())
        lab.remember()
        devices.append("late")
    for device in devices:
        delays = []
        for _ in range(rounds):
            program = lab.start("--device", device, expect=[""], device=device)
            lab.players.append(Player(lab.server, clicks(CLICK_S)))
            time.sleep(SETTLED_S)
            told = max(stream["sink_latency_usec"] for stream in lab.server.list("sink-inputs")) / 1000
            delay, text = median_delay(lab, count, device)
            print(f"  {device}, which tells {told:.0f} ms: {text} ms")
            delays.append(delay)
            lab.silence()
            lab.end(program)
        spread(lab, f"delay at the chosen device {device}", delays)


def corked(lab):
    return [stream["corked"] for stream in lab.server.list("sink-inputs")
            if stream["properties"]["application.name"] == OURS]


# Milliseconds of processor time, and how often a thread had waited and went on.
def usage(pids):
    ms = wakeups = 0
    for pid in pids:
        for task in os.listdir(f"/proc/{pid}/task"):
            ms += int(proc(pid, f"task/{task}/schedstat").split()[0]) * 1e-6
            wakeups += int(proc(pid, f"task/{task}/status").split("\nvoluntary_ctxt_switches:")[1].split()[0])
    return ms, wakeups


def report(lab, what, program, seconds):
    groups = {"program": [program.pid] if program else [], "server": lab.server.pids()}
    before = {name: usage(pids) for name, pids in groups.items()}
    began = time.monotonic()
    time.sleep(seconds)
    took = time.monotonic() - began
    shares = []
    for name, pids in groups.items():
        ms, wakeups = (now - then for now, then in zip(usage(pids), before[name]))
        shares.append(f"{name} {ms / took / 10:.2f} % of a core, {wakeups / took:.1f} wake-ups a second")
    print(f"{lab.server.kind}: {what}: {'; '.join(shares)}; device {lab.server.sinks()['speakers']['state'].lower()}")


def test_share_of_a_processor(lab, seconds=60, rounds=1):
    report(lab, "without the program, nothing playing", None, seconds)
    for build in in_turn(rounds):
        program = lab.start("--preset", "rock")
        player = Player(lab.server, noise())
        time.sleep(SETTLED_S)
        report(lab, f"{build}, equalizing", program, seconds)
        player.close()
        becomes("our stream sleeps", lambda: corked(lab), [True], limit=30)
        report(lab, f"{build}, equalizer on, asleep", program, seconds)
        lab.end(program)
        program = lab.launch("--off")
        time.sleep(10)  # a spectrum alone is drawn more slowly when it has been silent for a while
        report(lab, f"{build}, equalizer off, nothing playing", program, seconds)
        lab.end(program)


# What it costs that each device has a preset of its own, with a window on a screen.
def test_presets_of_devices(lab, seconds=10, count=16, rounds=2):
    lab.need_screen()
    variants = {"off": (EXECUTABLE, False), "on": (EXECUTABLE, True)} | {base: (base, False) for base in BASE}
    for name in list(variants) * rounds:
        velmora.EXECUTABLE, own_presets = variants[name]
        home = temp_dir()
        if own_presets:
            write_devices(home, {"name=speakers": "rock"})
        program = lab.launch(*(() if own_presets else ("--preset", "rock")), home=home)
        lab.routed_to("speakers")
        program.wait_for_log("First frame after")
        program.remember()
        check(program.count("Playing with the curve of name=speakers") == own_presets, "the feature is not as wanted")
        first = program.log_text().split("First frame after ")[1].split("\n")[0]
        player = Player(lab.server, noise())
        time.sleep(SETTLED_S)  # the window glides to the curve
        report(lab, f"{name}, equalizing", program, seconds)
        kb = memory(program.pid)
        player.close()
        lab.players.append(Player(lab.server, clicks(CLICK_S)))
        time.sleep(SETTLED_S)
        print(f"  {name}: first picture {first}, {kb / 1024:.1f} MB, delay {median_delay(lab, count)[1]} ms")
        lab.silence()
        becomes("our stream sleeps", lambda: corked(lab), [True], limit=30)
        report(lab, f"{name}, asleep", program, seconds)
        lab.end(program)


# C++ compilers, one after the other in each of so many loops, until the end of the scope.
@contextlib.contextmanager
def compilers(lab, loops):
    folder = temp_dir()
    source = folder / "source.cpp"
    source.write_text("#include <regex>\n#include <iostream>\nint main() { std::regex r; std::cin >> std::ws; }\n")
    loop = f"while [ -e {source} ]; do c++ -std=c++20 -O2 -c {source} -o /dev/null; done"
    running = [Process(["sh", "-c", loop], lab.server.environment(), folder / f"{i}.log") for i in range(loops)]
    try:
        yield
    finally:
        source.unlink()
        for process in running:
            process.wait(60)


# Gaps in two tones at the same time: one played through the program, one directly to a device. The recorders are
# not in a hurry: asking for less would make PipeWire's cycles shorter.
def test_gaps_beside_compilers(lab, seconds=90, loops=8, rounds=1):
    sources = {"at our sink": MONITOR, "through the program": "speakers.monitor", "directly": "headset.monitor"}
    for build in in_turn(rounds):
        program = lab.start(expect=["Audio path"])
        lab.players += [Player(lab.server, sines((440, -6))),
                        Player(lab.server, sines((440, -6)), application="Direct player", device="headset")]
        lab.hears("speakers", (440, -6))
        recorders = {name: Recorder(lab.server, source, fragment_s=0.1) for name, source in sources.items()}
        with compilers(lab, loops):
            time.sleep(SETTLED_S)
            firsts = [recorder.frames for recorder in recorders.values()]
            time.sleep(seconds)
            ends = [recorder.frames for recorder in recorders.values()]
        print(f"{lab.server.kind}: {build}, load {os.getloadavg()[0]:.1f}")
        for (name, recorder), first, end in zip(recorders.items(), firsts, ends):
            sound = recorder.since()[first:end, 0]
            gaps = [(b - a) * 1000 / RATE for a, b in runs(np.abs(sound) < 1e-4) if (b - a) * 1000 / RATE >= GAP_MS]
            print(f"  {name}: {len(gaps)} gaps in {len(sound) / RATE:.0f} s: {' '.join(f'{gap:.0f}' for gap in gaps)} ms")
            recorder.close()
        print(f"  the log: {re.findall('Audio path last.*|ran dry.*', program.log_text())}")
        lab.silence()
        lab.end(program)
