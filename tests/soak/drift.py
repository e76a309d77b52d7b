# A device on a clock of its own, for as long as one likes to watch; run by hand:
#
#   tests/lab/run.py tests/soak/drift.py stays_near_a_device_on_another_clock --server pipewire minutes=120 ppm=-200
#
# Once a minute the delay from our sink's monitor to the device and the program's memory are printed. Fails when,
# after the first `settle` minutes, sound was dropped, ran dry, or the delay went away by more than 3 ms, on PipeWire 5.
# Nothing else may run meanwhile, at any priority.
from lab.all import *

DEVICES = ("speakers",)
MOST_AWAY_MS = {PULSEAUDIO: 3, PIPEWIRE: 5}
CLICK_S, CLICKS = 0.5, 16


# A pipe that is read at that pace; the module that fills it is PulseAudio's.
class PipeDevice:
    def __init__(self, lab, ppm):
        self.rate, self.times = RATE * (1 + ppm * 1e-6), []
        fifo = lab.server.directory / "device"
        os.mkfifo(fifo, 0o600)
        self.fd = os.open(fifo, os.O_RDONLY | os.O_NONBLOCK)
        lab.server.load("module-pipe-sink", "sink_name=skewed", "format=float32le", "rate=48000", "channels=2",
                        f"file={fifo}")
        threading.Thread(target=self.run, daemon=True).start()

    def run(self):
        began, taken = time.monotonic(), 0
        while True:
            time.sleep(0.002)  # its pace; the clock says how much is due
            now = time.monotonic()
            due = min(int((now - began) * self.rate - taken), 4800)
            try:
                samples = np.frombuffer(os.read(self.fd, due * 8), np.float32)[0::2]
            except BlockingIOError:
                samples = np.zeros(0)
            taken += due  # what is not there is played as silence, as a device does
            self.times += [now + (at - due) / self.rate for at in onsets(samples)
                           if not self.times or now - self.times[-1] > 0.1]

    def click_times(self):
        return self.times


class DriverDevice:
    def __init__(self, lab, ppm):
        self.process = Process([tool("skewed_device"), lab.server.directory / "run/pipewire-0", ppm],
                               lab.server.environment(), temp_dir() / "clicks")

    def click_times(self):
        return [int(line) / 1e9 for line in self.process.output().split("\n")[:-1]]


# How often the program has dropped sound or run dry, as it logs once a minute.
def troubles(program):
    return sum(int(dropped) + int(dry) for dropped, dry in re.findall(
        r"Audio path last minute: (\d+)x dropped, (\d+)x buffer", program.log_text()))


# The same in all of its life, as it logs at its end.
def all_troubles(program):
    return sum(int(chunks) + int(dry) for chunks, dry in re.findall(
        r"Audio path total: dropped \d+ bytes in (\d+) chunks, buffer underruns (\d+)", program.log_text()))


def test_stays_near_a_device_on_another_clock(lab, minutes=10, ppm=200, settle=0.5):
    device = (PipeDevice if lab.server.kind == PULSEAUDIO else DriverDevice)(lab, ppm)
    becomes("the device is there", lambda: "skewed" in lab.server.sinks())
    lab.server.set_default("skewed")
    program = lab.start(device="skewed", expect=[""])
    # Never silent, as most music: silence may be left out or put in.
    music = Player(lab.server, clicks(CLICK_S, tone=sines((440, -40))))
    # One for the whole time: a new stream makes the server stumble. One that asks PipeWire for short fragments
    # shortens its cycles, and has up to 20 ms of them waiting now and then.
    sent = Recorder(lab.server, MONITOR, 0.01 if lab.server.kind == PULSEAUDIO else 0.1)
    time.sleep(settle * 60)
    before, began, delays = troubles(program), time.monotonic(), []
    while time.monotonic() < began + minutes * 60:
        first, now = sent.forget(), time.monotonic()
        sent.next(CLICKS * CLICK_S)
        measured = delays_ms(sent.click_times(first), [t for t in device.click_times() if t > now], most_ms=450)
        delays.append(statistics.median(measured) if len(measured) >= CLICKS / 2 else math.nan)
        print(f"{(time.monotonic() - began) / 60:5.1f} min: delay {delays[-1]:6.1f} ms, {memory(program.pid)} kB")
        time.sleep(max(0, min(55, began + minutes * 60 - time.monotonic())))
    music.close()
    sent.next(1)  # the queue then holds no sound that the end would drop
    program.stop()
    away = max(abs(delay - delays[0]) for delay in delays)
    dry = all_troubles(program) - before
    print(f"{ppm:+} ppm, {minutes} min: delay within {away:.1f} ms of {delays[0]:.1f} ms; {dry} times dropped or dry")
    check(away <= MOST_AWAY_MS[lab.server.kind] and dry == 0, "it does not stay near the device")
    lab.programs.remove(program)
    lab.server.stop()
