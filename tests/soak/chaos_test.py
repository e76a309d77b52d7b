# What a day of odd things does to the routing:
#
#   tests/lab/run.py tests/soak/chaos_test.py everything_finds_its_place --server pipewire actions=600 seed=7
#
# After every ten deeds: is everything where it belongs, heard as it should be, and known to the guard?
# With an odd seed every device has a preset of its own.
from lab.all import *

ROUND, CALM_S, PATIENCE_S, RESCUE_S = 10, 3, 12, 3
LEVEL_DB = -30
TONES_HZ = {300 * 2 ** (n / 3) for n in range(12)}  # each to be heard among the others
POWER_LIGHT = (468, 44)  # on its button, green while the equalizer is on
DEEDS = {"play": 6, "stop_playing": 4, "plug_in": 4, "pull_out": 4, "replug": 3, "rename": 2, "switch_default": 5,
         "turn_volume": 4, "mute": 2, "start_program": 5, "end_program": 2, "kill_program": 2, "second_copy": 2,
         "rob": 2, "hang": 2, "restart_server": 1, "press_power": 4, "filter": 3, "change_profile": 3, "mix": 2,
         "lose_guard": 2}


PLUGGABLE = [f"usb{number}" for number in range(9)]


def own_preset(device):
    return list(PRESETS)[sum(device.encode()) % len(PRESETS)]


