# What is heard while something changes:
#
#   tests/lab/run.py tests/soak/transitions_test.py changes_are_inaudible_or_silent_never_loud rounds=8 seed=7
#
# A tone plays through the program and every device is recorded. Prints a row per kind of transition: the largest
# step and sample as compared with the tone's own, how long it was louder than twice the tone, how long silent
# (least, median, most), and the hard edges (steps of more than twice the tone's own). Fails when something was
# louder than twice the tone, or a changing curve made a gap or a hard edge.
from lab.all import *

LEVEL_DB = -18
ALLOWED = 2  # 6 dB
SILENT = 1e-4
GRAIN = 2 / 32768  # PulseAudio's null sinks have 16 bits
STEADY_S = 0.2  # of the tone as it should be, before and after
TRIES = 5  # a busy machine may lose a cycle of its own accord, not each time
TONES = ((440, 4), (100, 2))  # hertz, and the band whose slider changes it most
UP, DOWN, PREAMP_UP = 9, -6, 6  # where no preset has a knob
MENU = list(PRESETS)


def largest_step(level, hz):
    return 10 ** (level / 20) * 2 * math.sin(math.pi * hz / RATE) + GRAIN


# Silences that a tone does not have of its own.
def silence_ms(channel, hz):
    return sum(b - a for a, b in runs(np.abs(channel) < SILENT) if b - a > RATE / hz / 4) * 1000 / RATE


# Steps larger than this; several within 2 ms are one edge.
def edges(channel, step):
    at = np.flatnonzero(np.abs(np.diff(channel)) > step)
    return int(len(at) > 0) + int(np.sum(np.diff(at) > RATE * 0.002))


# `devices`: what each played, in step; `level`: the tone's, before or after, whichever is louder;
# `allowed`: a level that is not too loud, even where it is louder than that.
def read(devices, level, allowed, hz):
    own_peak, own_step = 10 ** (level / 20), largest_step(level, hz)
    loud = [np.flatnonzero(np.abs(sound) > ALLOWED * own_peak) for sound in devices]
    largest, loudest = max(map(jump, devices)), max(map(peak, devices))
    return {"step": db_of(largest / own_step), "loud": db_of(loudest / own_peak),
            "loud_ms": max((at[-1] + 1 - at[0]) * 1000 / RATE if len(at) else 0.0 for at in loud),
            "too_loud": max(largest, loudest) > ALLOWED * 10 ** (max(level, allowed) / 20),
            "hard": sum(edges(sound, ALLOWED * own_step) for sound in devices),
            "silence": silence_ms(sum(devices), hz)}


class Stage:
    def __init__(self, lab, dice):
        self.lab, self.server, self.dice = lab, lab.server, dice
        self.rows = {}
        self.repeated = {}
        self.preset, self.volume, self.device = "rock", 100, "speakers"
        self.launch()

    def round(self, number):
        self.hz, self.band = TONES[(number + number // 2) % 2]
        self.volume = 50 if number % 2 else 100
        self.lab.play((self.hz, LEVEL_DB))
        self.turn_down()
        self.in_place()
        window, band = self.window, self.band
        self.curve_changes("Preset chosen", self.choose_preset)
        self.curve_changes("Slider pressed", lambda: window.click(*knob(band, UP)), band, UP)
        self.curve_changes("Preamp pressed", lambda: window.click(*preamp(PREAMP_UP)), "preamp", PREAMP_UP)
        self.curve_changes("Slider dragged", lambda: window.drag(knob(band, UP), knob(band, DOWN)), band, DOWN)
        self.curve_changes("Preset chosen", self.choose_preset)
        self.watch("Switched off", lambda: self.press_power(False))
        self.watch("Switched on", lambda: self.press_power(True))
        self.turn_down()
        for device in ("headset", "speakers"):
            self.change_device(device)
        self.server.add_sink("usb")
        self.change_device("usb")
        self.watch("Device vanishes", lambda: self.plug("speakers", self.server.remove_sink))
        self.watch("Device returns", lambda: self.plug("usb", self.server.add_sink))
        self.make_default("speakers")
        self.in_place()
        self.server.remove_sink("usb")
        self.watch("Program ended", lambda: self.end(False))
        self.watch("Program started", self.launch)
        self.turn_down()
        self.watch("Program killed", lambda: self.end(True))
        self.launch()
        if self.volume == 100:  # what it remembers of levels depends on when it died
            self.restart_server()

    # ---- What is done

    def launch(self):
        self.program, self.window = self.lab.open("--preset", self.preset, expect=[""])
        self.curve = PRESETS[self.preset]
        self.routed = True

    def end(self, kill):
        self.program.calm = None
        self.lab.end(self.program, kill)
        self.routed = False

    def press_power(self, on):
        self.window.click(*POWER)
        self.routed = on

    def plug(self, device, deed):
        deed("usb")
        self.device = device

    def make_default(self, device):
        self.server.set_default(device)
        self.device = device

    def choose_preset(self):
        self.preset = self.dice.choice([name for name in MENU if name != self.preset])
        self.window.opens(*PRESETS_BUTTON)
        self.window.opens(*preset_row(1 + MENU.index(self.preset)))
        self.curve = PRESETS[self.preset]

    # As the user's volume keys do: the default device, and no other.
    def turn_down(self):
        self.in_place()
        wanted = {name: [self.volume if name == SINK else 100] * 2 for name in (SINK, "speakers", "headset")}
        if {name: self.server.volume(name) for name in wanted} != wanted:
            self.lab.settle()
            for name, (volume, _) in wanted.items():
                self.server.set_volume(name, volume)

    # ---- What is heard

    # Of the tone, as it should be.
    def level(self):
        curve_db = response_db(self.curve, self.hz) if self.routed else 0
        return LEVEL_DB + 60 * math.log10(self.volume / 100) + curve_db

    def in_place(self):
        default, music = (SINK, SINK) if self.routed else (self.device, self.device)
        ours = (self.device,) if self.routed else None
        becomes("everything is in place", lambda: (
            self.server.default(), self.server.playing(MUSIC), ours and self.server.playing(OURS)), (default, (music,), ours))

    # The newest of what is recorded is the tone as it should be, and nothing else.
    def steady(self, recorder):
        first, wanted = recorder.frames, self.level()
        own = largest_step(wanted, self.hz)

        def look():
            sound = recorder.newest(STEADY_S)[:, 0]
            check(recorder.frames >= first + len(sound) >= first + STEADY_S * RATE, "not enough yet")
            return level_db(sound, self.hz) - wanted, jump(sound) / own, silence_ms(sound, self.hz)
        becomes("the tone is as it should be", look, lambda s: abs(s[0]) < 0.3 and s[1] < 1.2 and s[2] == 0)

    # What is recorded from before the deed until the tone is as it should be after it.
    def heard(self, deed, allowed=-100):
        ears = {name: Recorder(self.server, f"{name}.monitor") for name in self.server.sinks() if name != SINK}
        self.steady(ears[self.device])
        before, began = self.level(), time.monotonic()
        first = {name: ear.frames for name, ear in ears.items()}
        ears[self.device].next(STEADY_S + self.dice.uniform(0, 0.03))
        deed()
        late = {}
        if self.device not in ears:
            late[self.device] = round((time.monotonic() - began) * RATE)
            ears[self.device] = Recorder(self.server, f"{self.device}.monitor")
        self.in_place()
        self.steady(ears[self.device])
        sounds = {name: np.concatenate([np.zeros(late.get(name, 0)), ear.since(first.get(name, 0))[:, 0]])
                  for name, ear in ears.items()}
        for ear in ears.values():
            ear.close()
        length = len(sounds[self.device])  # no further than what is heard at the end
        sounds = [np.pad(sound[:length], (0, max(0, length - len(sound)))) for sound in sounds.values()]
        return read(sounds, max(before, self.level()), allowed, self.hz)

    def watch(self, name, deed):
        self.add(name, self.heard(deed))

    # The server itself sends the music to the device that the user chose, at that device's own volume,
    # until the program has taken it back: no louder than it would be without the program.
    def change_device(self, device):
        self.add("Device changed", self.heard(lambda: self.make_default(device), LEVEL_DB))

    def curve_changes(self, name, deed, band=None, gain=0):
        def act():
            deed()
            if band == "preamp":
                self.curve = self.curve[0], gain
            elif band is not None:
                self.curve = tuple(gain if i == band else g for i, g in enumerate(self.curve[0])), self.curve[1]
        reading = self.heard(act)
        for _ in range(TRIES):
            if not reading["hard"] and not reading["silence"]:
                break
            self.choose_preset()  # back to where it can be done again
            self.repeated[name] = self.repeated.get(name, 0) + 1
            reading = self.heard(act)
        check(not reading["hard"] and not reading["silence"], f"{name} is heard: {reading}")
        self.add(name, reading)

    # From the first moment of the new server on: the program comes back by itself, the music does not.
    def restart_server(self):
        self.in_place()
        self.lab.silence()
        self.server.kill()
        self.server.start()
        recorder = Recorder(self.server, "speakers.monitor")
        self.lab.play((self.hz, LEVEL_DB))
        self.in_place()
        self.steady(recorder)
        sound = recorder.since()[:, 0]
        recorder.close()
        sound = sound[max(0, int(np.argmax(sound != 0)) - 1):]
        self.add("Server restarted", read([sound], max(LEVEL_DB, self.level()), LEVEL_DB, self.hz))

    def add(self, name, reading):
        print(f"  {self.hz} Hz {name:16} " + ", ".join(f"{key} {value:.1f}" for key, value in reading.items()))
        self.rows.setdefault(name, []).append(reading)

    # Returns whether nothing was too loud.
    def report(self):
        print(f"{'':16} rounds  step, dB  loud, dB  for, ms        silence, ms   hard")
        for name, rows in self.rows.items():
            worst = {key: max(row[key] for row in rows) for key in ("step", "loud", "loud_ms", "too_loud")}
            silences = [row["silence"] for row in rows]
            print(f"{name:16} {len(rows):6} {worst['step']:9.1f} {worst['loud']:9.1f} {worst['loud_ms']:8.1f} "
                  f"{min(silences):5.0f} {statistics.median(silences):5.0f} {max(silences):5.0f} "
                  f"{sum(row['hard'] for row in rows):6} {'TOO LOUD ' * worst['too_loud']}"
                  f"({self.repeated.get(name, 0)} repeated)")
        return not any(row["too_loud"] for rows in self.rows.values() for row in rows)


def test_changes_are_inaudible_or_silent_never_loud(lab, rounds=1, seed=1):
    print("seed", seed)
    stage = Stage(lab, random.Random(seed))
    for number in range(rounds):
        stage.round(number)
    check(stage.report(), "something was too loud")