class Chaos:
    def __init__(self, lab, dice, own_presets):
        self.lab, self.server, self.dice, self.own_presets = lab, lab.server, dice, own_presets
        self.homes = temp_dir(), temp_dir()
        for home in self.homes if own_presets else ():
            write_devices(home, {f"name={d}": own_preset(d) for d in ("speakers", "headset", *PLUGGABLE)})
        self.programs = [None, None]  # the program and a second copy
        self.preset = "flat"
        self.players, self.plugged, self.filters = {}, [], []
        self.count = 0
        self.lost_guard = None

    def act(self, number):
        deed, = self.dice.choices(list(DEEDS), DEEDS.values())
        try:
            print(number, deed, getattr(self, deed)() or "")
        except NOT_YET as error:  # a server in trouble refuses
            print(number, deed, "refused:", str(error)[:100])
        time.sleep(self.dice.uniform(0, 0.4))

    def device(self):
        return self.dice.choice(["speakers", "headset", *self.plugged, *self.filters])

    def play(self):
        if len(self.players) >= 4:
            return self.stop_playing()
        self.count += 1
        used = {hz for hz, _ in self.players.values()}
        hz = self.dice.choice(sorted(TONES_HZ - used))
        self.players[f"Player {self.count}"] = hz, Player(self.server, sines((hz, LEVEL_DB)), f"Player {self.count}")

    def stop_playing(self):
        if self.players:
            self.players.pop(self.dice.choice(list(self.players)))[1].close()

    def plug_in(self):
        if len(self.plugged) >= 3:
            return self.pull_out()
        self.plugged.append(self.dice.choice([name for name in PLUGGABLE if name not in self.plugged]))
        self.server.add_sink(self.plugged[-1])

    def pull_out(self):
        if self.plugged:
            self.server.remove_sink(self.plugged.pop(self.dice.randrange(len(self.plugged))))

    # Out and in again before anybody may have seen it.
    def replug(self, description=""):
        if self.plugged:
            name = self.dice.choice(self.plugged)
            self.server.remove_sink(name)
            time.sleep(self.dice.choice((0, 0.02, 0.3, 1.5)))
            self.server.add_sink(name, description)
            return name

    def rename(self):
        return self.replug(f"Device {self.count}")

    # A headset that goes from one profile to another.
    def change_profile(self):
        if self.own_presets:  # this one has none
            return
        bluetooth = [name for name in self.server.sinks() if name.startswith("bt")]
        for name in bluetooth:
            self.server.remove_sink(name)
            self.plugged.remove(name)
            time.sleep(self.dice.choice((0.02, 0.4)))
        self.count += 1
        name = f"bt{self.count}"
        self.server.load("module-null-sink", *sink_arguments(name), "sink_properties=device.string=00:11:22")
        self.plugged.append(name)
        return name

    # Made for a device, or for whatever is the default.
    def filter(self):
        if self.own_presets:
            return
        if self.filters:
            return self.server.remove_sink(self.filters.pop())
        self.count += 1
        self.filters.append(f"filter{self.count}")
        master = self.dice.choice((["master=speakers"], []))
        self.server.load("module-remap-sink", f"sink_name={self.filters[0]}", *master)
        return master

    # Our own stream, in a mixer.
    def mix(self, percent=None):
        for stream in self.server.list()["sink_inputs"]:
            if stream["properties"].get("application.name") == OURS:
                self.server.pactl("set-sink-input-volume", stream["index"], f"{percent or self.dice.randrange(30, 100)}%")
                self.server.pactl("set-sink-input-mute", stream["index"], self.dice.randrange(2) if percent is None else 0)

    def lose_guard(self):
        if self.programs[0] and not self.lost_guard:
            self.lost_guard = self.programs[0].guard()
            os.kill(self.lost_guard, self.dice.choice((signal.SIGSTOP, signal.SIGKILL)))

    # One that was killed is a zombie until the program looks.
    def find_guard(self):
        if self.lost_guard:
            if os.path.exists(f"/proc/{self.lost_guard}"):
                os.kill(self.lost_guard, signal.SIGCONT)
            becomes("there is a guard", lambda: proc(self.programs[0].guard(), "stat").rsplit(")", 1)[1].split()[0] in "SR")
        self.lost_guard = None

    def switch_default(self):
        name = self.device()
        self.server.set_default(name)
        return name

    def turn_volume(self):
        percents = [self.dice.randrange(30, 110) for _ in range(self.dice.choice((1, 2)))]
        self.server.set_volume(self.dice.choice((SINK, self.device())), *percents)

    def mute(self):
        self.server.set_mute(self.dice.choice((SINK, self.device())), self.dice.randrange(2))

    def launch(self, copy):
        if not any(self.programs):
            self.preset = self.dice.choice(list(PRESETS))
        switches = () if self.own_presets else ("--preset", self.preset)
        self.programs[copy] = self.lab.launch(*switches, home=self.homes[copy], expect=[""])

    def start_program(self):
        if not self.programs[0]:
            self.launch(0)

    def end_program(self, kill=False, copy=0):
        if self.programs[copy]:
            if copy == 0:
                self.find_guard()
            program, self.programs[copy] = self.programs[copy], None
            program.calm = None
            self.lab.end(program, kill)

    def kill_program(self):
        self.end_program(kill=True)

    def second_copy(self):
        if self.programs[1]:
            self.end_program(copy=1)
        elif not self.programs[0] or self.equalizes():  # beside one that is off, either may come out on top
            self.launch(1)

    def press_power(self):
        if self.programs[0] and not self.programs[1]:
            Window(self.lab.screen).click(*POWER)

    def rob(self):
        self.server.pactl("unload-module", self.server.sinks()[SINK]["owner_module"])

    def hang(self):
        self.server.freeze()
        time.sleep(self.dice.uniform(0.2, 3.2))
        self.server.thaw()

    def restart_server(self):
        self.server.kill()
        time.sleep(self.dice.uniform(0, 2))
        self.server.write("config/pulse/daemon.conf", f"flat-volumes = {self.dice.choice(('yes', 'no'))}\n")
        self.server.start()
        for _, player in self.players.values():
            player.close()
        self.players, self.plugged, self.filters = {}, [], []

    # What its window says, where there is only one.
    def equalizes(self):
        if all(self.programs):
            return True
        if not self.programs[0]:
            return False
        red, green, _ = Window(self.lab.screen).pixel(*POWER_LIGHT)
        return green > red + 20

    def in_order(self):
        for name, (_, player) in list(self.players.items()):
            if player.failed():
                self.players.pop(name)[1].close()
        routed = bool(self.equalizes() or self.programs[1])
        ours = [name for name in self.server.sinks() if SINK in name]
        modules = [m for m in self.server.list("modules") if "sink_name=velmora" in (m["argument"] or "")]
        check(len(ours) == len(modules) == routed, f"{ours} and {modules}")
        check((self.server.default() == SINK) == routed, f"the default is {self.server.default()}")
        for name in self.players:
            at = self.server.playing(name)
            check(len(at) == 1 and (at[0] == SINK) == routed, f"{name} is at {at}")
        if routed and self.players:
            self.heard()
        return True

    def heard(self):
        device, = self.server.playing(OURS)
        check(device != SINK, "it plays to itself")
        for name in (SINK, device):
            self.server.set_volume(name, 100)
            self.server.set_mute(name, False)
        self.mix(100)
        self.lab.hears(device, *((hz, LEVEL_DB) for hz, _ in self.players.values()),
                       curve=PRESETS[own_preset(device) if self.own_presets else self.preset])

    # Everything is where it belongs, and the programs hold no more than they did at first.
    def settle(self):
        time.sleep(CALM_S)
        becomes("everything is where it belongs", self.in_order, limit=PATIENCE_S)
        for program in filter(None, self.programs):
            if program.calm:
                program.check_holdings()
            elif program.count("First frame after"):
                program.remember()

    # The guard knows the device that has to be the default again.
    def ask_guard(self):
        if self.dice.randrange(4) == 0 and self.programs[0] and not self.programs[1] and self.equalizes():
            followed, = self.server.playing(OURS)
            self.kill_program()
            becomes("the guard gives the device back", self.server.default, followed, limit=RESCUE_S)


def test_everything_finds_its_place(lab, actions=20, seed=1):
    print("seed", seed)
    lab.need_screen()
    chaos = Chaos(lab, random.Random(seed), seed % 2)
    for number in range(actions):
        chaos.act(number)
        if number % ROUND == ROUND - 1:
            chaos.settle()
            chaos.ask_guard()
    for copy in (0, 1):
        chaos.end_program(copy=copy)
    chaos.settle()
    for _, player in chaos.players.values():
        player.close()
    for name in chaos.filters:
        lab.server.remove_sink(name)
    lab.remember()
